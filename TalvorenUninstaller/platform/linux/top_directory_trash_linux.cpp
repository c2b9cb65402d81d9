#include "platform/linux/TopDirectoryTrash.h"

#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/TrashFolder.h"

#include <cerrno>
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

  // The information names the item below the top folder, so that it still
  // restores when the volume is mounted somewhere else.
  const QByteArray real = (parent == "/" ? QByteArray() : parent) + path.mid(path.lastIndexOf('/'));
  const QByteArray belowTop = real.mid(top == "/" ? 1 : top.size() + 1);
  return TrashFolder::openTopDirectory(top).moveIn(path, belowTop);
}
