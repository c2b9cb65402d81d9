#include "platform/linux/TrashFolder.h"

#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kInfoSuffix[] = ".trashinfo";
// The longest name an item keeps in the trash: its information file's name,
// that name and the suffix, must fit in a name too.
constexpr qsizetype kLongestEntry = NAME_MAX - qsizetype(sizeof kInfoSuffix - 1);
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// What was wrong with a folder, naming it as `shown` unless that is empty.
QString refused(const QByteArray& shown, const char* reason) {
  const QString text = QString::fromLatin1(reason);
  return shown.isEmpty() ? text : decodeNativePath(shown) + QStringLiteral(" is ") + text;
}

QString failed(const QByteArray& shown, int error) {
  return shown.isEmpty() ? errnoText(error) : decodeNativePath(shown) + QStringLiteral(": ") + errnoText(error);
}

// After a failed open: a link, or anything else that is no folder, is
// refused for what it is; otherwise the system's reason.
QString whyNotOpened(int parent, const QByteArray& name, const QByteArray& shown, int error) {
  struct stat info {};
  if ((error == ENOTDIR || error == ELOOP) && ::fstatat(parent, name.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0)
    return refused(shown, S_ISLNK(info.st_mode) ? "a symbolic link" : "not a folder");
  return failed(shown, error);
}

// Opens the folder `name` in `parent`, never through a link, and checks the
// open folder itself, so that what was checked is what gets used: one of the
// user `owner`'s, made (0700) when missing, or without an owner the
// administrator's shared trash, which must instead be sticky so that no user
// can rename or remove another's entries in it. A missing shared trash is no
// problem, just absent (invalid, with `problem` left empty).
UniqueFd openFolder(int parent, const QByteArray& name, std::optional<uid_t> owner, const QByteArray& shown,
                    QString& problem) {
  UniqueFd folder(::openat(parent, name.constData(), kFolderFlags));
  if (!folder.isValid() && errno == ENOENT) {
    if (!owner) return {};
    if (::mkdirat(parent, name.constData(), 0700) != 0 && errno != EEXIST) {
      problem = failed(shown, errno);
      return {};
    }
    folder = UniqueFd(::openat(parent, name.constData(), kFolderFlags));
  }
  if (!folder.isValid()) {
    problem = whyNotOpened(parent, name, shown, errno);
    return {};
  }
  struct stat info {};
  if (::fstat(folder.get(), &info) != 0) {
    problem = failed(shown, errno);
  } else if (owner && info.st_uid != *owner) {
    problem = refused(shown, "owned by another user");
  } else if (!owner && (info.st_mode & S_ISVTX) == 0) {
    problem = refused(shown, "not sticky");
  }
  return problem.isEmpty() ? std::move(folder) : UniqueFd();
}

QByteArray joined(const QByteArray& folder, const QByteArray& name) {
  return folder.isEmpty() ? name : folder + '/' + name;
}

// The original path as freedesktop.org tools read it back: the native bytes,
// percent-encoded, so a name that is not UTF-8 restores to the same name. The
// date is local time, `utcOffset` seconds ahead of UTC.
QByteArray trashInfo(const QByteArray& path, int utcOffset) {
  const std::time_t local = std::time(nullptr) + utcOffset;
  std::tm fields{};
  char date[32] = {};
  if (::gmtime_r(&local, &fields) != nullptr) std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &fields);
  return "[Trash Info]\nPath=" + path.toPercentEncoding("/") + "\nDeletionDate=" + date + '\n';
}

// Writes `contents` whole into a new file in `folder` whose name starts with
// `prefix` and, not ending in ".trashinfo", is never read as information; 0
// with its name in `name`, or the errno that stopped it, with nothing left.
int writeDraft(int folder, const QByteArray& prefix, const QByteArray& contents, QByteArray& name) {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
  for (int attempt = 0;; ++attempt) {
    name = prefix + QByteArray::number(attempt);
    UniqueFd file(::openat(folder, name.constData(), flags, 0600));
    if (!file.isValid() && errno == EEXIST) continue;
    if (!file.isValid()) return errno;
    int error = writeAll(file.get(), contents);
    if (const int closed = file.close(); error == 0) error = closed;
    if (error != 0) ::unlinkat(folder, name.constData(), 0);
    return error;
  }
}

