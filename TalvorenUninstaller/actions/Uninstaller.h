#pragma once

#include "manifest/ManifestOperations.h"

#include <functional>

struct ActionDefinition;

// The uninstaller's work without any window: it owns the texts, the platform
// it acts through, the install locations and the log (through the operation
// layers it is built on), and holds every operation and the four action
// plans. A window, a command line or anything else runs an action through
// run(), so that each of them gives the same report and writes the same log.
class Uninstaller : public ManifestOperations {
 public:
  using ManifestOperations::ManifestOperations;

  // Given to the report of every plan from now on; see Report::onLine.
  std::function<void(const QString&)> reportListener;

  Report resetPermissionsPlan();
  Report removeAppOnlyPlan();
  Report removeModelPlan();
  Report fullUninstallPlan();

  // Appends a finished plan's report to the log, then adds the line that names
  // the log: that line belongs to what is shown, not to what is logged.
  void logReport(Report& report);
  // Runs the action's plan and logs its report, as above, as one action of
  // the platform (see ActionScope).
  Report run(const ActionDefinition& action);
};
