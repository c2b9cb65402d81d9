#include "platform/linux/TopDirectoryTrash.h"

#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/TrashFolder.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The highest folder above `folder` (itself a real path) on the same device.
QByteArray topDirectoryOf(QByteArray folder, dev_t device) {
  while (folder != "/") {
    const QByteArray parent = parentFolder(folder);
    struct stat info {};
    if (::stat(parent.constData(), &info) != 0 || info.st_dev != device) break;
    folder = parent;
  }
  return folder;
}

// The shared ".Trash" counts only when it is a real, sticky folder: anything
// else could be a trap laid by another user.
std::optional<TrashFolder> sharedTrash(const QByteArray& top, const QByteArray& uid) {
  const QByteArray shared = (top == "/" ? QByteArray() : top) + "/.Trash";
  struct stat info {};
  if (::lstat(shared.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || (info.st_mode & S_ISVTX) == 0)
    return std::nullopt;
  return prepareTrashFolder(shared + '/' + uid);
}

}  // namespace

TrashOutcome moveToTopDirectoryTrash(const QByteArray& path) {
  struct stat item {};
  if (::lstat(path.constData(), &item) != 0) return {false, errnoText(errno)};
  // The folder holding the item is resolved so that a linked folder leads to
  // the file system where the item really lives; its device, not the item's,
  // names that file system (a layered one may report a file's own layer).
  char* realParent = ::realpath(parentFolder(path).constData(), nullptr);
  if (realParent == nullptr) return {false, errnoText(errno)};
  const QByteArray parent(realParent);
  std::free(realParent);
  struct stat parentInfo {};
  if (::stat(parent.constData(), &parentInfo) != 0) return {false, errnoText(errno)};
  const QByteArray top = topDirectoryOf(parent, parentInfo.st_dev);

  const QByteArray uid = QByteArray::number(::getuid());
  std::optional<TrashFolder> trash = sharedTrash(top, uid);
  if (!trash) trash = prepareTrashFolder((top == "/" ? QByteArray() : top) + "/.Trash-" + uid);
  if (!trash)
    return {false, QStringLiteral("No usable trash folder on the volume at ") + decodeNativePath(top) +
                       QStringLiteral(": ") + errnoText(errno)};
  return moveIntoTrashFolder(*trash, path);
}
