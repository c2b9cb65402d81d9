#include "platform/linux/InfoPlist.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/PidfdRunningApplication.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <algorithm>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kBundleSuffix[] = ".app";
constexpr char kInfoPlist[] = "/Contents/Info.plist";
const QString kBundleIdentifierKey = QStringLiteral("CFBundleIdentifier");

// Every process now running, in ascending order of id.
std::vector<pid_t> processIds() {
  std::vector<pid_t> ids;
  const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
  for (const QString& entry : entries) {
    bool isNumber = false;
    const int id = entry.toInt(&isNumber);
    if (isNumber && id > 0) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

// The real user id from the process's status, the first of the four on the
// "Uid:" line.
std::optional<uid_t> realUserId(pid_t pid) {
  QFile status(QStringLiteral("/proc/%1/status").arg(pid));
  if (!status.open(QIODevice::ReadOnly)) return std::nullopt;
  const QList<QByteArray> lines = status.readAll().split('\n');
  for (const QByteArray& line : lines) {
    if (!line.startsWith("Uid:")) continue;
    const QList<QByteArray> fields = line.mid(4).simplified().split(' ');
    bool isNumber = false;
    const uint id = fields.value(0).toUInt(&isNumber);
    if (!isNumber) return std::nullopt;
    return static_cast<uid_t>(id);
  }
  return std::nullopt;
}

// Where the process's executable lies, as the system names it; empty for a
// zombie or when the system does not tell. A process whose first thread has
// ended while others work on no longer tells through its own entry, so then
// each of its threads is asked in turn.
QByteArray executablePath(pid_t pid) {
  const QByteArray process = "/proc/" + QByteArray::number(pid);
  if (QByteArray path = linkTarget(process + "/exe"); !path.isEmpty()) return path;
  const QStringList threads = QDir(QString::fromLatin1(process + "/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
  for (const QString& thread : threads)
    if (QByteArray path = linkTarget(process + "/task/" + thread.toLatin1() + "/exe"); !path.isEmpty()) return path;
  return {};
}

// The innermost folder around the executable that is an application bundle:
// its name ends in ".app" and it holds Contents/Info.plist. Native bytes all
// the way, so a bundle whose path is not UTF-8 is still read at its own path.
QByteArray enclosingBundle(const QByteArray& executable) {
  struct stat info {};
  for (QByteArray folder = parentFolder(executable); folder.size() > 1; folder = parentFolder(folder)) {
    if (folder.endsWith(kBundleSuffix) && ::stat((folder + kInfoPlist).constData(), &info) == 0) return folder;
  }
  return {};
}

// Bundle identifiers by bundle folder, so that many instances of one bundle
// read its Info.plist once per listing.
class BundleIdentifiers {
 public:
  std::optional<QString> ofExecutable(const QByteArray& executable) {
    const QByteArray bundle = enclosingBundle(executable);
    if (bundle.isEmpty()) return std::nullopt;
    const auto known = identifiers_.constFind(bundle);
    if (known != identifiers_.constEnd()) return *known;
    std::optional<QString> identifier;
    if (const auto plist = readRegularFile(bundle + kInfoPlist, kInfoPlistLimit))
      identifier = infoPlistString(*plist, kBundleIdentifierKey);
    identifiers_.insert(bundle, identifier);
    return identifier;
  }

 private:
  QHash<QByteArray, std::optional<QString>> identifiers_;
};

}  // namespace

RunningApplicationList LinuxPlatform::runningApplications(const QString& bundleIdentifier) {
  const uid_t currentUser = ::getuid();
  // The uninstaller may well run from inside the app's bundle, where an
  // installer puts it; it is never among the instances to stop.
  const pid_t self = ::getpid();
  BundleIdentifiers identifiers;
  RunningApplicationList instances;
  for (const pid_t pid : processIds()) {
    if (pid == self) continue;
    // The handle comes first: while the process it names has not exited, its
    // id cannot be given to another, so what /proc tells below is about it.
    std::unique_ptr<PidfdRunningApplication> process = PidfdRunningApplication::open(pid);
    if (!process) continue;
    if (realUserId(pid) != currentUser) continue;
    const QByteArray executable = executablePath(pid);
    if (executable.isEmpty() || process->isTerminated()) continue;
    if (identifiers.ofExecutable(executable) != bundleIdentifier) continue;
    instances.push_back(std::move(process));
  }
  return instances;
}
