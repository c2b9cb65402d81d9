#include "platform/linux/NativeFiles.h"

#include "platform/linux/UniqueFd.h"

#include <algorithm>
#include <climits>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qsizetype kFirstChunk = 64 * 1024;

bool isFolder(const QByteArray& path) {
  struct stat info {};
  return ::stat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Reads to the end, never holding more than one byte beyond the limit: a file
// that claims to be regular (as some under /proc do) may never end.
std::optional<QByteArray> readToEnd(int fd, qsizetype expectedSize, qsizetype limit) {
  QByteArray contents;
  qsizetype used = 0;
  // One byte beyond the expected size, so that the end is seen without a grow.
  qsizetype room = std::min(expectedSize + 1, limit + 1);
  for (;;) {
    if (used == contents.size()) {
      contents.reserve(room + kReadFilePadding);
      contents.resize(room);
      room = std::min(std::max(room * 2, kFirstChunk), limit + 1);
    }
    const ssize_t got = ::read(fd, contents.data() + used, size_t(contents.size() - used));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    used += got;
    if (used > limit) return std::nullopt;
  }
  contents.resize(used);  // keeps the capacity, and with it the padding
  return contents;
}

}  // namespace

int openRegularFile(const QByteArray& path, int flags, struct stat* info) {
  if (path.isEmpty()) {
    errno = ENOENT;
    return -1;
  }
  const int fd = ::open(path.constData(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  struct stat own {};
  struct stat& described = info != nullptr ? *info : own;
  // A regular file only waits for its disk, so it is read and written in
  // the ordinary blocking way, where no file system answers "try again".
  if (::fstat(fd, &described) == 0 && S_ISREG(described.st_mode) &&
      ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) == 0)
    return fd;
  ::close(fd);
  errno = EINVAL;
  return -1;
}

// Each line of a log is opened on its own, so this runs once per line. The
// type comes from statx asking for the type and size alone, which costs a
// third of fstat here; O_NONBLOCK, which keeps the open from waiting on a
// FIFO, stays on: a write to a regular file does not look at it, and taking
// it off would cost two more calls per line.
int openRegularFileToAppend(const QByteArray& path, off_t& size) {
  if (path.isEmpty()) {
    errno = ENOENT;
    return -1;
  }
  const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  constexpr unsigned kWanted = STATX_TYPE | STATX_SIZE;
  struct statx info {};
  if (::statx(fd, "", AT_EMPTY_PATH, kWanted, &info) == 0 && (info.stx_mask & kWanted) == kWanted &&
      S_ISREG(info.stx_mode)) {
    size = off_t(info.stx_size);
    return fd;
  }
  ::close(fd);
  errno = EINVAL;
  return -1;
}

std::optional<QByteArray> readRegularFile(const QByteArray& path, qsizetype limit) {
  struct stat info {};
  const UniqueFd file(openRegularFile(path, O_RDONLY, &info));
  if (!file.isValid() || info.st_size > limit) return std::nullopt;
  return readToEnd(file.get(), qsizetype(info.st_size), limit);
}

int writeAll(int fd, const QByteArray& bytes) {
  const char* data = bytes.constData();
  qsizetype left = bytes.size();
  while (left > 0) {
    const ssize_t written = ::write(fd, data, size_t(left));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return EIO;
    data += written;
    left -= written;
  }
  return 0;
}

QByteArray parentFolder(const QByteArray& path) {
  const qsizetype slash = path.lastIndexOf('/');
  return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray linkTarget(const QByteArray& link) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(link.constData(), target, sizeof target);
  if (length <= 0 || static_cast<std::size_t>(length) >= sizeof target) return {};
  return QByteArray(target, static_cast<qsizetype>(length));
}

bool makeFolders(const QByteArray& path, mode_t mode) {
  if (path.isEmpty()) return false;
  struct stat info {};
  if (::stat(path.constData(), &info) == 0) return S_ISDIR(info.st_mode);
  if (errno != ENOENT) return false;
  const qsizetype slash = path.lastIndexOf('/');
  if (slash > 0 && !makeFolders(path.left(slash), mode)) return false;
  return ::mkdir(path.constData(), mode) == 0 || (errno == EEXIST && isFolder(path));
}
