#include "cleanup/CleanupOperations.h"

#include "base/Talvoren.h"

#include <algorithm>

namespace {

constexpr qint64 kWaitMilliseconds = 3000;
constexpr double kPollSeconds = 0.1;

bool allTerminated(const RunningApplicationList& instances) {
  return std::all_of(instances.begin(), instances.end(), [](const auto& instance) { return instance->isTerminated(); });
}

// Waits up to 3 s on the wall clock for every instance to exit. The pauses
// run the event loop instead of sleeping, so that exits are noticed while
// waiting; the wait ends within one poll interval of the last exit. True when
// every instance has exited.
bool waitForExit(Platform& platform, const RunningApplicationList& instances) {
  const QDateTime deadline = platform.currentTime().addMSecs(kWaitMilliseconds);
  while (platform.currentTime() < deadline) {
    if (allTerminated(instances)) return true;
    platform.runEventLoop(kPollSeconds);
  }
  return false;
}

}  // namespace

void CleanupOperations::terminateRunningTalvoren(Report& report) {
  // Only the shipping app; the development build is never looked for. One
  // snapshot for the whole call: instances started meanwhile are not ours
  // to stop.
  const RunningApplicationList instances = platform_.runningApplications(Talvoren::kAppIdentifier);
  if (instances.empty()) {
    report.skipped(text.noRunningApp);
    return;
  }

  for (const auto& instance : instances) instance->terminate();
  report.ok(text.askedToQuit);
  if (waitForExit(platform_, instances)) return;

  // Checked once more now: an instance that exited just as the wait ended is
  // not forced.
  RunningApplicationList refusing;
  std::copy_if(instances.begin(), instances.end(), std::back_inserter(refusing),
               [](const auto& instance) { return !instance->isTerminated(); });
  if (!refusing.empty()) {
    for (const auto& instance : refusing) instance->forceTerminate();
    report.ok(text.forcedToQuit);
  }
  if (waitForExit(platform_, instances)) return;

  // Once, however many are left: the user is told to quit it by hand.
  if (!allTerminated(instances)) report.warning(text.stillRunning);
}
