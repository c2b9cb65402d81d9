#include "app/UninstallerApp.h"
#include "platform/ReportView.h"

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
    Report report = plan();

    log_.appendReport(report.lines);
    // Added after logging: it names the log, so it belongs on screen only.
    report.ok(text.logSaved + QStringLiteral(": ") + install_.uninstallerLogPath());

    // The status text and the dialog share the report's lines, never joined:
    // a million lines would be hundreds of megabytes to copy.
    statusView->setLines(report.lines);
    setBusy(false);
    platform_.showCompletion(window.get(), report.hasFailure, text.doneTitle, report.lines, QStringLiteral("OK"));
  });
}

void UninstallerApp::resetPermissionsOnly() {
  if (!confirm(text.confirmResetTitle, text.confirmResetMessage, text.resetButton)) return;
  runAction([this] { return resetPermissionsPlan(); });
}

void UninstallerApp::removeAppOnly() {
  if (!confirm(text.confirmRemoveAppTitle, text.confirmRemoveAppMessage, text.removeAppButton)) return;
  runAction([this] { return removeAppOnlyPlan(); });
}

void UninstallerApp::removeModel() {
  if (!confirm(text.confirmRemoveModelTitle, text.confirmRemoveModelMessage, text.removeModelButton)) return;
  runAction([this] { return removeModelPlan(); });
}

void UninstallerApp::fullUninstall() {
  if (!confirm(text.confirmFullTitle, text.confirmFullMessage, text.fullButton)) return;
  runAction([this] { return fullUninstallPlan(); });
}

void UninstallerApp::quit() { platform_.terminateApplication(); }
