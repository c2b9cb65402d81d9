// The cleanup operations and the plans that chain them, on the fake platform,
// one case per entry of tests/data/tables/operations.json: what is installed
// and how the system answers, the call, and everything that must follow. The
// keys are described at the top of that file.
#include "actions/Actions.h"
#include "fakes/FakePlatform.h"
#include "support/Tables.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

QJsonObject gNames;

// "{name}" stands for an entry of the file's "names", which may use others.
QString expand(QString text) {
  for (int pass = 0; pass < 4 && text.contains(QLatin1Char('{')); ++pass)
    for (auto it = gNames.begin(); it != gNames.end(); ++it)
      text.replace(QLatin1Char('{') + it.key() + QLatin1Char('}'), it.value().toString());
  return text;
}

// A list item "@name" stands for the list of that name.
QStringList strings(const QJsonValue& value) {
  QStringList list;
  for (const QJsonValue& item : value.toArray()) {
    const QString text = item.toString();
    list << (text.startsWith(QLatin1Char('@')) ? strings(gNames.value(text.mid(1))) : QStringList{expand(text)});
  }
  return list;
}

// A file's contents: a text, or JSON written out.
QByteArray contentsOf(const QJsonValue& value) {
  if (value.isString()) return expand(value.toString()).toUtf8();
  return expand(QString::fromUtf8(QJsonDocument(value.toObject()).toJson())).toUtf8();
}

// Commands answer by "program argument ...", else by "*", else cannot start;
// an answer [status, output, path] also removes that path, as the real
// command would.
void answerCommands(FakePlatform& platform, const QJsonObject& given) {
  QMap<QString, QJsonArray> answers;
  for (auto it = given.begin(); it != given.end(); ++it) answers.insert(expand(it.key()), it.value().toArray());
  platform.commandHandler = [&platform, answers](const QString& program, const QStringList& arguments) {
    const QString key = QFileInfo(program).fileName() + QLatin1Char(' ') + arguments.join(QLatin1Char(' '));
    const QJsonArray answer = answers.value(key, answers.value(QStringLiteral("*")));
    if (answer.isEmpty()) return CommandResult{127, QStringLiteral("launch failed")};
    if (answer.size() > 2) platform.remove(expand(answer[2].toString()));
    return CommandResult{answer[0].toInt(), expand(answer[1].toString())};
  };
}

void install(FakePlatform& platform, const QJsonObject& given) {
  platform.home = given.value(QStringLiteral("home")).toString(platform.home);
  platform.workingDirectory = given.value(QStringLiteral("cwd")).toString(platform.workingDirectory);
  for (const QString& folder : strings(given.value(QStringLiteral("folders")))) platform.addDirectory(folder);
  const QJsonObject files = given.value(QStringLiteral("files")).toObject();
  for (auto it = files.begin(); it != files.end(); ++it) platform.addFile(expand(it.key()), contentsOf(it.value()));
  if (given.contains(QStringLiteral("trashFails"))) {
    const QString error = given.value(QStringLiteral("trashFails")).toString();
    platform.trashHandler = [error](const QString&) { return TrashOutcome{false, error}; };
  }
  answerCommands(platform, given.value(QStringLiteral("commands")).toObject());
  for (const QJsonValue& value : given.value(QStringLiteral("apps")).toArray()) {
    const QJsonObject app = value.toObject();
    auto running = platform.addApplication(expand(app.value(QStringLiteral("id")).toString()),
                                           app.value(QStringLiteral("name")).toString());
    const QJsonValue quits = app.value(QStringLiteral("quitsAfter"));
    running->quitsAfterSeconds = quits.isNull() ? std::nullopt : std::optional(quits.toDouble(0));
    running->survivesForce = app.value(QStringLiteral("survivesForce")).toBool();
  }
  if (given.contains(QStringLiteral("inputSources"))) {
    InputSourceList sources;
    for (const QJsonValue& value : given.value(QStringLiteral("inputSources")).toArray()) {
      const QJsonObject source = value.toObject();
      sources.push_back(std::make_shared<FakePlatform::Source>(source.value(QStringLiteral("name")).toString(),
                                                          source.value(QStringLiteral("selected")).toBool(),
                                                          source.value(QStringLiteral("enabled")).toBool()));
    }
    platform.inputSourcesById.insert(expand(QStringLiteral("{helper_id}")), sources);
  }
  platform.disableStatus = given.value(QStringLiteral("disableStatus")).toInt();
  if (given.value(QStringLiteral("asciiSource")) == QJsonValue(false)) platform.asciiSource = nullptr;
}

