#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/UniqueFd.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray withoutTrailingSlashes(QByteArray path) {
  while (path.size() > 1 && path.endsWith('/')) path.chop(1);
  return path;
}

// $HOME wins when it is usable, which is also how a throwaway home is given
// to the program; otherwise the account's own entry.
QByteArray nativeHome() {
  const QByteArray fromEnvironment = qgetenv("HOME");
  if (fromEnvironment.startsWith('/')) return withoutTrailingSlashes(fromEnvironment);
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr)
    return withoutTrailingSlashes(entry->pw_dir);
  return "/";
}

bool writeToRegularFile(const QString& path, int flags, const QByteArray& bytes) {
  const std::optional<QByteArray> native = encodeNativePath(path);
  if (!native) return false;
  const int fd = openRegularFile(*native, flags | O_WRONLY | O_CREAT);
  if (fd < 0) return false;
  const bool written = writeAll(fd, bytes) == 0;
  return ::close(fd) == 0 && written;
}

// A write past the file-size limit raises SIGXFSZ, whose default ends the
// program; ignored, the write fails with EFBIG instead, and the append undoes
// it like any other failed write. That is set once, on the first append,
// rather than around every write, and only over the default: a handler of
// the program's own stays. Programs started from here get the default back
// (process_linux.cpp).
void ignoreFileSizeSignal() {
  static const bool ignored = [] {
    struct sigaction current {};
    if (::sigaction(SIGXFSZ, nullptr, &current) != 0 || (current.sa_flags & SA_SIGINFO) != 0 ||
        current.sa_handler != SIG_DFL)
      return false;
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    return ::sigaction(SIGXFSZ, &ignore, nullptr) == 0;
  }();
  static_cast<void>(ignored);
}

}  // namespace

QString LinuxPlatform::homeDirectory() {
  // Decided once, so that the locations, the log and the trash all agree on
  // one home whatever happens to the environment later.
  if (!home_) home_ = decodeNativePath(nativeHome());
  return *home_;
}

QString LinuxPlatform::currentDirectory() {
  char* folder = ::getcwd(nullptr, 0);
  if (folder == nullptr) return {};
  const QString decoded = decodeNativePath(folder);
  std::free(folder);
  return decoded;
}

bool LinuxPlatform::fileExists(const QString& path) {
  const std::optional<QByteArray> native = encodeNativePath(path);
  struct stat info {};
  return native && !native->isEmpty() && ::stat(native->constData(), &info) == 0;
}

bool LinuxPlatform::createDirectories(const QString& path) {
  const std::optional<QByteArray> native = encodeNativePath(path);
  return native && makeFolders(*native, 0777);
}

std::optional<QByteArray> LinuxPlatform::readFile(const QString& path) {
  const std::optional<QByteArray> native = encodeNativePath(path);
  if (!native) return std::nullopt;
  return readRegularFile(*native);
}

bool LinuxPlatform::appendToFile(const QString& path, const QByteArray& bytes) {
  // The log is appended to line by line, each time under the same path.
  if (!appendNative_ || path != appendPath_) {
    appendNative_ = encodeNativePath(path);
    appendPath_ = path;
  }
  if (!appendNative_) return false;
  ignoreFileSizeSignal();
  // O_APPEND puts every write at the end atomically, so two uninstallers
  // logging at once never interleave inside a line.
  off_t before = 0;
  UniqueFd file(openRegularFileToAppend(*appendNative_, before));
  if (!file.isValid()) return false;
  if (writeAll(file.get(), bytes) == 0) return file.close() == 0;
  // A write that stopped part-way (the file system filled up, or the file
  // reached the size limit) is undone, so that no fragment is left for the
  // next append to be glued onto.
  [[maybe_unused]] const int undone = ::ftruncate(file.get(), before);
  return false;
}

bool LinuxPlatform::writeFile(const QString& path, const QByteArray& bytes) {
  return writeToRegularFile(path, O_TRUNC, bytes);
}
