#include "platform/ActionScope.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/TopDirectoryTrash.h"
#include "platform/linux/TrashFolder.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The item's absolute native path, with no trailing "/" that would hide its
// name.
QByteArray absoluteNative(QByteArray path) {
  if (!path.startsWith('/')) {
    char* folder = ::getcwd(nullptr, 0);
    path = QByteArray(folder != nullptr ? folder : "") + '/' + path;
    std::free(folder);
  }
  while (path.size() > 1 && path.endsWith('/')) path.chop(1);
  return path;
}

// The device the home trash is on, or would be once made: that of its
// nearest folder that exists.
dev_t deviceOf(QByteArray path) {
  struct stat info {};
  while (::stat(path.constData(), &info) != 0 && path.size() > 1)
    path = parentFolder(path);
  return info.st_dev;
}

}  // namespace

// The home trash follows the freedesktop.org rules in the program's one
// home, so it is the same home that every location is built from.
QByteArray LinuxPlatform::homeTrashPath() {
  const QByteArray dataHome = qgetenv("XDG_DATA_HOME");
  if (dataHome.startsWith('/')) return dataHome + "/Trash";
  return encodeNativePath(homeDirectory()).value_or(QByteArray()) + "/.local/share/Trash";
}

// Within an action, each trash folder is opened and checked once, for the
// first item that goes there, and the open folder takes every later item of
// the action: items land in the very folders that were checked, whatever
// happens to their names in between. A trash found unusable is not kept,
// so the next item looks at it again, as it would without an action. When
// the action ends, everything kept is closed; the next action checks afresh.
void LinuxPlatform::beginAction() {
  if (actionDepth_++ == 0) action_ = OpenAction{};
}

void LinuxPlatform::endAction() {
  if (--actionDepth_ == 0) action_.reset();
}

TrashOutcome LinuxPlatform::moveToTrash(const QString& path, const QString& label) {
  // Outside an action, a move is an action of its own: its trash is opened
  // and checked for it alone.
  if (!action_) {
    const ActionScope single(*this);
    return moveToTrash(path, label);
  }
  const std::optional<QByteArray> native = encodeNativePath(path);
  if (!native || native->isEmpty()) return {false, errnoText(ENOENT)};
  // A missing item needs no look of its own: its rename fails, and the
  // trash takes back what it wrote for it.
  const QByteArray item = absoluteNative(*native);

  // Only a rename ever moves an item, never a copy: one on another file
  // system than the home trash goes to the trash at that file system's top,
  // and a home trash that cannot be used never spills into another. The
  // folder holding the item tells its file system, since a file on a layered
  // file system may report the device of the layer it comes from.
  const dev_t device = deviceOf(parentFolder(item));
  if (!action_->home) {
    const QByteArray trash = homeTrashPath();
    action_->home = std::pair(trash, deviceOf(trash));
  }
  if (device == action_->home->second) return actionTrash(device, {}).moveIn(item, item);
  QString error;
  const std::optional<TopDirectoryPlace> place = topDirectoryPlace(item, error);
  if (!place) return {false, error};
  return actionTrash(device, place->top).moveIn(item, place->belowTop);
}

// The trash of the action for items of `device` whose top folder is `top`
// (none: the home trash). Keyed by the top folder too, since two mounts of
// one file system have tops of their own.
const TrashFolder& LinuxPlatform::actionTrash(dev_t device, const QByteArray& top) {
  for (const OpenAction::Trash& open : action_->trashes)
    if (open.device == device && open.top == top) return open.folder;
  TrashFolder folder = top.isEmpty() ? TrashFolder::openHome(action_->home->first) : TrashFolder::openTopDirectory(top);
  if (!folder.problem().isEmpty()) {
    action_->unusable = std::move(folder);
    return *action_->unusable;
  }
  action_->trashes.push_back({device, top, std::move(folder)});
  return action_->trashes.back().folder;
}
