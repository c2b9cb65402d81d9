#include "cli/CommandLineRun.h"

#include "actions/Preview.h"
#include "platform/Account.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

void print(std::FILE* stream, const QByteArray& bytes) {
  std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stream);
  std::fflush(stream);
}

void print(std::FILE* stream, const QString& text) { print(stream, text.toUtf8()); }

// One line of an answer, without its line break; nothing at the end of input.
std::optional<QString> readAnswer(std::FILE* in) {
  QByteArray line;
  for (int c = std::fgetc(in); c != EOF; c = std::fgetc(in)) {
    if (c == '\n') return QString::fromUtf8(line);
    line.append(char(c));
  }
  if (line.isEmpty()) return std::nullopt;
  return QString::fromUtf8(line);
}

// The window's question, asked at the terminal. Only "y" or "yes" proceeds.
bool confirmed(const ActionDefinition& action, const Text& text, const Console& console) {
  print(console.err, text.*action.confirmTitle + QLatin1Char('\n') + text.*action.confirmMessage +
                         QStringLiteral("\nProceed? [y/N] "));
  const std::optional<QString> answer = readAnswer(console.in);
  if (!answer) print(console.err, QStringLiteral("\n"));
  const QString trimmed = answer.value_or(QString()).trimmed();
  return trimmed == QLatin1String("y") || trimmed == QLatin1String("yes");
}

QJsonObject jsonReport(const ActionDefinition& action, const Report& report, bool dryRun) {
  QJsonObject object;
  object.insert(QStringLiteral("action"), QString(action.name));
  object.insert(QStringLiteral("dryRun"), dryRun);
  object.insert(QStringLiteral("hasFailure"), report.hasFailure);
  object.insert(QStringLiteral("report"), QJsonArray::fromStringList(report.lines));
  return object;
}

QByteArray jsonLine(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n'; }

// A change as scripts read it; nothing for the plan's own log lines.
std::optional<QJsonObject> jsonChange(const RecordedChange& change) {
  using Kind = RecordedChange::Kind;
  const char* name = changeName(change.kind);
  if (!name) return std::nullopt;
  QJsonObject object{{QStringLiteral("change"), QLatin1String(name)}};
  switch (change.kind) {
    case Kind::Trash:
      object.insert(QStringLiteral("path"), change.path);
      object.insert(QStringLiteral("label"), change.label);
      break;
    case Kind::Run:
      object.insert(QStringLiteral("program"), change.program);
      object.insert(QStringLiteral("arguments"), QJsonArray::fromStringList(change.arguments));
      break;
    case Kind::Quit:
    case Kind::ForceQuit:
      object.insert(QStringLiteral("pid"), change.pid);
      break;
    default:
      object.insert(QStringLiteral("id"), change.identifier);
      break;
  }
  return object;
}

// The preview: what would change, then the report the plan would return.
int printPreview(const CommandLineRequest& request, Uninstaller& uninstaller, const Console& console) {
  const ActionPreview preview = previewAction(uninstaller.platform(), *request.action);
  if (request.json) {
    QJsonObject object = jsonReport(*request.action, preview.report, /*dryRun=*/true);
    QJsonArray changes;
    for (const RecordedChange& change : preview.changes)
      if (const std::optional<QJsonObject> made = jsonChange(change)) changes.append(*made);
    object.insert(QStringLiteral("changes"), changes);
    print(console.out, jsonLine(object));
  } else {
    print(console.err, previewAssumption() + QLatin1Char('\n'));
    QString text;
    for (const QString& line : changeLines(preview.changes)) text += line + QLatin1Char('\n');
    text += QLatin1Char('\n');
    for (const QString& line : preview.report.lines) text += line + QLatin1Char('\n');
    print(console.out, text);
  }
  return preview.report.hasFailure ? kExitNeedsAttention : kExitDone;
}

}  // namespace

void printText(std::FILE* stream, const QString& text) { print(stream, text); }

std::optional<QString> actAs(const std::optional<QString>& user) {
  if (Account::runsAsRoot()) {
    // Root's own Trash and log are never what an administrator means.
    if (!user) return QStringLiteral("run as root, it acts for one user: give --user NAME");
    return Account::become(*user);
  }
  if (!user) return std::nullopt;
  const std::optional<QString> self = Account::currentName();
  if (self == user) return std::nullopt;
  return QStringLiteral("only root may act for another user; you are ") + self.value_or(QStringLiteral("unknown"));
}

void printDiagnostic(const Console& console, const QString& message) {
  print(console.err, QStringLiteral("talvoren-uninstall: ") + message + QLatin1Char('\n'));
}

int runCommandLineAction(const CommandLineRequest& request, Uninstaller& uninstaller, const Console& console) {
  const ActionDefinition& action = *request.action;
  // A preview changes nothing, so there is nothing to confirm.
  if (request.dryRun) return printPreview(request, uninstaller, console);
  if (!request.yes && !console.inputIsTerminal) {
    printDiagnostic(console, QStringLiteral("no terminal to confirm at: give --yes to run ") + QString(action.name) +
                                 QStringLiteral(" without asking"));
    return kExitNothingDone;
  }
  if (!request.yes && !confirmed(action, uninstaller.text, console)) {
    printDiagnostic(console, QStringLiteral("not confirmed; nothing was done"));
    return kExitNothingDone;
  }

  // Each line as soon as its step has ended, so a long removal shows its
  // progress; in JSON the one object comes at the end.
  if (!request.json) uninstaller.reportListener = [&console](const QString& line) { print(console.out, line + '\n'); };
  const Report report = uninstaller.run(action);
  uninstaller.reportListener = nullptr;
  if (request.json) print(console.out, jsonLine(jsonReport(action, report, /*dryRun=*/false)));
  return report.hasFailure ? kExitNeedsAttention : kExitDone;
}
