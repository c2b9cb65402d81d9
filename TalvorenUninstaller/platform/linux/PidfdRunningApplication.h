#pragma once

#include "platform/Platform.h"

#include <sys/types.h>

#include <memory>

// A running application held through a process file descriptor. The
// descriptor names the process itself rather than its id, so once the
// process has exited nothing sent here can reach a later process that
// happens to be given the same id.
class PidfdRunningApplication final : public RunningApplication {
 public:
  // A handle on the process that has id `pid` now; nothing when there is none.
  static std::unique_ptr<PidfdRunningApplication> open(pid_t pid);
  ~PidfdRunningApplication() override;
  PidfdRunningApplication(const PidfdRunningApplication&) = delete;
  PidfdRunningApplication& operator=(const PidfdRunningApplication&) = delete;

  // SIGTERM.
  void terminate() override;
  // SIGKILL.
  void forceTerminate() override;
  // True once the process has exited, whether or not its parent has reaped it.
  bool isTerminated() override;
  qint64 processIdentifier() override { return pid_; }

 private:
  PidfdRunningApplication(int descriptor, pid_t pid) : descriptor_(descriptor), pid_(pid) {}
  void sendSignal(int signal);

  int descriptor_;
  pid_t pid_;
};
