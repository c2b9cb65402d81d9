// Permission and first-run marker reset, driven through a fake platform whose
// commands answer from a script.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kDirect = QStringLiteral("com.quvex.Talvoren.direct");
const QString kDev = QStringLiteral("com.quvex.Talvoren.dev");
const QString kLog = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");

// Answers keyed by "program arg arg ..."; anything unlisted cannot start.
using Script = QMap<QString, CommandResult>;

void answerFrom(FakePlatform& platform, const Script& script) {
  platform.commandHandler = [script](const QString& program, const QStringList& arguments) {
    const QString key = QFileInfo(program).fileName() + QLatin1Char(' ') + arguments.join(QLatin1Char(' '));
    return script.value(key, CommandResult{127, QStringLiteral("launch failed")});
  };
}

QString tcc(const QString& category, const QString& identifier) {
  return QStringLiteral("tccutil reset ") + category + QLatin1Char(' ') + identifier;
}

QStringList logLines(FakePlatform& platform) {
  QStringList lines = QString::fromUtf8(platform.files.value(kLog)).split(QLatin1Char('\n'));
  lines.removeLast();  // after the final line feed
  for (QString& line : lines) line.remove(0, 23);  // "[2026-11-16T15:54:07Z] "
  return lines;
}

}  // namespace

Q_DECLARE_METATYPE(Script)

class PermissionResetTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void resetPermissions_data() {
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("log");

