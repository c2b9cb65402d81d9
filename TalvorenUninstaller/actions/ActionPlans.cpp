#include "actions/Uninstaller.h"

#include "base/Talvoren.h"

namespace {

using Talvoren::kInstalledAppPath;
using Talvoren::kKeyboardHelperLabel;

// Every plan opens with the manifest summary and runs each of its steps
// whatever the earlier ones reported: each operation records its own outcome.
Report startReport(const Uninstaller& uninstaller) {
  Report report;
  report.onLine = uninstaller.reportListener;
  report.skipped(uninstaller.text.manifestLabel + QStringLiteral(": ") + uninstaller.manifestSummary());
  return report;
}

}  // namespace

Report Uninstaller::resetPermissionsPlan() {
  Report report = startReport(*this);
  resetPermissions(report);
  resetSetupCompletionMarker(report);
  return report;
}

Report Uninstaller::removeAppOnlyPlan() {
  Report report = startReport(*this);
  terminateRunningTalvoren(report);
  disableTalvorenInputSource(report);
  removeManifestComponents({QStringLiteral("app"), QStringLiteral("input-method")},
                           {{kInstalledAppPath, text.appLabel}, {install_.inputMethodPath(), kKeyboardHelperLabel}},
                           report);
  // Permissions go last, once nothing of the app is left to ask for them.
  resetPermissions(report);
  resetSetupCompletionMarker(report);
  return report;
}

Report Uninstaller::removeModelPlan() {
  Report report = startReport(*this);
  removeManifestComponents({QStringLiteral("model")}, {{install_.modelsPath(), text.modelLabel}}, report);
  return report;
}

Report Uninstaller::fullUninstallPlan() {
  Report report = startReport(*this);
  terminateRunningTalvoren(report);
  disableTalvorenInputSource(report);
  removeManifestComponents({QStringLiteral("app"), QStringLiteral("model"), QStringLiteral("app-data"),
                            QStringLiteral("installer-helper"), QStringLiteral("manifest"),
                            QStringLiteral("speech-engine"), QStringLiteral("input-method")},
                           {{kInstalledAppPath, text.appLabel},
                            {install_.appSupportPath(), text.supportLabel},
                            {install_.inputMethodPath(), kKeyboardHelperLabel}},
                           report);
  // The uninstaller's own log sits beside this folder, not in it, and stays.
  trash(install_.logsPath(), text.logsLabel, report);

  // Asking the preferences system first lets it drop its cached copy; the
  // domain may well not exist, so its answer is of no interest.
  runCommand(SystemProgram::kDefaults, {QStringLiteral("delete"), Talvoren::kAppIdentifier}, CommandEffect::ChangesSystem);
  if (platform_.fileExists(install_.preferencesPath())) {
    trash(install_.preferencesPath(), text.preferencesLabel, report);
  } else {
    report.ok(text.preferencesRemoved);
  }

  trash(install_.cachePath(), text.cacheLabel, report);
  trash(install_.savedStatePath(), text.savedStateLabel, report);
  resetPermissions(report);
  resetSetupCompletionMarker(report);
  return report;
}
