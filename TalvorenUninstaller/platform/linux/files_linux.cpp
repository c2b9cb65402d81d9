#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/UniqueFd.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
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

// SIGXFSZ held back on this thread for one scope, so that a write past the
// file-size limit fails with EFBIG instead of ending the program. The signal
// that write raised is taken off again before the old mask returns.
class FileSizeSignalHeld {
 public:
  FileSizeSignalHeld() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &previous_);
  }
  ~FileSizeSignalHeld() {
    // One that was held back before is the caller's, and stays pending.
    const timespec now{};
    if (!sigismember(&previous_, SIGXFSZ))
      while (sigtimedwait(&signal_, nullptr, &now) == SIGXFSZ) {
      }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  FileSizeSignalHeld(const FileSizeSignalHeld&) = delete;
  FileSizeSignalHeld& operator=(const FileSizeSignalHeld&) = delete;

 private:
  sigset_t signal_;
  sigset_t previous_;
};

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
  const std::optional<QByteArray> native = encodeNativePath(path);
  if (!native) return false;
  // O_APPEND puts every write at the end atomically, so two uninstallers
  // logging at once never interleave inside a line.
  struct stat before {};
  UniqueFd file(openRegularFile(*native, O_WRONLY | O_CREAT | O_APPEND, &before));
  if (!file.isValid()) return false;
  const FileSizeSignalHeld held;
  if (writeAll(file.get(), bytes) == 0) return file.close() == 0;
  // A write that stopped part-way (the file system filled up, or the file
  // reached the size limit) is undone, so that no fragment is left for the
  // next append to be glued onto.
  [[maybe_unused]] const int undone = ::ftruncate(file.get(), before.st_size);
  return false;
}

bool LinuxPlatform::writeFile(const QString& path, const QByteArray& bytes) {
  return writeToRegularFile(path, O_TRUNC, bytes);
}
