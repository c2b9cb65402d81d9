#include "actions/Preview.h"

#include "platform/ActionScope.h"

namespace {

using Kind = RecordedChange::Kind;

QString commandOf(const RecordedChange& change) {
  return (QStringList{change.program} + change.arguments).join(QLatin1Char(' '));
}

// A system step as a person reads it.
QString stepOf(const RecordedChange& change) {
  switch (change.kind) {
    case Kind::Run:
      return QStringLiteral("Run ") + commandOf(change);
    case Kind::Quit:
      return QStringLiteral("Ask process %1 to quit").arg(change.pid);
    case Kind::ForceQuit:
      return QStringLiteral("End process %1 without asking").arg(change.pid);
    case Kind::SelectInputSource:
      return QStringLiteral("Switch the keyboard to the input source ") + change.identifier;
    case Kind::DisableInputSource:
      return QStringLiteral("Disable the input source ") + change.identifier;
    default:
      return {};
  }
}

void addSection(QStringList& details, const QString& heading, const QStringList& items) {
  details << QString() << heading;
  if (items.isEmpty()) details << QStringLiteral("  (none)");
  for (const QString& item : items) details << QStringLiteral("  ") + item;
}

}  // namespace

ActionPreview previewAction(Platform& system, const ActionDefinition& action, std::stop_token stop) {
  RecordingPlatform recorder(system, std::move(stop));
  Uninstaller uninstaller(recorder);
  const ActionScope scope(recorder);
  Report report = (uninstaller.*action.plan)();
  return {recorder.changes(), std::move(report)};
}

QString previewAssumption() {
  return QStringLiteral(
      "This preview assumes that every change succeeds: the system programs that change something answer "
      "success with no output, and Talvoren quits when asked.");
}

const char* changeName(RecordedChange::Kind kind) {
  switch (kind) {
    case Kind::Trash:
      return "trash";
    case Kind::Run:
      return "run";
    case Kind::Quit:
      return "quit";
    case Kind::ForceQuit:
      return "force-quit";
    case Kind::SelectInputSource:
      return "select-input-source";
    case Kind::DisableInputSource:
      return "disable-input-source";
    case Kind::CreateFolders:
    case Kind::AppendToFile:
    case Kind::WriteFile:
      break;
  }
  return nullptr;
}

QStringList changeLines(const std::vector<RecordedChange>& changes) {
  QStringList lines;
  for (const RecordedChange& change : changes) {
    const char* name = changeName(change.kind);
    if (!name) continue;
    QString detail;
    switch (change.kind) {
      case Kind::Trash:
        detail = QStringLiteral("%1 (%2)").arg(change.path, change.label);
        break;
      case Kind::Run:
        detail = commandOf(change);
        break;
      case Kind::Quit:
      case Kind::ForceQuit:
        detail = QStringLiteral("pid %1").arg(change.pid);
        break;
      default:
        detail = change.identifier;
        break;
    }
    lines << QLatin1String(name) + QStringLiteral(": ") + detail;
  }
  return lines;
}

QStringList previewDetails(const ActionPreview& preview) {
  QStringList trashed, leftAlone, steps;
  for (const RecordedChange& change : preview.changes) {
    if (change.kind == Kind::Trash) {
      trashed << change.label + QStringLiteral(": ") + change.path;
    } else if (changeName(change.kind)) {
      steps << stepOf(change);
    }
  }
  const QString skipped = QStringLiteral("[Skipped] ");
  for (const QString& line : preview.report.lines) {
    if (line.startsWith(skipped) &&
        (line.contains(ManifestOperations::kLeftExternal) || line.contains(ManifestOperations::kOutsideScope)))
      leftAlone << line.mid(skipped.size());
  }
  QStringList details{previewAssumption()};
  addSection(details, QStringLiteral("Will be moved to the Trash:"), trashed);
  addSection(details, QStringLiteral("Will be left alone:"), leftAlone);
  addSection(details, QStringLiteral("System steps:"), steps);
  return details;
}
