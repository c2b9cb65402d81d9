#include "actions/Uninstaller.h"

#include "actions/Actions.h"

void Uninstaller::logReport(Report& report) {
  log_.appendReport(report.lines);
  report.ok(text.logSaved + QStringLiteral(": ") + install_.uninstallerLogPath());
}

Report Uninstaller::run(const ActionDefinition& action) {
  Report report = (this->*action.plan)();
  logReport(report);
  return report;
}