// The steps that take nothing but the report, and the plans, by name.
const QMap<QString, void (Uninstaller::*)(Report&)> kSteps{
    {QStringLiteral("terminateRunningTalvoren"), &Uninstaller::terminateRunningTalvoren},
    {QStringLiteral("disableTalvorenInputSource"), &Uninstaller::disableTalvorenInputSource},
    {QStringLiteral("resetPermissions"), &Uninstaller::resetPermissions},
    {QStringLiteral("resetSetupCompletionMarker"), &Uninstaller::resetSetupCompletionMarker}};

Report perform(Uninstaller& app, const QJsonObject& call) {
  const QString operation = call.value(QStringLiteral("do")).toString();
  if (const ActionDefinition* action = findAction(operation)) return (app.*action->plan)();
  Report report;
  if (kSteps.contains(operation)) {
    (app.*kSteps.value(operation))(report);
  } else if (operation == QLatin1String("trash")) {
    app.trash(expand(call.value(QStringLiteral("path")).toString()), call.value(QStringLiteral("label")).toString(),
              report);
  } else if (operation == QLatin1String("removeManifestComponents")) {
    const QStringList groups = strings(call.value(QStringLiteral("groups")));
    std::vector<ManifestFallback> fallback;
    for (const QJsonValue& pair : call.value(QStringLiteral("fallback")).toArray())
      fallback.push_back({expand(pair[0].toString()), pair[1].toString()});
    app.removeManifestComponents(QSet<QString>(groups.begin(), groups.end()), fallback, report);
  } else {
    qFatal("unknown operation %s", qPrintable(operation));
  }
  return report;
}

// The log's lines without their time stamps.
QStringList loggedLines(const FakePlatform& platform) {
  QStringList lines = QString::fromUtf8(platform.files.value(kFakeLogPath)).split(QLatin1Char('\n'));
  lines.removeLast();  // after the final line feed
  for (QString& line : lines) line.remove(0, QStringLiteral("[2026-11-16T15:54:07Z] ").size());
  return lines;
}

}  // namespace

class OperationsTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void operations_data() {
    gNames = tableOf("operations", "names").toObject();
    addTableRows("operations", "cases");
  }

  void operations() {
    QFETCH(QJsonObject, row);
    const QJsonObject expected = row.value(QStringLiteral("expect")).toObject();
    FakePlatform platform;
    install(platform, row.value(QStringLiteral("given")).toObject());
    Uninstaller app(platform);
    const QDateTime start = platform.now;

    const Report report = perform(app, row.value(QStringLiteral("call")).toObject());

    const QStringList lines = strings(expected.value(QStringLiteral("lines")));
    QCOMPARE(report.lines, lines);
    QCOMPARE(report.hasFailure, !lines.filter(QRegularExpression(QStringLiteral("^\\[Needs attention\\]"))).isEmpty());
    if (expected.contains(QStringLiteral("journal")))
      QCOMPARE(platform.journal, strings(expected.value(QStringLiteral("journal"))));
    for (const char* kind : {"run", "trash"})
      if (expected.contains(QLatin1String(kind)))
        QCOMPARE(platform.journalOf(kind), strings(expected.value(QLatin1String(kind))));
    if (expected.contains(QStringLiteral("log")))
      QCOMPARE(loggedLines(platform), strings(expected.value(QStringLiteral("log"))));
    for (const QString& path : strings(expected.value(QStringLiteral("exist"))))
      QVERIFY2(platform.fileExists(path), qPrintable(path));
    for (const QString& path : strings(expected.value(QStringLiteral("gone"))))
      QVERIFY2(!platform.fileExists(path), qPrintable(path));
    // Settled within one poll interval of the expected moment.
    if (expected.contains(QStringLiteral("elapsedMs"))) {
      const qint64 elapsed = start.msecsTo(platform.now);
      const int expectedMs = expected.value(QStringLiteral("elapsedMs")).toInt();
      QVERIFY2(elapsed >= expectedMs && elapsed <= expectedMs + 100, qPrintable(QString::number(elapsed)));
    }
  }
};

QTEST_GUILESS_MAIN(OperationsTest)
#include "tst_operations.moc"
