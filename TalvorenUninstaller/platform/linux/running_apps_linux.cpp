#include "platform/linux/InfoPlist.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/PidfdRunningApplication.h"
#include "platform/linux/UniqueFd.h"

#include <QByteArrayView>
#include <QHash>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kBundleSuffix[] = ".app";
constexpr char kInfoPlist[] = "/Contents/Info.plist";
const QString kBundleIdentifierKey = QStringLiteral("CFBundleIdentifier");

// Every process now running, in ascending order of id.
std::vector<pid_t> processIds() {
  std::vector<pid_t> ids;
  DIR* proc = ::opendir("/proc");
  if (proc == nullptr) return ids;
  for (const dirent* entry; (entry = ::readdir(proc)) != nullptr;) {
    const std::string_view name = entry->d_name;
    if (name.empty() || name.front() == '0' || name.size() > 9 ||
        !std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }))
      continue;
    ids.push_back(pid_t(std::atoi(entry->d_name)));
  }
  ::closedir(proc);
  std::sort(ids.begin(), ids.end());
  return ids;
}

// The real user id from the process's status, the first of the four on the
// "Uid:" line, which comes early in the file.
std::optional<uid_t> realUserId(const QByteArray& process) {
  const UniqueFd status(::open((process + "/status").constData(), O_RDONLY | O_CLOEXEC));
  if (!status.isValid()) return std::nullopt;
  char text[4096];
  size_t used = 0;
  for (ssize_t got; used < sizeof text - 1 && (got = ::read(status.get(), text + used, sizeof text - 1 - used)) > 0;)
    used += size_t(got);
  text[used] = '\0';
  const char* line = std::strstr(text, "\nUid:");
  if (line == nullptr) return std::nullopt;
  char* end = nullptr;
  const unsigned long id = std::strtoul(line + 5, &end, 10);
  if (end == line + 5 || (*end != '\t' && *end != ' ')) return std::nullopt;
  return static_cast<uid_t>(id);
}

// Where the process's executable lies, as the system names it; empty for a
// zombie, a kernel thread, another user's process (unless we are root) or
// when the system does not tell. A process whose first thread has ended while
// others work on no longer tells through its own entry, so then each of its
// threads is asked in turn: only for a process of `user`'s, since another
// user's would not tell either.
QByteArray executablePath(const QByteArray& process, uid_t user) {
  errno = 0;
  if (QByteArray path = linkTarget(process + "/exe"); !path.isEmpty() || errno != ENOENT) return path;
  if (realUserId(process) != user) return {};
  DIR* tasks = ::opendir((process + "/task").constData());
  QByteArray path;
  for (const dirent* entry; tasks != nullptr && path.isEmpty() && (entry = ::readdir(tasks)) != nullptr;)
    if (entry->d_name[0] != '.') path = linkTarget(process + "/task/" + entry->d_name + "/exe");
  if (tasks != nullptr) ::closedir(tasks);
  return path;
}

// Whether a folder above the executable has a name that ends in ".app", so
// that it may lie in an application bundle; a look at the path alone.
bool mayLieInBundle(const QByteArray& executable) {
  for (qsizetype end = executable.lastIndexOf('/'); end > 0; end = executable.lastIndexOf('/', end - 1))
    if (QByteArrayView(executable).first(end).endsWith(kBundleSuffix)) return true;
  return false;
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

// Most processes are ruled out by their executable alone, asked for first
// (one readlink, which for another user's process fails at once): only one
// that lies in an ".app" folder can be an instance. Owners are not looked at
// first: a process's /proc entry names its effective user, not the real one
// that counts here, and reading the status costs more than the link.
RunningApplicationList LinuxPlatform::runningApplications(const QString& bundleIdentifier) {
  const uid_t currentUser = ::getuid();
  // The uninstaller may well run from inside the app's bundle, where an
  // installer puts it; it is never among the instances to stop.
  const pid_t self = ::getpid();
  BundleIdentifiers identifiers;
  RunningApplicationList instances;
  for (const pid_t pid : processIds()) {
    if (pid == self) continue;
    const QByteArray process = "/proc/" + QByteArray::number(pid);
    if (!mayLieInBundle(executablePath(process, currentUser))) continue;
    // What decides is read only once the handle is held: while the process
    // it names has not exited, its id cannot be given to another, so what
    // /proc tells below is about it.
    std::unique_ptr<PidfdRunningApplication> handle = PidfdRunningApplication::open(pid);
    if (!handle) continue;
    if (realUserId(process) != currentUser) continue;
    const QByteArray executable = executablePath(process, currentUser);
    if (executable.isEmpty() || handle->isTerminated()) continue;
    if (identifiers.ofExecutable(executable) != bundleIdentifier) continue;
    instances.push_back(std::move(handle));
  }
  return instances;
}
