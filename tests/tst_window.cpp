// The window as the controller builds it, driven through the fake platform:
// start state, layout, wiring, cancelling, busy state, the showing log line
// and the icon's fallbacks.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {

const QString kLog = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");

// The log's lines with their "[timestamp] " cut off where present.
QStringList logLines(const FakePlatform& platform) {
  QStringList lines = QString::fromUtf8(platform.files.value(kLog)).split(QLatin1Char('\n'));
  lines.removeLast();
  for (QString& line : lines)
    if (line.startsWith(QLatin1Char('['))) line.remove(0, line.indexOf(QStringLiteral("] ")) + 2);
  return lines;
}

QImage solid(QColor colour) {
  QImage image(8, 8, QImage::Format_ARGB32);
  image.fill(colour);
  return image;
}

QWidget* child(UninstallerApp& app, const char* name) {
  return app.window->findChild<QWidget*>(QLatin1String(name));
}

}  // namespace

class WindowTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void startState() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    QVERIFY(app.window);
    QCOMPARE(app.window->windowTitle(), QStringLiteral("Uninstall Talvoren"));
    QCOMPARE(app.window->size(), QSize(620, 520));
    QCOMPARE(app.window->minimumSize(), app.window->maximumSize());  // not resizable
    QCOMPARE(app.statusView->toPlainText(), QStringLiteral("Nothing has been removed yet."));
    QVERIFY(app.progress->isHidden());

    QStringList titles;
    for (QPushButton* button : app.buttons) {
      QVERIFY(button->isEnabled());
      titles << button->text();
    }
    QCOMPARE(titles, (QStringList{"Reset macOS Permissions", "Remove AI Model", "Remove App Only", "Full Uninstall",
                                  "Quit"}));

    // Read-only but selectable, so a report can be copied.
    QVERIFY(app.statusView->isReadOnly());
    QVERIFY(app.statusView->textInteractionFlags() & Qt::TextSelectableByMouse);
  }

  // Frames from the layout's Top column, independent of the conversion.
  void controlsAtTheirFrames_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("button");  // index into buttons, or -1 for a named control
    QTest::addColumn<QRect>("expected");
    QTest::newRow("icon") << "icon" << -1 << QRect(28, 36, 64, 64);
    QTest::newRow("heading") << "heading" << -1 << QRect(108, 32, 470, 34);
    QTest::newRow("subtitle") << "subtitle" << -1 << QRect(108, 65, 470, 34);
    QTest::newRow("safety box") << "safetyBox" << -1 << QRect(28, 118, 564, 48);
    QTest::newRow("safety note") << "safetyNote" << -1 << QRect(42, 128, 536, 28);
    QTest::newRow("reset") << "" << 0 << QRect(28, 186, 270, 34);
    QTest::newRow("remove model") << "" << 1 << QRect(322, 186, 270, 34);
    QTest::newRow("remove app") << "" << 2 << QRect(28, 234, 270, 34);
    QTest::newRow("full") << "" << 3 << QRect(322, 234, 270, 34);
    QTest::newRow("progress") << "progress" << -1 << QRect(28, 285, 564, 16);
    QTest::newRow("status") << "status" << -1 << QRect(28, 314, 564, 150);
    QTest::newRow("quit") << "" << 4 << QRect(468, 474, 124, 30);
  }

  void controlsAtTheirFrames() {
    QFETCH(QString, name);
    QFETCH(int, button);
    QFETCH(QRect, expected);
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    QWidget* control = button >= 0 ? app.buttons.at(std::size_t(button)) : child(app, name.toLatin1().constData());
    QVERIFY(control);
    QCOMPARE(control->geometry(), expected);
  }

  // Layout points are pixels at the default resolution; every text must fit
  // its fixed frame there.
  void textsFitTheirFrames() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    for (const char* name : {"heading", "subtitle", "safetyNote"}) {
      auto* label = qobject_cast<QLabel*>(child(app, name));
      QVERIFY(label);
      const QFontMetrics metrics(label->font());
      const QRect needed =
          metrics.boundingRect(QRect(0, 0, label->width(), 10000), Qt::TextWordWrap, label->text());
      QVERIFY2(needed.height() <= label->height(), name);
      QVERIFY2(metrics.horizontalAdvance(label->text()) <= label->width(), name);
    }
    for (QPushButton* button : app.buttons)
      QVERIFY(QFontMetrics(button->font()).horizontalAdvance(button->text()) < button->width() - 16);
  }

  void buttonsAskTheirOwnQuestion_data() {
    QTest::addColumn<int>("button");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("confirmTitle");
    QTest::newRow("reset") << 0 << "Reset permissions?" << "Reset macOS Permissions";
    QTest::newRow("remove model") << 1 << "Remove the AI model?" << "Remove AI Model";
    QTest::newRow("remove app") << 2 << "Remove Talvoren app?" << "Remove App Only";
    QTest::newRow("full") << 3 << "Fully uninstall Talvoren?" << "Full Uninstall";
  }

  // Answering Cancel must leave everything as it was: no busy state, no log
  // entry, no plan run later.
  void buttonsAskTheirOwnQuestion() {
    QFETCH(int, button);
    QFETCH(QString, title);
    QFETCH(QString, confirmTitle);
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    const QByteArray logBefore = platform.files.value(kLog);
    platform.journal.clear();

    platform.confirmAnswers = {false};
    app.buttons.at(std::size_t(button))->click();

    QCOMPARE(platform.confirmations.size(), std::size_t(1));
    QCOMPARE(platform.confirmations[0].title, title);
    QCOMPARE(platform.confirmations[0].confirmTitle, confirmTitle);
    QCOMPARE(platform.confirmations[0].cancelTitle, QStringLiteral("Cancel"));
    QVERIFY(!platform.confirmations[0].message.isEmpty());

    QTest::qWait(250);
    QCOMPARE(platform.journal, QStringList{QStringLiteral("confirm ") + title});
    QCOMPARE(platform.files.value(kLog), logBefore);
    QCOMPARE(app.statusView->toPlainText(), QStringLiteral("Nothing has been removed yet."));
    QVERIFY(app.progress->isHidden());
    for (QPushButton* each : app.buttons) QVERIFY(each->isEnabled());
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

  void busyStateLocksEveryButton() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();

    app.setBusy(true);
    app.setBusy(true);
    for (QPushButton* button : app.buttons) QVERIFY(!button->isEnabled());
    QVERIFY(!app.progress->isHidden());
    QCOMPARE(app.progress->maximum(), 0);  // indeterminate: moves while shown

    app.setBusy(false);
    for (QPushButton* button : app.buttons) QVERIFY(button->isEnabled());
    QVERIFY(app.progress->isHidden());
  }

  // Before the content exists there are no buttons, and the lone progress
  // bar must not pop up as a window of its own.
  void busyStateBeforeTheWindowExists() {
    FakePlatform platform;
    UninstallerApp app(platform);
    app.setBusy(true);
    QVERIFY(!app.progress->isVisible());
    app.show();
    QVERIFY(app.progress->isHidden());
    QCOMPARE(app.buttons.size(), std::size_t(5));
  }

  void showPlacesAndLogs_data() {
    QTest::addColumn<std::optional<QString>>("version");
    QTest::addColumn<bool>("hasScreen");
    QTest::addColumn<QString>("placement");
    QTest::addColumn<QString>("frame");
    QTest::newRow("centred, half points printed exactly")
        << std::optional<QString>(QStringLiteral("2.4.1")) << true << "frame 410.5 198.25 620 548"
        << "version=2.4.1 frame=(410.5, 198.25, 620.0, 548.0)";
    QTest::newRow("no screen, no version")
        << std::optional<QString>() << false << "origin 120 120" << "version=unknown frame=(120.0, 120.0, 620.0, 548.0)";
  }

  // A normal start shows twice: one window, two placements, two log lines.
  void showPlacesAndLogs() {
    QFETCH(std::optional<QString>, version);
    QFETCH(bool, hasScreen);
    QFETCH(QString, placement);
    QFETCH(QString, frame);
    FakePlatform platform;
    platform.shortVersion = version;
    if (hasScreen) platform.screenList = {{{0, 0, 1441, 900}, {0, 70, 1441, 804.5}}};
    UninstallerApp app(platform);

    app.show();
    QWidget* first = app.window.get();
    app.show();

    QCOMPARE(app.window.get(), first);
    QCOMPARE(platform.journal, (QStringList{placement, "front", placement, "front"}));
    const QString line = QStringLiteral("Uninstaller shown bundle=/opt/TalvorenUninstaller ") + frame;
    QCOMPARE(logLines(platform), (QStringList{line, line}));
  }

  void showSurvivesAnUnwritableLog() {
    FakePlatform platform;
    platform.unwritable.insert(kLog);
    UninstallerApp app(platform);
    app.show();
    QVERIFY(app.window);
    QVERIFY(!platform.files.contains(kLog));
  }

  void iconFallsBack_data() {
    QTest::addColumn<bool>("resource");
    QTest::addColumn<bool>("resourceLoads");
    QTest::addColumn<bool>("installedApp");
    QTest::addColumn<QColor>("expected");  // invalid: no image
    QTest::newRow("own resource") << true << true << true << QColor(Qt::red);
    QTest::newRow("unreadable resource, installed app") << true << false << true << QColor(Qt::green);
    QTest::newRow("no resource, installed app") << false << false << true << QColor(Qt::green);
    QTest::newRow("neither: program icon") << false << false << false << QColor(Qt::blue);
  }

  void iconFallsBack() {
    QFETCH(bool, resource);
    QFETCH(bool, resourceLoads);
    QFETCH(bool, installedApp);
    QFETCH(QColor, expected);
    FakePlatform platform;
    const QString resourcePath = QStringLiteral("/opt/TalvorenUninstaller/OstrelIcon.png");
    if (resource) platform.resources.insert(QStringLiteral("OstrelIcon.png"), resourcePath);
    if (resourceLoads) platform.images.insert(resourcePath, solid(Qt::red));
    if (installedApp) platform.addDirectory(QStringLiteral("/Applications/Talvoren.app"));
    platform.fileIcons.insert(QStringLiteral("/Applications/Talvoren.app"), solid(Qt::green));
    platform.programIcon = solid(Qt::blue);
    UninstallerApp app(platform);

    QCOMPARE(app.iconImage().pixelColor(0, 0), expected);
    app.show();
    auto* icon = qobject_cast<QLabel*>(child(app, "icon"));
    QCOMPARE(icon->pixmap().size(), QSize(64, 64));  // scaled up to fit
  }

  void missingIconLeavesTheViewEmpty() {
    FakePlatform platform;
    UninstallerApp app(platform);
    QVERIFY(app.iconImage().isNull());
    app.show();
    QVERIFY(qobject_cast<QLabel*>(child(app, "icon"))->pixmap().isNull());
  }
};

QTEST_MAIN(WindowTest)
#include "tst_window.moc"
