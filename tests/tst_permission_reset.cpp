// Permission and first-run marker reset through a fake platform whose commands
// answer from a script: report line, failure flag, log lines and the commands
// run. Report lines alone are also checked end to end.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kDirect = QStringLiteral("com.quvex.Talvoren.direct");
const QString kDev = QStringLiteral("com.quvex.Talvoren.dev");
const QString kReadMarker = QStringLiteral("defaults read com.quvex.Talvoren.direct setupCompleted");
const QString kDeleteMarker = QStringLiteral("defaults delete com.quvex.Talvoren.direct setupCompleted");

// Answers keyed by "program arg arg ..."; anything unlisted cannot start.
using Script = QMap<QString, CommandResult>;

QString tcc(const QString& category, const QString& identifier) {
  return QStringLiteral("tccutil reset ") + category + QLatin1Char(' ') + identifier;
}

// Every reset in the order it must run, whatever the earlier ones gave.
const QStringList kResets = {tcc(QStringLiteral("Microphone"), kDirect), tcc(QStringLiteral("Accessibility"), kDirect),
                             tcc(QStringLiteral("Microphone"), kDev), tcc(QStringLiteral("Accessibility"), kDev)};

// The four resets answering in order.
Script resets(const QList<CommandResult>& answers) {
  Script script;
  for (qsizetype i = 0; i < answers.size(); ++i) script.insert(kResets[i], answers[i]);
  return script;
}

}  // namespace

Q_DECLARE_METATYPE(Script)

class PermissionResetTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void outcomes_data() {
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("log");

    const CommandResult ok{0, QStringLiteral("Successfully reset")};
    const QString reset =
        QStringLiteral("[OK] Permission categories were reset; unavailable categories were skipped by macOS.");
    const QString attention = QStringLiteral("[Needs attention] macOS permissions: ");
    QTest::newRow("permissions: all succeed")
        << resets({ok, ok, ok, ok}) << reset << QStringList{QStringLiteral("Reset 4 macOS permission categories")};
    QTest::newRow("permissions: only the first succeeds, failures unseen")
        << resets({ok, {1, QStringLiteral("No such bundle identifier")}}) << reset
        << QStringList{QStringLiteral("Reset 1 macOS permission categories")};
    QTest::newRow("permissions: all fail silently")
        << resets({{1, {}}, {1, QStringLiteral(" \n\t")}, {9, {}}, {1, {}}})
        << attention + QStringLiteral("tccutil failed") << QStringList{};
    // All failing with output, in run order: tst_action_plans.
    QTest::newRow("permissions: only failures with output listed, trimmed, in run order")
        << resets({{1, {}}, {1, QStringLiteral("  denied\n")}, {1, QStringLiteral("\n")}, {70, QStringLiteral("\tgone ")}})
        << attention + QStringLiteral("Accessibility/com.quvex.Talvoren.direct: denied; "
                                      "Accessibility/com.quvex.Talvoren.dev: gone")
        << QStringList{};

    QTest::newRow("marker absent: not deleted")
        << Script{{kReadMarker, {1, QStringLiteral("The domain/default pair does not exist")}}}
        << QStringLiteral("[Skipped] First-run setup marker: not found") << QStringList{};
    QTest::newRow("marker deleted")
        << Script{{kReadMarker, {0, QStringLiteral("1\n")}}, {kDeleteMarker, {0, {}}}}
        << QStringLiteral("[OK] First-run setup marker removed.")
        << QStringList{QStringLiteral("Removed defaults key com.quvex.Talvoren.direct setupCompleted")};
    QTest::newRow("marker delete fails with output")
        << Script{{kReadMarker, {0, QStringLiteral("1")}},
                  {kDeleteMarker, {1, QStringLiteral("\n  Could not write domain\n")}}}
        << QStringLiteral("[Needs attention] First-run setup marker could not be removed: Could not write domain")
        << QStringList{};
    QTest::newRow("marker delete fails silently")
        << Script{{kReadMarker, {0, QStringLiteral("1")}}, {kDeleteMarker, {1, QStringLiteral(" \n")}}}
        << QStringLiteral("[Needs attention] First-run setup marker could not be removed") << QStringList{};
  }

  void outcomes() {
    QFETCH(Script, script);
    const bool marker = script.contains(kReadMarker);  // else the permission reset
    QFETCH(QString, line);
    QFETCH(QStringList, log);

    FakePlatform platform;
    platform.commandHandler = [script](const QString& program, const QStringList& arguments) {
      const QString key = QFileInfo(program).fileName() + QLatin1Char(' ') + arguments.join(QLatin1Char(' '));
      return script.value(key, CommandResult{127, QStringLiteral("launch failed")});
    };
    UninstallerApp app(platform);
    Report report;
    if (marker) {
      app.resetSetupCompletionMarker(report);
    } else {
      app.resetPermissions(report);
    }

    QCOMPARE(report.lines, QStringList{line});
    QCOMPARE(report.hasFailure, line.startsWith(QLatin1String("[Needs attention]")));
    QStringList logged = QString::fromUtf8(platform.files.value(kFakeLogPath)).split(QLatin1Char('\n'));
    logged.removeLast();  // after the final line feed
    for (QString& entry : logged) entry.remove(0, 23);  // "[2026-11-16T15:54:07Z] "
    QCOMPARE(logged, log);
    // The marker is deleted only once read; every reset runs whatever the others gave.
    QStringList commands = marker ? QStringList{kReadMarker} : kResets;
    if (script.contains(kDeleteMarker)) commands << kDeleteMarker;
    for (QString& command : commands) command.prepend(QStringLiteral("run /usr/bin/"));
    QCOMPARE(platform.journalOf(QStringLiteral("run")), commands);
  }
};

QTEST_MAIN(PermissionResetTest)
#include "tst_permission_reset.moc"
