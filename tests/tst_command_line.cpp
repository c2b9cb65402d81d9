// talvoren-uninstall's reading of its arguments and its run of an action on
// the fake platform: refusals, the confirmation at a terminal, the report as
// lines and as JSON, and the exit status.
#include "cli/CommandLine.h"
#include "cli/CommandLineRun.h"
#include "fakes/FakePlatform.h"
#include "support/Tables.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <cstdlib>

namespace {

// The request in the table's words: the action, then each option set.
QString describe(const CommandLineRequest& request) {
  if (request.kind == CommandLineRequest::Kind::Help) return QStringLiteral("help");
  if (request.kind == CommandLineRequest::Kind::Version) return QStringLiteral("version");
  QStringList words{QString(request.action->name)};
  if (request.dryRun) words << QStringLiteral("dry-run");
  if (request.json) words << QStringLiteral("json");
  if (request.yes) words << QStringLiteral("yes");
  if (request.user) words << QStringLiteral("user:") + *request.user;
  return words.join(QLatin1Char(' '));
}

// A run's streams in memory: what it reads, and what it wrote to each.
class MemoryConsole {
 public:
  explicit MemoryConsole(const QByteArray& input, bool terminal) : input_(input) {
    console.in = ::fmemopen(input_.data(), std::size_t(input_.size()), "r");
    console.out = ::open_memstream(&out_, &outSize_);
    console.err = ::open_memstream(&err_, &errSize_);
    console.inputIsTerminal = terminal;
  }
  ~MemoryConsole() {
    std::fclose(console.in);
    std::fclose(console.out);
    std::fclose(console.err);
    std::free(out_);
    std::free(err_);
  }
  QString out() { return (std::fflush(console.out), QString::fromUtf8(out_, qsizetype(outSize_))); }
  QString err() { return (std::fflush(console.err), QString::fromUtf8(err_, qsizetype(errSize_))); }

  Console console;

 private:
  QByteArray input_;
  char* out_ = nullptr;
  char* err_ = nullptr;
  std::size_t outSize_ = 0, errSize_ = 0;
};

}  // namespace

class CommandLineTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void parsing_data() { addTableRows("command-line", "parsing"); }
  void parsing() {
    QFETCH(QJsonObject, row);
    const auto parsed = parseCommandLine(stringsOf(row["arguments"]));
    if (const QString* error = std::get_if<QString>(&parsed)) {
      QCOMPARE(*error, row["error"].toString());
    } else {
      QCOMPARE(describe(std::get<CommandLineRequest>(parsed)), row["request"].toString());
    }
  }

  // Without --yes the action runs only when a person at a terminal says so;
  // a refusal runs nothing and logs nothing.
  void confirmation_data() { addTableRows("command-line", "confirmation"); }
  void confirmation() {
    QFETCH(QJsonObject, row);
    FakePlatform platform;
    platform.commandHandler = [](const QString&, const QStringList&) { return CommandResult{0, {}}; };
    Uninstaller uninstaller(platform);
    MemoryConsole memory(row["input"].toString().toUtf8(), row["terminal"].toBool());
    const auto request = std::get<CommandLineRequest>(parseCommandLine(stringsOf(row["arguments"])));

    const int status = runCommandLineAction(request, uninstaller, memory.console);

    QCOMPARE(status, row["status"].toInt());
    QCOMPARE(memory.err(), row["err"].toString());
    QCOMPARE(platform.journalOf("run").isEmpty(), status == kExitNothingDone);
    QCOMPARE(platform.files.contains(kFakeLogPath), status != kExitNothingDone);
  }

  // The report as the window shows it, the log line last: line by line, or
  // as one JSON object; the status says whether a line needs attention.
  void output_data() {
    QTest::addColumn<bool>("json");
    QTest::addColumn<bool>("commandsFail");
    for (const bool json : {false, true})
      for (const bool fail : {false, true})
        QTest::addRow("%s, %s", json ? "json" : "text", fail ? "failing" : "succeeding") << json << fail;
  }
  void output() {
    QFETCH(bool, json);
    QFETCH(bool, commandsFail);
    FakePlatform platform;
    if (!commandsFail)
      platform.commandHandler = [](const QString&, const QStringList&) { return CommandResult{0, {}}; };
    Uninstaller uninstaller(platform);
    MemoryConsole memory({}, /*terminal=*/false);
    const QStringList arguments = json ? QStringList{"--json", "--yes", "reset-permissions"}
                                       : QStringList{"--yes", "reset-permissions"};
    const auto request = std::get<CommandLineRequest>(parseCommandLine(arguments));

    const int status = runCommandLineAction(request, uninstaller, memory.console);

    // The same plan through the window's path, on a platform in the same state.
    FakePlatform again;
    again.commandHandler = platform.commandHandler;
    Uninstaller window(again);
    const Report expected = window.run(definitionOf(Action::ResetPermissions));
    QCOMPARE(status, commandsFail ? kExitNeedsAttention : kExitDone);
    QCOMPARE(expected.hasFailure, commandsFail);
    QCOMPARE(memory.err(), QString());
    if (!json) {
      QCOMPARE(memory.out(), expected.lines.join('\n') + '\n');
      return;
    }
    const QJsonObject object = QJsonDocument::fromJson(memory.out().toUtf8()).object();
    QCOMPARE(object.keys(), (QStringList{"action", "dryRun", "hasFailure", "report"}));
    QCOMPARE(object["action"].toString(), QStringLiteral("reset-permissions"));
    QCOMPARE(object["dryRun"], QJsonValue(false));
    QCOMPARE(object["hasFailure"], QJsonValue(commandsFail));
    QCOMPARE(object["report"].toArray().toVariantList(), QVariant(expected.lines).toList());
    QVERIFY(memory.out().endsWith("}\n") && memory.out().count('\n') == 1);
  }

  // Every action and its confirmation title is in the help.
  void helpNamesEachAction() {
    const Text text;
    const QString help = commandLineHelp(text);
    for (const ActionDefinition& action : kActions)
      QVERIFY(help.contains(QString(action.name) + QLatin1Char(' ')) && help.contains(text.*action.confirmTitle));
  }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "tst_command_line.moc"
