#include "cleanup/CleanupOperations.h"

#include "base/Talvoren.h"

#include <QStringBuilder>

namespace {

const QString kScriptPrefix = QStringLiteral("tell application \"Finder\" to delete POSIX file \"");

// An AppleScript string literal only gives meaning to the backslash and the
// double quote; backslashes go first so the quotes' escapes stay single.
QString appleScriptStringBody(QString path) {
  path.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
  path.replace(QLatin1Char('"'), QStringLiteral("\\\""));
  return path;
}

}  // namespace

// Each line is built in one piece (QStringBuilder's %): a large removal
// reports and logs a line for each of hundreds of thousands of items.
void CleanupOperations::trash(const QString& path, const QString& label, Report& report) {
  const QLatin1String separator(": ");
  if (!platform_.fileExists(path)) {
    report.skipped(label % separator % text.notFound);
    log_.write(label % separator % text.notFound % QLatin1String(" at ") % path);
    return;
  }
  const QString subject = label + separator;

  const TrashOutcome moved = platform_.moveToTrash(path, label);
  if (moved.moved) {
    report.ok(subject % text.movedToTrash);
    log_.write(subject % text.movedToTrash % QLatin1String(" from ") % path);
    return;
  }
  log_.write(subject + QStringLiteral("FileManager trash failed for ") + path + QStringLiteral(": ") + moved.error);

  // The Finder keeps a Trash of its own and can sometimes move what the file
  // manager could not; it is asked exactly once.
  const QString script = kScriptPrefix + appleScriptStringBody(path) + QLatin1Char('"');
  const CommandResult run = runCommand(SystemProgram::kOsascript, {QStringLiteral("-e"), script}, CommandEffect::ChangesSystem);
  // A zero status only says that the script ran, not that the item is gone.
  if (run.status == 0 && !platform_.fileExists(path)) {
    report.ok(subject + text.movedToTrash + QStringLiteral(" (") + text.fallbackTrash + QLatin1Char(')'));
    log_.write(subject + text.fallbackTrash + QStringLiteral(" succeeded for ") + path);
    return;
  }

  QString detail = run.output.trimmed();
  if (detail.isEmpty()) detail = moved.error;
  report.warning(subject + text.couldNotMove + QStringLiteral(" (") + detail + QLatin1Char(')'));
}
