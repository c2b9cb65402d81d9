#include "platform/linux/TrashFolder.h"

#include "platform/linux/NativeFiles.h"

#include <QDateTime>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

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

// The original path as freedesktop.org tools read it back: the native bytes,
// percent-encoded, so a name that is not UTF-8 restores to the same name.
QByteArray trashInfo(const QByteArray& path) {
  return "[Trash Info]\nPath=" + path.toPercentEncoding("/") + "\nDeletionDate=" +
         QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() + '\n';
}

// Creates `path` exclusively and writes all of `bytes`; 0, or the errno that
// stopped it. A file that could not be completed is removed again.
int writeNewFile(const QByteArray& path, const QByteArray& bytes) {
  const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0600);
  if (fd < 0) return errno;
  int error = writeAll(fd, bytes);
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error != 0) ::unlink(path.constData());
  return error;
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

}  // namespace

QString errnoText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

std::optional<TrashFolder> prepareTrashFolder(const QByteArray& trash) {
  const TrashFolder folder{trash + "/files", trash + "/info"};
  if (!ensurePrivateFolder(trash) || !ensurePrivateFolder(folder.files) || !ensurePrivateFolder(folder.info))
    return std::nullopt;
  return folder;
}

// Claims a name by creating its info file exclusively, then renames the item
// beside it without replacing anything; a taken name moves on to "name.2", ...
TrashOutcome moveIntoTrashFolder(const TrashFolder& trash, const QByteArray& path) {
  const QByteArray name = path.mid(path.lastIndexOf('/') + 1);
  if (name.isEmpty()) return {false, errnoText(EINVAL)};
  const QByteArray info = trashInfo(path);
  for (int attempt = 1;; ++attempt) {
    const QByteArray candidate = attempt == 1 ? name : name + '.' + QByteArray::number(attempt);
    const QByteArray infoPath = trash.info + '/' + candidate + ".trashinfo";
    const int error = writeNewFile(infoPath, info);
    if (error == EEXIST) continue;
    if (error != 0) return {false, QStringLiteral("Cannot write trash information: ") + errnoText(error)};
    if (renameWithoutReplacing(path, trash.files + '/' + candidate)) return {true, {}};
    const int renameError = errno;
    ::unlink(infoPath.constData());
    if (renameError != EEXIST)
      return {false, QStringLiteral("Cannot move the item to the trash: ") + errnoText(renameError)};
  }
}
