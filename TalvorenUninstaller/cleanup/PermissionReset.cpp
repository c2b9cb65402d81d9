#include "cleanup/CleanupOperations.h"

#include "base/Talvoren.h"

namespace {

const QString kMarkerKey = QStringLiteral("setupCompleted");

// Both identifiers the app has shipped under; the privacy database keeps
// separate decisions for each.
const QStringList kPermissionIdentifiers = {Talvoren::kAppIdentifier, Talvoren::kDevelopmentIdentifier};
const QStringList kPermissionCategories = {QStringLiteral("Microphone"), QStringLiteral("Accessibility")};

}  // namespace

void CleanupOperations::resetPermissions(Report& report) {
  int succeeded = 0;
  QStringList failures;
  for (const QString& identifier : kPermissionIdentifiers) {
    for (const QString& category : kPermissionCategories) {
      const CommandResult result =
          runCommand(SystemProgram::kTccutil, {QStringLiteral("reset"), category, identifier}, CommandEffect::ChangesSystem);
      if (result.status == 0) {
        ++succeeded;
        continue;
      }
      const QString detail = result.output.trimmed();
      if (!detail.isEmpty()) failures.append(category + QLatin1Char('/') + identifier + QStringLiteral(": ") + detail);
    }
  }

  // A category that the system does not know for this app fails on its own;
  // one successful reset means the user's decisions are gone.
  if (succeeded > 0) {
    report.ok(text.permissionsPartial);
    log_.write(QStringLiteral("Reset %1 macOS permission categories").arg(succeeded));
  } else if (!failures.isEmpty()) {
    report.warning(text.permissionsLabel + QStringLiteral(": ") + failures.join(QStringLiteral("; ")));
  } else {
    report.warning(text.permissionsLabel + QStringLiteral(": tccutil failed"));
  }
}

void CleanupOperations::resetSetupCompletionMarker(Report& report) {
  if (runCommand(SystemProgram::kDefaults, {QStringLiteral("read"), Talvoren::kAppIdentifier, kMarkerKey},
                 CommandEffect::OnlyAsks).status != 0) {
    report.skipped(QStringLiteral("First-run setup marker: ") + text.notFound);
    return;
  }

  const CommandResult deletion = runCommand(
      SystemProgram::kDefaults, {QStringLiteral("delete"), Talvoren::kAppIdentifier, kMarkerKey}, CommandEffect::ChangesSystem);
  if (deletion.status == 0) {
    report.ok(QStringLiteral("First-run setup marker removed."));
    log_.write(QStringLiteral("Removed defaults key ") + Talvoren::kAppIdentifier + QLatin1Char(' ') + kMarkerKey);
    return;
  }

  QString message = QStringLiteral("First-run setup marker could not be removed");
  const QString detail = deletion.output.trimmed();
  if (!detail.isEmpty()) message += QStringLiteral(": ") + detail;
  report.warning(message);
}
