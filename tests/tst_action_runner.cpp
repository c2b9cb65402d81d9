// The runner around a plan written by the test: busy state, the deferral, the
// log block, the status text and the completion dialog.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"
#include "platform/ReportView.h"

#include <QElapsedTimer>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {


bool busy(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (button->isEnabled()) return false;
  return !app.progress->isHidden() && app.statusView->toPlainText() == QStringLiteral("Working...");
}

}  // namespace

class ActionRunnerTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void runsPlanLaterAndReports_data() {
    QTest::addColumn<bool>("withWindow");
    QTest::addColumn<bool>("failure");
    QTest::newRow("on the window, all well") << true << false;
    QTest::newRow("on the window, a failure") << true << true;
    QTest::newRow("no window") << false << true;
  }

  // The plan starts no sooner than 0.1 s later, with the window busy. The log
  // gets a blank line, a stamped heading and the report; the line naming the
  // log is for the screen only, where status and dialog agree.
  void runsPlanLaterAndReports() {
    QFETCH(bool, withWindow);
    QFETCH(bool, failure);
    FakePlatform platform;
    UninstallerApp app(platform);
    if (withWindow) app.show();
    const QByteArray logBefore = platform.files.value(kFakeLogPath);
    qint64 startedAfterMs = -1;
    bool busyWhileRunning = false;
    QElapsedTimer clock;
    clock.start();

    app.runAction([&] {
      startedAfterMs = clock.elapsed();
      busyWhileRunning = busy(app);
      Report report;
      report.skipped("Install manifest: not found");
      failure ? report.warning("Logs: could not be moved to Trash (denied)") : report.ok("Logs: moved to Trash");
      return report;
    });
    QCOMPARE(startedAfterMs, -1);
    // Without a window the lone bar must not pop up as a window of its own.
    QCOMPARE(busy(app), withWindow);
    QTRY_COMPARE(platform.completions.size(), std::size_t(1));

    QVERIFY(startedAfterMs >= 100);
    QCOMPARE(busyWhileRunning, withWindow);
    for (QPushButton* button : app.buttons) QVERIFY(button->isEnabled());
    QVERIFY(app.progress->isHidden());

    const QString lines = "[Skipped] Install manifest: not found\n" +
                          QString(failure ? "[Needs attention] Logs: could not be moved to Trash (denied)"
                                          : "[OK] Logs: moved to Trash");
    QCOMPARE(QString::fromUtf8(platform.files.value(kFakeLogPath).mid(logBefore.size())),
             "\n[2026-11-16T15:54:07Z] Action report:\n" + lines + "\n");
    QCOMPARE(app.statusView->toPlainText(), lines + "\n[OK] Uninstall log saved: " + kFakeLogPath);

    const FakePlatform::Completion& dialog = platform.completions[0];
    QCOMPARE(dialog.informativeText, app.statusView->toPlainText());
    QCOMPARE(dialog.warningStyle, failure);
    QCOMPARE(dialog.title + "|" + dialog.buttonTitle, QStringLiteral("Done|OK"));
    QCOMPARE(dialog.window, withWindow ? app.window.get() : nullptr);
  }
};

QTEST_MAIN(ActionRunnerTest)
#include "tst_action_runner.moc"
