// The window as the controller builds it, and the runner around a plan, on
// the fake platform: layout, cancelling, quitting, the showing log line, the
// icon's fallbacks, the busy state, the log block and the completion dialog.
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

namespace {

const QString kInitial = QStringLiteral("Nothing has been removed yet.");

QWidget* child(UninstallerApp& app, const QString& name) { return app.window->findChild<QWidget*>(name); }

QImage solid(QColor colour) {
  QImage image(8, 8, QImage::Format_ARGB32);
  image.fill(colour);
  return image;
}

// Every button enabled and the bar hidden, or every button disabled, the bar
// moving and the working text shown.
bool busy(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (button->isEnabled()) return false;
  return !app.progress->isHidden() && app.statusView->toPlainText() == QStringLiteral("Working...");
}
bool idle(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (!button->isEnabled()) return false;
  return app.progress->isHidden();
}

}  // namespace

class WindowTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  // Frames from the layout's top left; every text fits its fixed frame.
  void startStateAndLayout() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    QCOMPARE(app.window->minimumSize(), QSize(620, 520));
    QCOMPARE(app.window->maximumSize(), QSize(620, 520));
    QCOMPARE(app.statusView->toPlainText(), kInitial);
    QVERIFY(app.statusView->isReadOnly() && app.statusView->textInteractionFlags() & Qt::TextSelectableByMouse);
    QVERIFY(idle(app));
    QCOMPARE(app.progress->maximum(), 0);  // indeterminate: moves while shown

    QStringList frames;
    for (const QPushButton* button : app.buttons)
      frames << button->text() + QStringLiteral(" %1 %2 %3 %4")
                                     .arg(button->x())
                                     .arg(button->y())
                                     .arg(button->width())
                                     .arg(button->height());
    for (const char* name : {"icon", "heading", "subtitle", "safetyBox", "safetyNote", "progress", "status"}) {
      const QRect frame = child(app, QLatin1String(name))->geometry();
      frames << QStringLiteral("%1 %2 %3 %4 %5")
                    .arg(name)
                    .arg(frame.x())
                    .arg(frame.y())
                    .arg(frame.width())
                    .arg(frame.height());
    }
    QCOMPARE(frames, QStringList({"Reset macOS Permissions 28 186 270 34", "Remove AI Model 322 186 270 34",
                                  "Remove App Only 28 234 270 34", "Full Uninstall 322 234 270 34",
                                  "Quit 468 474 124 30", "icon 28 36 64 64", "heading 108 32 470 34",
                                  "subtitle 108 65 470 34", "safetyBox 28 118 564 48", "safetyNote 42 128 536 28",
                                  "progress 28 285 564 16", "status 28 314 564 150"}));
    for (const char* name : {"heading", "subtitle", "safetyNote"}) {
      auto* label = qobject_cast<QLabel*>(child(app, QLatin1String(name)));
      const QRect needed =
          QFontMetrics(label->font()).boundingRect(QRect(0, 0, label->width(), 1000), Qt::TextWordWrap, label->text());
      QVERIFY2(needed.height() <= label->height() && needed.width() <= label->width(), name);
    }
  }

  // Each button asks its own question; a no leaves no busy state, no log
  // entry and no plan run later.
  void cancelChangesNothing_data() {
    QTest::addColumn<int>("button");
    QTest::addColumn<QString>("title");
    QTest::newRow("reset") << 0 << "Reset permissions?|Reset macOS Permissions";
    QTest::newRow("remove model") << 1 << "Remove the AI model?|Remove AI Model";
    QTest::newRow("remove app") << 2 << "Remove Talvoren app?|Remove App Only";
    QTest::newRow("full") << 3 << "Fully uninstall Talvoren?|Full Uninstall";
  }
  void cancelChangesNothing() {
    QFETCH(int, button);
    QFETCH(QString, title);
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    const QByteArray logBefore = platform.files.value(kFakeLogPath);
    platform.journal.clear();

    app.buttons.at(std::size_t(button))->click();
    QTest::qWait(250);

    QCOMPARE(platform.journal, QStringList{"confirm " + title.section('|', 0, 0)});
    const FakePlatform::Confirmation& asked = platform.confirmations[0];
    QCOMPARE(asked.title + "|" + asked.confirmTitle + "|" + asked.cancelTitle, title + "|Cancel");
    QCOMPARE(platform.files.value(kFakeLogPath), logBefore);
    QCOMPARE(app.statusView->toPlainText(), kInitial);
    QVERIFY(idle(app));
  }

  void quitAndClosingEndTheProgram() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    app.buttons.back()->click();
    QCOMPARE(platform.terminations, 1);
    app.window->close();
    QCOMPARE(platform.terminations, 2);
  }

  // A normal start shows twice: one window, two placements, two log lines.
  void showPlacesAndLogs_data() {
    QTest::addColumn<bool>("hasScreen");
    QTest::addColumn<QString>("placement");
    QTest::addColumn<QString>("logged");
    QTest::newRow("centred, fractions printed exactly") << true << "frame 410.5 198.25 620 548"
                                                        << "version=2.4.1 frame=(410.5, 198.25, 620.0, 548.0)";
    QTest::newRow("no screen, no version") << false << "origin 120 120"
                                           << "version=unknown frame=(120.0, 120.0, 620.0, 548.0)";
  }
  void showPlacesAndLogs() {
    QFETCH(bool, hasScreen);
    QFETCH(QString, placement);
    QFETCH(QString, logged);
    FakePlatform platform;
    platform.shortVersion.reset();
    if (hasScreen) {
      platform.screenList = {{{0, 0, 1441, 900}, {0, 70, 1441, 804.5}}};
      platform.shortVersion = QStringLiteral("2.4.1");
    }
    UninstallerApp app(platform);
    app.show();
    QWidget* first = app.window.get();
    app.show();

    QCOMPARE(app.window.get(), first);
    QCOMPARE(platform.journal, (QStringList{placement, "front", placement, "front"}));
    const QString line = "[2026-11-16T15:54:07Z] Uninstaller shown bundle=/opt/TalvorenUninstaller " + logged + "\n";
    QCOMPARE(platform.files.value(kFakeLogPath), (line + line).toUtf8());
  }

  // Which sources exist, as letters: R our resource, L it loads, A the
  // installed app, P the program's icon. Invalid colour: no picture at all.
  void iconFallsBack_data() {
    QTest::addColumn<QString>("sources");
    QTest::addColumn<QColor>("expected");
    QTest::newRow("own resource") << "RLAP" << QColor(Qt::red);
    QTest::newRow("unreadable resource, installed app") << "RAP" << QColor(Qt::green);
    QTest::newRow("neither: program icon") << "P" << QColor(Qt::blue);
    QTest::newRow("nothing at all") << "" << QColor();
  }
  void iconFallsBack() {
    QFETCH(QString, sources);
    QFETCH(QColor, expected);
    FakePlatform platform;
    const QString path = QStringLiteral("/opt/TalvorenUninstaller/OstrelIcon.png");
    if (sources.contains('R')) platform.resources.insert(QStringLiteral("OstrelIcon.png"), path);
    if (sources.contains('L')) platform.images.insert(path, solid(Qt::red));
    if (sources.contains('A')) platform.addDirectory(QStringLiteral("/Applications/Talvoren.app"));
    platform.fileIcons.insert(QStringLiteral("/Applications/Talvoren.app"), solid(Qt::green));
    if (sources.contains('P')) platform.programIcon = solid(Qt::blue);
    UninstallerApp app(platform);
    app.show();

    const QPixmap shown = qobject_cast<QLabel*>(child(app, QStringLiteral("icon")))->pixmap();
    QCOMPARE(shown.isNull(), !expected.isValid());
    if (!expected.isValid()) return;
    QCOMPARE(shown.size(), QSize(64, 64));  // scaled up to fit
    QCOMPARE(shown.toImage().pixelColor(32, 32), expected);
  }

  // The plan starts no sooner than 0.1 s later, with the window busy. The log
  // gets a blank line, a stamped heading and the report; the line naming the
  // log is for the screen only, where status and dialog agree.
  void runnerRunsPlanLaterAndReports_data() {
    QTest::addColumn<bool>("withWindow");
    QTest::addColumn<bool>("failure");
    QTest::newRow("on the window, all well") << true << false;
    QTest::newRow("on the window, a failure") << true << true;
    QTest::newRow("no window") << false << true;
  }
  void runnerRunsPlanLaterAndReports() {
    QFETCH(bool, withWindow);
    QFETCH(bool, failure);
    FakePlatform platform;
    UninstallerApp app(platform);
    if (withWindow) app.show();
    const QByteArray logBefore = platform.files.value(kFakeLogPath);
    const QString last =
        failure ? "[Needs attention] Logs: could not be moved to Trash (denied)" : "[OK] Logs: moved to Trash";
    qint64 startedAfterMs = -1;
    bool busyWhileRunning = false;
    QElapsedTimer clock;
    clock.start();

    app.runAction([&] {
      startedAfterMs = clock.elapsed();
      busyWhileRunning = busy(app);
      Report report;
      report.skipped("Install manifest: not found");
      failure ? report.warning(last.mid(18)) : report.ok(last.mid(5));
      return report;
    });
    QCOMPARE(startedAfterMs, -1);
    // Without a window the lone bar must not pop up as a window of its own.
    QCOMPARE(busy(app), withWindow);
    QTRY_COMPARE(platform.completions.size(), std::size_t(1));

    QVERIFY(startedAfterMs >= 100);
    QCOMPARE(busyWhileRunning, withWindow);
    QVERIFY(idle(app));
    const QString lines = "[Skipped] Install manifest: not found\n" + last;
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

QTEST_MAIN(WindowTest)
#include "tst_window.moc"
