#include "platform/linux/PidfdRunningApplication.h"

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Called through syscall(): the C library's own wrappers are newer than some
// of the systems we build on, and on others their header lacks C linkage.
int pidfdOpen(pid_t pid) { return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U)); }

int pidfdSendSignal(int descriptor, int signal) {
  return static_cast<int>(::syscall(SYS_pidfd_send_signal, descriptor, signal, nullptr, 0U));
}

}  // namespace

std::unique_ptr<PidfdRunningApplication> PidfdRunningApplication::open(pid_t pid) {
  const int descriptor = pidfdOpen(pid);
  if (descriptor < 0) return nullptr;
  return std::unique_ptr<PidfdRunningApplication>(new PidfdRunningApplication(descriptor, pid));
}

PidfdRunningApplication::~PidfdRunningApplication() { ::close(descriptor_); }

void PidfdRunningApplication::terminate() { sendSignal(SIGTERM); }

void PidfdRunningApplication::forceTerminate() { sendSignal(SIGKILL); }

// A process that has already gone (ESRCH) needs nothing more; callers ignore
// the outcome either way.
void PidfdRunningApplication::sendSignal(int signal) { pidfdSendSignal(descriptor_, signal); }

bool PidfdRunningApplication::isTerminated() {
  // The descriptor turns readable when the process exits, a zombie included.
  pollfd entry{descriptor_, POLLIN, 0};
  int ready = 0;
  do {
    ready = ::poll(&entry, 1, 0);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) return false;
  return (entry.revents & (POLLIN | POLLHUP)) != 0;
}
