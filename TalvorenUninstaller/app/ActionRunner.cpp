#include "app/UninstallerApp.h"
#include "platform/ActionScope.h"

#include "actions/Preview.h"
#include "widgets/ReportView.h"

#include <QTimer>

namespace {

// Long enough for the disabled buttons, the moving bar and the working text
// to reach the screen before the plan occupies the main thread.
constexpr int kPlanDelayMs = 100;

}  // namespace

void UninstallerApp::runAction(ActionPlan plan) {
  setBusy(true);
  statusView->setText(text.working);
  // A precise timer never fires early, so the plan starts no sooner than the
  // delay; `this` as context drops the plan if the controller goes first.
  QTimer::singleShot(kPlanDelayMs, Qt::PreciseTimer, this, [this, plan = std::move(plan)] {
    Report report;
    {
      // One action of the platform, from the plan's first step to its log.
      const ActionScope scope(platform_);
      report = plan();
      logReport(report);
    }
    // The status text and the dialog share the report's lines, never joined:
    // a million lines would be hundreds of megabytes to copy.
    statusView->setLines(report.lines);
    setBusy(false);
    desktop_.showCompletion(window.get(), report.hasFailure, text.doneTitle, report.lines, QStringLiteral("OK"));
  });
}

void UninstallerApp::handle(const ActionDefinition& action) {
  // The details are the action's own plan run against a platform that only
  // records, on the system as it is while the question is asked.
  const auto preview = [this, &action](std::stop_token stop) {
    return previewDetails(previewAction(platform_, action, std::move(stop)));
  };
  if (!confirm(text.*action.confirmTitle, text.*action.confirmMessage, text.*action.buttonTitle, preview)) return;
  runAction([this, &action] { return (this->*action.plan)(); });
}

void UninstallerApp::quit() { desktop_.terminateApplication(); }
