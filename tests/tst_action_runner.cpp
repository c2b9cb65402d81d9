// The runner around a plan written by the test: busy state, the deferral, the
// log block, the status text and the completion dialog.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {

const QString kLog = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");
const QString kLogSaved = "[OK] Uninstall log saved: " + kLog;

bool busy(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (button->isEnabled()) return false;
  return !app.progress->isHidden() && app.statusView->toPlainText() == QStringLiteral("Working...");
}

}  // namespace

class ActionRunnerTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  // The plan starts no earlier than 0.1 s later, after the window has gone
  // busy, and the window stays busy while it runs.
  void planRunsLaterWhileBusy() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    qint64 startedAfterMs = -1;
    bool busyWhileRunning = false;
    QElapsedTimer clock;
    clock.start();

    app.runAction([&] {
      startedAfterMs = clock.elapsed();
      busyWhileRunning = busy(app);
      return Report{};
    });
    QCOMPARE(startedAfterMs, -1);
    QVERIFY(busy(app));

    QTRY_COMPARE(platform.completions.size(), std::size_t(1));
    QVERIFY(startedAfterMs >= 100);
    QVERIFY(busyWhileRunning);
    for (QPushButton* button : app.buttons) QVERIFY(button->isEnabled());
    QVERIFY(app.progress->isHidden());
  }

  void reportIsLoggedShownAndAnnounced_data() {
    QTest::addColumn<bool>("withWindow");
    QTest::addColumn<bool>("failure");
    QTest::newRow("on the window, all well") << true << false;
    QTest::newRow("on the window, a failure in the middle") << true << true;
    QTest::newRow("no window") << false << true;
  }

  // The log gets a blank line, a stamped heading and the report; the line
  // naming the log is for the screen only, where status and dialog agree.
  void reportIsLoggedShownAndAnnounced() {
    QFETCH(bool, withWindow);
    QFETCH(bool, failure);
    FakePlatform platform;
    UninstallerApp app(platform);
    if (withWindow) app.show();
    const QByteArray logBefore = platform.files.value(kLog);

    app.runAction([failure] {
      Report report;
      report.skipped("Install manifest: not found");
      failure ? report.warning("Logs: could not be moved to Trash (denied)") : report.ok("Logs: moved to Trash");
      report.ok("Caches: moved to Trash");
      return report;
    });
    QTRY_COMPARE(platform.completions.size(), std::size_t(1));

    const QString middle = failure ? "[Needs attention] Logs: could not be moved to Trash (denied)"
                                   : "[OK] Logs: moved to Trash";
    const QString lines = "[Skipped] Install manifest: not found\n" + middle + "\n[OK] Caches: moved to Trash";
    QCOMPARE(QString::fromUtf8(platform.files.value(kLog).mid(logBefore.size())),
             "\n[2026-11-16T15:54:07Z] Action report:\n" + lines + "\n");
    QCOMPARE(app.statusView->toPlainText(), lines + "\n" + kLogSaved);

    const FakePlatform::Completion& dialog = platform.completions[0];
    QCOMPARE(dialog.informativeText, app.statusView->toPlainText());
    QCOMPARE(dialog.warningStyle, failure);
    QCOMPARE(dialog.title + "|" + dialog.buttonTitle, QStringLiteral("Done|OK"));
    QCOMPARE(dialog.window, withWindow ? app.window.get() : nullptr);
  }
};

QTEST_MAIN(ActionRunnerTest)
#include "tst_action_runner.moc"
