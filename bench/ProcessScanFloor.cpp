// What finding the running instances of an app cannot do without, written
// plainly:
//
// - every process listed once from /proc (this one left out);
// - its executable asked for first (one readlink): only one that lies in an
//   ".app" folder can belong to an app, and for a process of another user it
//   fails at once (one whose first thread has ended shows no executable of
//   its own: then, if it is this user's, each of its threads is asked);
// - for an executable in a bundle only: a process handle (pidfd) taken before
//   anything that decides, the process's real user read from its status, its
//   executable asked again now that the handle pins the process, the handle
//   checked to be live, and the bundle's Info.plist read once per bundle.
#include "ProcessScanFloor.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::string linkOf(int proc, const std::string& link) {
  char target[PATH_MAX];
  const ssize_t length = ::readlinkat(proc, link.c_str(), target, sizeof target);
  return length > 0 && size_t(length) < sizeof target ? std::string(target, size_t(length)) : std::string();
}

// The whole small file, or nothing.
std::string readSmall(int folder, const std::string& path, size_t limit) {
  const int fd = ::openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return {};
  std::string contents(limit + 1, '\0');
  size_t used = 0;
  for (ssize_t got; used <= limit && (got = ::read(fd, contents.data() + used, limit + 1 - used)) > 0;) used += size_t(got);
  ::close(fd);
  contents.resize(used > limit ? 0 : used);
  return contents;
}

// The real user id, the first number on the status's "Uid:" line.
long realUser(int proc, const std::string& pid) {
  const std::string status = readSmall(proc, pid + "/status", 4096);
  const size_t line = status.find("\nUid:");
  return line == std::string::npos ? -1 : std::strtol(status.c_str() + line + 5, nullptr, 10);
}

// The innermost ".app" folder around the executable that holds Contents/Info.plist.
std::string bundleOf(const std::string& executable) {
  for (size_t end = executable.rfind('/'); end != 0 && end != std::string::npos; end = executable.rfind('/', end - 1)) {
    if (end < 4 || executable.compare(end - 4, 4, ".app") != 0) continue;
    const std::string bundle = executable.substr(0, end);
    struct stat info {};
    if (::stat((bundle + "/Contents/Info.plist").c_str(), &info) == 0) return bundle;
  }
  return {};
}

std::string identifierOf(const std::string& bundle) {
  const std::string plist = readSmall(AT_FDCWD, bundle + "/Contents/Info.plist", size_t(1) << 20);
  const std::string key = "<key>CFBundleIdentifier</key><string>";
  const size_t at = plist.find(key);
  if (at == std::string::npos) return {};
  const size_t end = plist.find("</string>", at + key.size());
  return end == std::string::npos ? std::string() : plist.substr(at + key.size(), end - at - key.size());
}

std::string executableOf(int proc, const std::string& pid, long user) {
  std::string executable = linkOf(proc, pid + "/exe");
  if (!executable.empty() || errno != ENOENT || realUser(proc, pid) != user) return executable;
  DIR* tasks = ::opendir(("/proc/" + pid + "/task").c_str());
  for (dirent* entry; tasks != nullptr && executable.empty() && (entry = ::readdir(tasks)) != nullptr;)
    if (entry->d_name[0] != '.') executable = linkOf(proc, pid + "/task/" + entry->d_name + "/exe");
  if (tasks != nullptr) ::closedir(tasks);
  return executable;
}

}  // namespace

size_t scanProcessesFloor(const std::string& identifier) {
  const long user = long(::getuid());
  const std::string self = std::to_string(::getpid());
  DIR* listing = ::opendir("/proc");
  if (listing == nullptr) return 0;
  const int proc = ::dirfd(listing);
  std::map<std::string, std::string> identifiers;  // by bundle
  std::vector<int> instances;
  for (dirent* entry; (entry = ::readdir(listing)) != nullptr;) {
    const std::string pid = entry->d_name;
    if (pid[0] < '1' || pid[0] > '9' || pid == self) continue;
    if (executableOf(proc, pid, user).find(".app/") == std::string::npos) continue;

    const int handle = int(::syscall(SYS_pidfd_open, std::atoi(pid.c_str()), 0U));
    if (handle < 0) continue;
    const std::string executable = realUser(proc, pid) == user ? executableOf(proc, pid, user) : std::string();
    pollfd live{handle, POLLIN, 0};
    const std::string bundle = executable.empty() || ::poll(&live, 1, 0) != 0 ? std::string() : bundleOf(executable);
    if (!bundle.empty() && !identifiers.count(bundle)) identifiers[bundle] = identifierOf(bundle);
    if (!bundle.empty() && identifiers[bundle] == identifier) {
      instances.push_back(handle);
    } else {
      ::close(handle);
    }
  }
  ::closedir(listing);
  for (const int handle : instances) ::close(handle);
  return instances.size();
}
