#include "platform/linux/TopDirectoryTrash.h"

#include <QDateTime>
#include <QFile>
#include <QUrl>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct TrashFolder {
  QByteArray files;
  QByteArray info;
};

QString errnoText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

QByteArray parentOf(const QByteArray& path) {
  const qsizetype slash = path.lastIndexOf('/');
  return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray nameOf(const QByteArray& path) { return path.mid(path.lastIndexOf('/') + 1); }

// The highest folder above `folder` (itself a real path) on the same device.
QByteArray topDirectoryOf(QByteArray folder, dev_t device) {
  while (folder != "/") {
    const QByteArray parent = parentOf(folder);
    struct stat info {};
    if (::stat(parent.constData(), &info) != 0 || info.st_dev != device) break;
    folder = parent;
  }
  return folder;
}

// A folder that is ours to use: a real folder, not a link, owned by us.
bool isPrivateFolder(const QByteArray& path) {
  struct stat info {};
  return ::lstat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
}

bool ensurePrivateFolder(const QByteArray& path) {
  if (::mkdir(path.constData(), 0700) != 0 && errno != EEXIST) return false;
  if (isPrivateFolder(path)) return true;
  errno = ENOTDIR;  // something that is not our folder is in the way
  return false;
}

std::optional<TrashFolder> prepare(const QByteArray& trash) {
  const TrashFolder folder{trash + "/files", trash + "/info"};
  if (!ensurePrivateFolder(trash) || !ensurePrivateFolder(folder.files) || !ensurePrivateFolder(folder.info))
    return std::nullopt;
  return folder;
}

// The shared ".Trash" counts only when it is a real, sticky folder: anything
// else could be a trap laid by another user.
std::optional<TrashFolder> sharedTrash(const QByteArray& top, const QByteArray& uid) {
  const QByteArray shared = (top == "/" ? QByteArray() : top) + "/.Trash";
  struct stat info {};
  if (::lstat(shared.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || (info.st_mode & S_ISVTX) == 0)
    return std::nullopt;
  return prepare(shared + '/' + uid);
}

QByteArray trashInfo(const QByteArray& path) {
  return "[Trash Info]\nPath=" + QUrl::toPercentEncoding(QString::fromLocal8Bit(path), "/") +
         "\nDeletionDate=" + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() +
         '\n';
}

bool writeNewFile(const QByteArray& path, const QByteArray& bytes, int& error) {
  const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) {
    error = errno;
    return false;
  }
  const bool written = ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
  error = written ? 0 : EIO;
  return ::close(fd) == 0 && written;
}

// Some file systems cannot promise not to replace; there a name that is
// taken is checked for first, which is as good as they allow.
bool renameWithoutReplacing(const QByteArray& from, const QByteArray& to) {
  if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL) return false;
  struct stat existing {};
  if (::lstat(to.constData(), &existing) == 0) {
    errno = EEXIST;
    return false;
  }
  return ::rename(from.constData(), to.constData()) == 0;
}

// Claims a name by creating its info file exclusively, then renames the item
// beside it without replacing anything; a taken name moves on to "name.2", ...
TrashOutcome moveInto(const TrashFolder& trash, const QByteArray& path) {
  const QByteArray name = nameOf(path);
  const QByteArray info = trashInfo(path);
  for (int attempt = 1;; ++attempt) {
    const QByteArray candidate = attempt == 1 ? name : name + '.' + QByteArray::number(attempt);
    const QByteArray infoPath = trash.info + '/' + candidate + ".trashinfo";
    int error = 0;
    if (!writeNewFile(infoPath, info, error)) {
      if (error == EEXIST) continue;
      ::unlink(infoPath.constData());
      return {false, QStringLiteral("Cannot write trash information: ") + errnoText(error)};
    }
    const QByteArray target = trash.files + '/' + candidate;
    if (renameWithoutReplacing(path, target)) return {true, {}};
    error = errno;
    ::unlink(infoPath.constData());
    if (error != EEXIST) return {false, QStringLiteral("Cannot move the item to the trash: ") + errnoText(error)};
  }
}

}  // namespace

TrashOutcome moveToTopDirectoryTrash(const QByteArray& path) {
  struct stat item {};
  if (::lstat(path.constData(), &item) != 0) return {false, errnoText(errno)};
  // The folder holding the item is resolved so that a linked folder leads to
  // the file system where the item really lives.
  char* realParent = ::realpath(parentOf(path).constData(), nullptr);
  if (realParent == nullptr) return {false, errnoText(errno)};
  const QByteArray top = topDirectoryOf(QByteArray(realParent), item.st_dev);
  std::free(realParent);

  const QByteArray uid = QByteArray::number(::getuid());
  std::optional<TrashFolder> trash = sharedTrash(top, uid);
  if (!trash) trash = prepare((top == "/" ? QByteArray() : top) + "/.Trash-" + uid);
  if (!trash)
    return {false, QStringLiteral("No usable trash folder on the volume at ") + QFile::decodeName(top) +
                       QStringLiteral(": ") + errnoText(errno)};
  return moveInto(*trash, path);
}
