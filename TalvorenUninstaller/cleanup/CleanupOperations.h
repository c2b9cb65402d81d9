#pragma once

#include "base/OperationContext.h"

#include <QString>

// The operations that act on the system: stopping the running app, resetting
// its permissions and first-run marker, disabling its input source, moving an
// item to the Trash. Each appends its outcome to the action's report and never
// stops the action; each is defined in a file of its own in this folder.
class CleanupOperations : public OperationContext {
 public:
  using OperationContext::OperationContext;

  void terminateRunningTalvoren(Report& report);
  void resetPermissions(Report& report);
  void resetSetupCompletionMarker(Report& report);
  void disableTalvorenInputSource(Report& report);
  void trash(const QString& path, const QString& label, Report& report);

 protected:
  ~CleanupOperations() = default;
};
