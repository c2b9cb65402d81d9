// The window as the controller builds it, through the fake platform: layout,
// cancelling, quitting, the showing log line and the icon's fallbacks. The
// busy state is checked around a running action in tst_action_runner.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"
#include "platform/ReportView.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

namespace {

const QString kInitial = QStringLiteral("Nothing has been removed yet.");

QWidget* child(UninstallerApp& app, const char* name) { return app.window->findChild<QWidget*>(QLatin1String(name)); }

QImage solid(QColor colour) {
  QImage image(8, 8, QImage::Format_ARGB32);
  image.fill(colour);
  return image;
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
  // Frames are the layout's Top column, independent of the conversion.
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

    const QStringList titles = {"Reset macOS Permissions", "Remove AI Model", "Remove App Only", "Full Uninstall",
                                "Quit"};
    const QRect buttonFrames[] = {{28, 186, 270, 34}, {322, 186, 270, 34}, {28, 234, 270, 34}, {322, 234, 270, 34},
                                  {468, 474, 124, 30}};
    QCOMPARE(app.buttons.size(), std::size_t(5));
    for (std::size_t i = 0; i < 5; ++i) {
      QCOMPARE(app.buttons[i]->text(), titles[qsizetype(i)]);
      QCOMPARE(app.buttons[i]->geometry(), buttonFrames[i]);
    }
    const std::pair<const char*, QRect> named[] = {
        {"icon", {28, 36, 64, 64}},        {"heading", {108, 32, 470, 34}},   {"subtitle", {108, 65, 470, 34}},
        {"safetyBox", {28, 118, 564, 48}}, {"safetyNote", {42, 128, 536, 28}}, {"progress", {28, 285, 564, 16}},
        {"status", {28, 314, 564, 150}}};
    for (const auto& [name, frame] : named) QCOMPARE(child(app, name)->geometry(), frame);

    // Layout points are pixels at the default resolution: every text must
    // fit its fixed frame there.
    for (const char* name : {"heading", "subtitle", "safetyNote"}) {
      auto* label = qobject_cast<QLabel*>(child(app, name));
      const QRect needed = QFontMetrics(label->font())
                               .boundingRect(QRect(0, 0, label->width(), 1000), Qt::TextWordWrap, label->text());
      QVERIFY2(needed.height() <= label->height() && needed.width() <= label->width(), name);
    }
  }

  void cancelChangesNothing_data() {
    QTest::addColumn<int>("button");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("confirmTitle");
    QTest::newRow("reset") << 0 << "Reset permissions?" << "Reset macOS Permissions";
    QTest::newRow("remove model") << 1 << "Remove the AI model?" << "Remove AI Model";
    QTest::newRow("remove app") << 2 << "Remove Talvoren app?" << "Remove App Only";
    QTest::newRow("full") << 3 << "Fully uninstall Talvoren?" << "Full Uninstall";
  }

  // Each button asks its own question; a no leaves no busy state, no log
  // entry and no plan run later.
  void cancelChangesNothing() {
    QFETCH(int, button);
    QFETCH(QString, title);
    QFETCH(QString, confirmTitle);
    FakePlatform platform;
    UninstallerApp app(platform);
    app.show();
    const QByteArray logBefore = platform.files.value(kFakeLogPath);
    platform.journal.clear();

    app.buttons.at(std::size_t(button))->click();
    QTest::qWait(250);

    QCOMPARE(platform.journal, QStringList{"confirm " + title});
    QCOMPARE(platform.confirmations[0].confirmTitle + "|" + platform.confirmations[0].cancelTitle,
             confirmTitle + "|Cancel");
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

  void showPlacesAndLogs_data() {
    QTest::addColumn<bool>("hasScreen");
    QTest::addColumn<QString>("placement");
    QTest::addColumn<QString>("logged");
    QTest::newRow("centred, fractions printed exactly")
        << true << "frame 410.5 198.25 620 548" << "version=2.4.1 frame=(410.5, 198.25, 620.0, 548.0)";
    QTest::newRow("no screen, no version")
        << false << "origin 120 120" << "version=unknown frame=(120.0, 120.0, 620.0, 548.0)";
  }

  // A normal start shows twice: one window, two placements, two log lines.
  void showPlacesAndLogs() {
    QFETCH(bool, hasScreen);
    QFETCH(QString, placement);
    QFETCH(QString, logged);
    FakePlatform platform;
    if (hasScreen) {
      platform.screenList = {{{0, 0, 1441, 900}, {0, 70, 1441, 804.5}}};
      platform.shortVersion = QStringLiteral("2.4.1");
    } else {
      platform.shortVersion.reset();
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

    const QPixmap shown = qobject_cast<QLabel*>(child(app, "icon"))->pixmap();
    QCOMPARE(shown.isNull(), !expected.isValid());
    if (!expected.isValid()) return;
    QCOMPARE(shown.size(), QSize(64, 64));  // scaled up to fit
    QCOMPARE(shown.toImage().pixelColor(32, 32), expected);
  }
};

QTEST_MAIN(WindowTest)
#include "tst_window.moc"