// Some file systems cannot promise not to replace; there a name that is
// taken is checked for first, which is as good as they allow.
bool renameWithoutReplacing(int fromFolder, const QByteArray& from, int toFolder, const QByteArray& to) {
  if (::renameat2(fromFolder, from.constData(), toFolder, to.constData(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL) return false;
  struct stat existing {};
  if (::fstatat(toFolder, to.constData(), &existing, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return false;
  }
  return ::renameat(fromFolder, from.constData(), toFolder, to.constData()) == 0;
}

// The item's name in the trash: its own, then "name.2", "name.3", ... for a
// later attempt. A name too long for its information file is cut short (on a
// character boundary, so a UTF-8 name stays UTF-8); the original name lives
// on in the information file.
QByteArray entryName(const QByteArray& name, int attempt) {
  const QByteArray suffix = attempt == 1 ? QByteArray() : '.' + QByteArray::number(attempt);
  qsizetype keep = std::min(name.size(), kLongestEntry - suffix.size());
  while (keep < name.size() && keep > 0 && (uchar(name.at(keep)) & 0xC0) == 0x80) --keep;
  return name.left(keep) + suffix;
}

}  // namespace

QString errnoText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

TrashFolder TrashFolder::openHome(const QByteArray& trash) {
  TrashFolder folder(::getuid());
  QString problem;
  const QByteArray parent = parentFolder(trash);
  // The folders above the trash are the user's own to lay out, links and all.
  UniqueFd above(::open(parent.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!above.isValid() && errno == ENOENT && makeFolders(parent, 0700))
    above = UniqueFd(::open(parent.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!above.isValid()) problem = errnoText(errno);
  if (above.isValid()) folder.open(above.get(), trash.mid(trash.lastIndexOf('/') + 1), /*shown=*/{}, problem);
  if (!problem.isEmpty())
    folder.problem_ = QStringLiteral("No usable trash folder at ") + decodeNativePath(trash) + QStringLiteral(": ") + problem;
  return folder;
}

TrashFolder TrashFolder::openTopDirectory(const QByteArray& top) {
  TrashFolder folder(::getuid());
  const QByteArray uid = QByteArray::number(folder.user_);
  QStringList problems;
  const UniqueFd topFolder(::open(top.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!topFolder.isValid()) problems << errnoText(errno);
  QString problem;
  if (topFolder.isValid()) {
    const UniqueFd shared = openFolder(topFolder.get(), ".Trash", /*owner=*/std::nullopt, ".Trash", problem);
    if (shared.isValid() && folder.open(shared.get(), uid, ".Trash/" + uid, problem)) return folder;
    if (!problem.isEmpty()) problems << problem;
    problem.clear();
    if (folder.open(topFolder.get(), ".Trash-" + uid, ".Trash-" + uid, problem)) return folder;
    problems << problem;
  }
  folder.problem_ = QStringLiteral("No usable trash folder on the volume at ") + decodeNativePath(top) +
                    QStringLiteral(": ") + problems.join(QStringLiteral("; "));
  return folder;
}

bool TrashFolder::open(int parent, const QByteArray& name, const QByteArray& shown, QString& problem) {
  const UniqueFd trash = openFolder(parent, name, user_, shown, problem);
  if (!trash.isValid()) return false;
  files_ = openFolder(trash.get(), "files", user_, joined(shown, "files"), problem);
  if (files_.isValid()) info_ = openFolder(trash.get(), "info", user_, joined(shown, "info"), problem);
  if (!info_.isValid()) {
    files_.reset();
    return false;
  }
  // Decided once, like the folders: for each item only its information and
  // the two renames reach the system.
  draftPrefix_ = '.' + QByteArray::number(::getpid()) + ".draft-";
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  utcOffset_ = ::localtime_r(&now, &local) != nullptr ? int(local.tm_gmtoff) : 0;
  return true;
}

// The information is written whole under a draft name, then takes an entry's
// name without replacing anything (a taken name moves on to the next), and
// only then does the item follow under the same name. A kill at any moment
// leaves no incomplete information file, only at worst a draft no tool reads.
TrashOutcome TrashFolder::moveIn(const QByteArray& item, const QByteArray& recordedPath) const {
  if (!problem_.isEmpty()) return {false, problem_};
  const QByteArray name = item.mid(item.lastIndexOf('/') + 1);
  if (name.isEmpty()) return {false, errnoText(EINVAL)};
  QByteArray draft;
  if (const int error = writeDraft(info_.get(), draftPrefix_, trashInfo(recordedPath, utcOffset_), draft); error != 0)
    return {false, QStringLiteral("Cannot write trash information: ") + errnoText(error)};
  for (int attempt = 1;; ++attempt) {
    const QByteArray entry = entryName(name, attempt);
    const QByteArray infoName = entry + kInfoSuffix;
    if (!renameWithoutReplacing(info_.get(), draft, info_.get(), infoName)) {
      if (errno == EEXIST) continue;
      const int error = errno;
      ::unlinkat(info_.get(), draft.constData(), 0);
      return {false, QStringLiteral("Cannot write trash information: ") + errnoText(error)};
    }
    if (renameWithoutReplacing(AT_FDCWD, item, files_.get(), entry)) return {true, {}};
    const int error = errno;
    // An entry of that name without information: the information becomes
    // the draft again and tries the next name.
    if (error == EEXIST && ::renameat(info_.get(), infoName.constData(), info_.get(), draft.constData()) == 0)
      continue;
    ::unlinkat(info_.get(), infoName.constData(), 0);
    return {false, QStringLiteral("Cannot move the item to the trash: ") + errnoText(error)};
  }
}
