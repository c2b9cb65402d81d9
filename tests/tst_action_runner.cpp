// The runner around a plan: busy state, the deferral, the log block, the
// status text and the completion dialog, with plans written by the test.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {

const QString kLog = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");
const QString kLogSavedLine =
    QStringLiteral("[OK] Uninstall log saved: /Users/example/Library/Logs/Talvoren-Uninstaller.log");

bool anyButtonEnabled(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (button->isEnabled()) return true;
  return false;
}

}  // namespace

class ActionRunnerTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  // The plan starts no earlier than 0.1 s later, after the window has been
  // put in its busy state, and the state is kept while it runs.
  void planRunsLaterWhileBusy() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    bool ran = false;
    bool busyWhileRunning = false;
    qint64 startedAfterMs = -1;
    QElapsedTimer clock;
    clock.start();
    app.runAction([&] {
      ran = true;
      startedAfterMs = clock.elapsed();
      busyWhileRunning = !anyButtonEnabled(app) && !app.progress->isHidden() &&
                         app.statusView->toPlainText() == QStringLiteral("Working...");
      return Report{};
    });

    QVERIFY(!ran);
    QVERIFY(!anyButtonEnabled(app));
    QVERIFY(!app.progress->isHidden());
    QCOMPARE(app.statusView->toPlainText(), QStringLiteral("Working..."));
    QVERIFY(platform.completions.empty());

    QTRY_VERIFY(ran);
    QVERIFY(startedAfterMs >= 100);
    QVERIFY(busyWhileRunning);
    QTRY_COMPARE(platform.completions.size(), std::size_t(1));
    QVERIFY(anyButtonEnabled(app));
    QVERIFY(app.progress->isHidden());
  }

  // The log gets a blank line, a stamped heading and the report; the line
  // naming the log is for the screen only, where status and dialog agree.
  void reportIsLoggedShownAndAnnounced() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    const QByteArray logBefore = platform.files.value(kLog);

    app.runAction([] {
      Report report;
      report.skipped(QStringLiteral("Install manifest: not found"));
      report.ok(QStringLiteral("Talvoren app: moved to Trash"));
      return report;
    });
    QTRY_COMPARE(platform.completions.size(), std::size_t(1));

    QCOMPARE(platform.files.value(kLog).mid(logBefore.size()),
             QByteArray("\n"
                        "[2026-11-16T15:54:07Z] Action report:\n"
                        "[Skipped] Install manifest: not found\n"
                        "[OK] Talvoren app: moved to Trash\n"));
    const QString shown = QStringLiteral("[Skipped] Install manifest: not found\n[OK] Talvoren app: moved to Trash\n") +
                          kLogSavedLine;
    QCOMPARE(app.statusView->toPlainText(), shown);

    const FakePlatform::Completion& dialog = platform.completions[0];
    QCOMPARE(dialog.informativeText, shown);
    QCOMPARE(dialog.title, QStringLiteral("Done"));
    QCOMPARE(dialog.buttonTitle, QStringLiteral("OK"));
    QCOMPARE(dialog.window, app.window.get());
  }

  void dialogStyleFollowsFailure_data() {
    QTest::addColumn<QStringList>("lines");  // "ok:", "skip:" or "warn:" then the text
    QTest::addColumn<bool>("warning");
    QTest::newRow("only ok and skipped") << QStringList{"skip:a", "ok:b", "skip:c"} << false;
    QTest::newRow("empty report") << QStringList{} << false;
    QTest::newRow("one failure in the middle") << QStringList{"ok:a", "warn:b", "ok:c"} << true;
    QTest::newRow("failure first") << QStringList{"warn:a", "skip:b"} << true;
  }

  void dialogStyleFollowsFailure() {
    QFETCH(QStringList, lines);
    QFETCH(bool, warning);
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    app.runAction([lines] {
      Report report;
      for (const QString& line : lines) {
        const QString text = line.section(QLatin1Char(':'), 1);
        if (line.startsWith(QStringLiteral("ok:"))) report.ok(text);
        if (line.startsWith(QStringLiteral("skip:"))) report.skipped(text);
        if (line.startsWith(QStringLiteral("warn:"))) report.warning(text);
      }
      return report;
    });

    QTRY_COMPARE(platform.completions.size(), std::size_t(1));
    QCOMPARE(platform.completions[0].warningStyle, warning);
    QVERIFY(platform.completions[0].informativeText.endsWith(kLogSavedLine));
  }

  // Without a window the dialog cannot be a sheet; it becomes application-modal.
  void noWindowGivesApplicationModalDialog() {
    FakePlatform platform;
    UninstallerApp app(platform);

    app.runAction([] { return Report{}; });

    QTRY_COMPARE(platform.completions.size(), std::size_t(1));
    QCOMPARE(platform.completions[0].window, nullptr);
    QCOMPARE(app.statusView->toPlainText(), kLogSavedLine);
  }
};

QTEST_MAIN(ActionRunnerTest)
#include "tst_action_runner.moc"
