#include "actions/Uninstaller.h"

#include "actions/Actions.h"
#include "platform/ActionScope.h"

void Uninstaller::logReport(Report& report) {
  log_.appendReport(report.lines);
  report.ok(text.logSaved + QStringLiteral(": ") + install_.uninstallerLogPath());
}

Report Uninstaller::run(const ActionDefinition& action) {
  const ActionScope scope(platform_);
  Report report = (this->*action.plan)();
  logReport(report);
  return report;
}
