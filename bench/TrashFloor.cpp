// What a move into the home trash cannot do without, written plainly:
//
// - the trash folder, its "files" and its "info" opened once (never through a
//   link) and checked to be the user's own;
// - per item, the device of the folder that holds it (one on another file
//   system would go to that file system's trash; here none is);
// - its information written whole under a draft name, then given its entry's
//   name without replacing anything, so that no tool ever reads an incomplete
//   information file, not even after a kill;
// - the item renamed in under the same name, without replacing anything.
//
// Six system calls per item: stat, openat, write, close, renameat2 twice.
#include "TrashFloor.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int openOwnFolder(int parent, const char* name) {
  const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  struct stat info {};
  if (fd < 0 || ::fstat(fd, &info) != 0 || info.st_uid != ::getuid()) return -1;
  return fd;
}

// The path as trash tools read it back: every byte but the unreserved ones
// and "/" percent-encoded.
void appendEncoded(std::string& out, const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  for (const unsigned char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                       c == '.' || c == '_' || c == '~' || c == '/';
    if (plain) {
      out.push_back(char(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 15]);
    }
  }
}

}  // namespace

long moveToTrashFloor(const std::string& trash, const std::vector<std::string>& items) {
  const int top = openOwnFolder(AT_FDCWD, trash.c_str());
  const int files = top < 0 ? -1 : openOwnFolder(top, "files");
  const int info = top < 0 ? -1 : openOwnFolder(top, "info");
  struct stat trashInfo {};
  if (info < 0 || files < 0 || ::fstat(top, &trashInfo) != 0) return 0;
  const std::string draft = std::string(".draft-") + std::to_string(::getpid());

  long moved = 0;
  std::time_t second = -1;
  char date[32] = {};
  std::string contents, parent, entry, infoName;
  for (const std::string& item : items) {
    const size_t slash = item.rfind('/');
    parent.assign(item, 0, slash);
    struct stat folder {};
    if (::stat(parent.c_str(), &folder) != 0 || folder.st_dev != trashInfo.st_dev) continue;

    if (const std::time_t now = std::time(nullptr); now != second) {
      std::tm local{};
      ::localtime_r(&now, &local);
      std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
      second = now;
    }
    contents.assign("[Trash Info]\nPath=");
    appendEncoded(contents, item);
    contents.append("\nDeletionDate=").append(date).push_back('\n');

    const int fd = ::openat(info, draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) continue;
    const bool written = ::write(fd, contents.data(), contents.size()) == ssize_t(contents.size());
    if (::close(fd) != 0 || !written) continue;
    entry.assign(item, slash + 1);
    infoName.assign(entry).append(".trashinfo");
    if (::renameat2(info, draft.c_str(), info, infoName.c_str(), RENAME_NOREPLACE) != 0) continue;
    if (::renameat2(AT_FDCWD, item.c_str(), files, entry.c_str(), RENAME_NOREPLACE) == 0) ++moved;
  }
  ::close(top);
  ::close(files);
  ::close(info);
  return moved;
}