    const CommandResult ok{0, QStringLiteral("Successfully reset")};
    QTest::newRow("all succeed") << Script{{tcc("Microphone", kDirect), ok},
                                           {tcc("Accessibility", kDirect), ok},
                                           {tcc("Microphone", kDev), ok},
                                           {tcc("Accessibility", kDev), ok}}
                                 << QStringLiteral("[OK] Permission categories were reset; unavailable categories "
                                                   "were skipped by macOS.")
                                 << QStringList{QStringLiteral("Reset 4 macOS permission categories")};
    QTest::newRow("only the first succeeds, failures unseen")
        << Script{{tcc("Microphone", kDirect), ok},
                  {tcc("Accessibility", kDirect), {1, QStringLiteral("No such bundle identifier")}}}
        << QStringLiteral("[OK] Permission categories were reset; unavailable categories were skipped by macOS.")
        << QStringList{QStringLiteral("Reset 1 macOS permission categories")};
    QTest::newRow("all fail with output, listed in run order")
        << Script{{tcc("Microphone", kDirect), {1, QStringLiteral("  err one\n")}},
                  {tcc("Accessibility", kDirect), {1, QStringLiteral("err two")}},
                  {tcc("Microphone", kDev), {70, QStringLiteral("\terr three ")}},
                  {tcc("Accessibility", kDev), {1, QStringLiteral("err four")}}}
        << QStringLiteral("[Needs attention] macOS permissions: Microphone/com.quvex.Talvoren.direct: err one; "
                          "Accessibility/com.quvex.Talvoren.direct: err two; Microphone/com.quvex.Talvoren.dev: "
                          "err three; Accessibility/com.quvex.Talvoren.dev: err four")
        << QStringList{};
    QTest::newRow("all fail silently")
        << Script{{tcc("Microphone", kDirect), {1, {}}},
                  {tcc("Accessibility", kDirect), {1, QStringLiteral(" \n\t")}},
                  {tcc("Microphone", kDev), {9, {}}},
                  {tcc("Accessibility", kDev), {1, {}}}}
        << QStringLiteral("[Needs attention] macOS permissions: tccutil failed") << QStringList{};
    QTest::newRow("mixed silent and talking failures")
        << Script{{tcc("Microphone", kDirect), {1, {}}},
                  {tcc("Accessibility", kDirect), {1, QStringLiteral("denied")}},
                  {tcc("Microphone", kDev), {1, QStringLiteral("\n")}},
                  {tcc("Accessibility", kDev), {1, {}}}}
        << QStringLiteral("[Needs attention] macOS permissions: Accessibility/com.quvex.Talvoren.direct: denied")
        << QStringList{};
    // Nothing scripted: the tool cannot even start, and its launch error is the detail.
    QTest::newRow("tool missing")
        << Script{}
        << QStringLiteral("[Needs attention] macOS permissions: Microphone/com.quvex.Talvoren.direct: launch failed; "
                          "Accessibility/com.quvex.Talvoren.direct: launch failed; "
                          "Microphone/com.quvex.Talvoren.dev: launch failed; "
                          "Accessibility/com.quvex.Talvoren.dev: launch failed")
        << QStringList{};
  }
  void resetPermissions() {
    QFETCH(Script, script);
    QFETCH(QString, line);
    QFETCH(QStringList, log);
    FakePlatform platform;
    answerFrom(platform, script);
    UninstallerApp app(platform);
    Report report;
    app.resetPermissions(report);

    QCOMPARE(report.lines, QStringList{line});
    QCOMPARE(report.hasFailure, line.startsWith(QLatin1String("[Needs attention]")));
    QCOMPARE(logLines(platform), log);
    QCOMPARE(platform.journalOf(QStringLiteral("run")),
             QStringList({QStringLiteral("run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.direct"),
                          QStringLiteral("run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.direct"),
                          QStringLiteral("run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.dev"),
                          QStringLiteral("run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.dev")}));
  }

  void resetSetupCompletionMarker_data() {
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<int>("commands");

    const QString read = QStringLiteral("defaults read com.quvex.Talvoren.direct setupCompleted");
    const QString remove = QStringLiteral("defaults delete com.quvex.Talvoren.direct setupCompleted");
    QTest::newRow("marker absent")
        << Script{{read, {1, QStringLiteral("The domain/default pair does not exist")}}}
        << QStringLiteral("[Skipped] First-run setup marker: not found") << QStringList{} << 1;
    QTest::newRow("defaults missing") << Script{} << QStringLiteral("[Skipped] First-run setup marker: not found")
                                      << QStringList{} << 1;
    QTest::newRow("deleted") << Script{{read, {0, QStringLiteral("1\n")}}, {remove, {0, {}}}}
                             << QStringLiteral("[OK] First-run setup marker removed.")
                             << QStringList{QStringLiteral(
                                    "Removed defaults key com.quvex.Talvoren.direct setupCompleted")}
                             << 2;
    QTest::newRow("delete fails with output")
        << Script{{read, {0, QStringLiteral("1")}}, {remove, {1, QStringLiteral("\n  Could not write domain\n")}}}
        << QStringLiteral("[Needs attention] First-run setup marker could not be removed: Could not write domain")
        << QStringList{} << 2;
    QTest::newRow("delete fails silently")
        << Script{{read, {0, QStringLiteral("1")}}, {remove, {1, QStringLiteral(" \n")}}}
        << QStringLiteral("[Needs attention] First-run setup marker could not be removed") << QStringList{} << 2;
  }
  void resetSetupCompletionMarker() {
    QFETCH(Script, script);
    QFETCH(QString, line);
    QFETCH(QStringList, log);
    QFETCH(int, commands);
    FakePlatform platform;
    answerFrom(platform, script);
    UninstallerApp app(platform);
    Report report;
    app.resetSetupCompletionMarker(report);

    QCOMPARE(report.lines, QStringList{line});
    QCOMPARE(report.hasFailure, line.startsWith(QLatin1String("[Needs attention]")));
    QCOMPARE(logLines(platform), log);
    QCOMPARE(platform.journalOf(QStringLiteral("run")).size(), commands);
  }

  void skippedMarkerLeavesAnEarlierFailureAlone() {
    FakePlatform platform;
    UninstallerApp app(platform);
    Report report;
    report.warning(QStringLiteral("earlier"));
    app.resetSetupCompletionMarker(report);
    QVERIFY(report.hasFailure);
    QCOMPARE(report.lines.size(), 2);
  }
};

QTEST_MAIN(PermissionResetTest)
#include "tst_permission_reset.moc"
