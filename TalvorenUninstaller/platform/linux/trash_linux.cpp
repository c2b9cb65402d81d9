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

TrashOutcome LinuxPlatform::moveToTrash(const QString& path, const QString&) {
  const std::optional<QByteArray> native = encodeNativePath(path);
  if (!native || native->isEmpty()) return {false, errnoText(ENOENT)};
  const QByteArray item = absoluteNative(*native);
  struct stat itemInfo {};
  if (::lstat(item.constData(), &itemInfo) != 0) return {false, errnoText(errno)};

  // Only a rename ever moves an item, never a copy: one on another file
  // system than the home trash goes to the trash at that file system's top,
  // and a home trash that cannot be used never spills into another. The
  // folder holding the item tells its file system, since a file on a layered
  // file system may report the device of the layer it comes from.
  const QByteArray trashPath = homeTrashPath();
  if (deviceOf(parentFolder(item)) != deviceOf(trashPath))
    return moveToTopDirectoryTrash(item);
  return TrashFolder::openHome(trashPath).moveIn(item, item);
}
