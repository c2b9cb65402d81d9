#include "platform/linux/TopDirectoryTrash.h"

#include "platform/linux/NativeFiles.h"
#include "platform/linux/TrashFolder.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

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

std::optional<TopDirectoryPlace> topDirectoryPlace(const QByteArray& path, QString& error) {
  // The folder holding the item is resolved so that a linked folder leads to
  // the file system where the item really lives; its device, not the item's,
  // names that file system (a layered one may report a file's own layer).
  char* realParent = ::realpath(parentFolder(path).constData(), nullptr);
  if (realParent == nullptr) {
    error = errnoText(errno);
    return std::nullopt;
  }
  const QByteArray parent(realParent);
  std::free(realParent);
  struct stat parentInfo {};
  if (::stat(parent.constData(), &parentInfo) != 0) {
    error = errnoText(errno);
    return std::nullopt;
  }
  const QByteArray top = topDirectoryOf(parent, parentInfo.st_dev);
  const QByteArray real = (parent == "/" ? QByteArray() : parent) + path.mid(path.lastIndexOf('/'));
  return TopDirectoryPlace{top, real.mid(top == "/" ? 1 : top.size() + 1)};
}
