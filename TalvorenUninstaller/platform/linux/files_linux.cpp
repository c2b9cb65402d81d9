#include "platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray nativePath(const QString& path) { return QFile::encodeName(path); }

QString withoutTrailingSlashes(QString path) {
  while (path.size() > 1 && path.endsWith(QLatin1Char('/'))) path.chop(1);
  return path;
}

// Writes all of `bytes`; a regular file takes them in one write, the loop only
// covers an interrupted or short write.
bool writeAll(int fd, const QByteArray& bytes) {
  const char* data = bytes.constData();
  qsizetype left = bytes.size();
  while (left > 0) {
    const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += written;
    left -= written;
  }
  return true;
}

bool writeToNewDescriptor(const QString& path, int flags, const QByteArray& bytes) {
  const int fd = ::open(nativePath(path).constData(), flags | O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  const bool written = writeAll(fd, bytes);
  return ::close(fd) == 0 && written;
}

}  // namespace

QString LinuxPlatform::homeDirectory() {
  // $HOME wins when it is usable, which is also how a throwaway home is given
  // to the program; otherwise the account's own entry.
  const QByteArray fromEnvironment = qgetenv("HOME");
  if (fromEnvironment.startsWith('/')) return withoutTrailingSlashes(QFile::decodeName(fromEnvironment));
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr)
    return withoutTrailingSlashes(QFile::decodeName(entry->pw_dir));
  return QStringLiteral("/");
}

QString LinuxPlatform::currentDirectory() { return QDir::currentPath(); }

bool LinuxPlatform::fileExists(const QString& path) {
  struct stat info {};
  return !path.isEmpty() && ::stat(nativePath(path).constData(), &info) == 0;
}

bool LinuxPlatform::createDirectories(const QString& path) { return QDir().mkpath(path); }

std::optional<QByteArray> LinuxPlatform::readFile(const QString& path) {
  const int fd = ::open(nativePath(path).constData(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  // Only regular files: a folder cannot be read, and a pipe could block forever.
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return std::nullopt;
  }
  QByteArray contents;
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      ::close(fd);
      return std::nullopt;
    }
    if (got == 0) break;
    contents.append(buffer, got);
  }
  ::close(fd);
  return contents;
}

bool LinuxPlatform::appendToFile(const QString& path, const QByteArray& bytes) {
  // O_APPEND puts every write at the end atomically, so two uninstallers
  // logging at once never interleave inside a line.
  return writeToNewDescriptor(path, O_APPEND, bytes);
}

bool LinuxPlatform::writeFile(const QString& path, const QByteArray& bytes) {
  return writeToNewDescriptor(path, O_TRUNC, bytes);
}
