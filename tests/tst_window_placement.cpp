// Where the window goes: screen choice and the centring with its margins, in
// desktop coordinates (origin bottom left of the primary screen, y up), and
// the desktop made from Qt's screens.
#include "app/WindowPlacement.h"
#include "platform/linux/DesktopCoordinates.h"

#include <QtTest>

namespace {

const QSizeF kWindow(620, 548);

ScreenGeometry screen(QRectF frame, QRectF visible) { return {frame, visible}; }
ScreenGeometry screen(QRectF frame) { return {frame, frame}; }

}  // namespace

using Screens = std::vector<ScreenGeometry>;
Q_DECLARE_METATYPE(Screens)

class WindowPlacementTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void placesOnChosenScreen_data() {
    QTest::addColumn<Screens>("screens");
    QTest::addColumn<int>("mainScreen");  // -1: none
    QTest::addColumn<QRectF>("expected");

    QTest::newRow("one screen, centred in the visible frame, not the frame")
        << Screens{screen({0, 0, 1440, 900}, {0, 70, 1440, 805})} << 0 << QRectF(410, 198.5, 620, 548);
    // The second screen also has a Dock, so a search that stopped at the
    // first matching rule screen by screen would take it.
    QTest::newRow("origin screen listed second wins over a Dock screen")
        << Screens{screen({1440, -200, 1920, 1080}, {1440, -130, 1920, 1010}),
                   screen({0, 0, 1440, 900}, {0, 0, 1440, 875})}
        << 0 << QRectF(410, 163.5, 620, 548);
    QTest::newRow("no origin screen: first whose visible frame starts above its bottom")
        << Screens{screen({100, 50, 800, 600}), screen({900, 10, 1000, 800}, {900, 60, 1000, 750})} << 0
        << QRectF(1090, 161, 620, 548);
    QTest::newRow("origin only in x does not count")
        << Screens{screen({0, 50, 800, 600}), screen({1000, 50, 1200, 900})} << 1 << QRectF(1290, 226, 620, 548);
    QTest::newRow("neither rule: the main screen")
        << Screens{screen({100, 50, 800, 600}), screen({1000, 50, 1200, 900})} << 1 << QRectF(1290, 226, 620, 548);
    // 600 high: too short for both margins, so the top one wins (y = 70).
    QTest::newRow("no main screen: the first listed")
        << Screens{screen({100, 50, 800, 600}), screen({1000, 50, 1200, 900})} << -1 << QRectF(190, 70, 620, 548);
    QTest::newRow("main index past the list: the first listed")
        << Screens{screen({100, 50, 800, 600})} << 5 << QRectF(190, 70, 620, 548);
    QTest::newRow("too small both ways: right and top margins win")
        << Screens{screen({0, 0, 600, 500})} << 0 << QRectF(-52, -80, 620, 548);
    QTest::newRow("exactly window plus both margins")
        << Screens{screen({0, 0, 684, 612})} << 0 << QRectF(32, 32, 620, 548);
    QTest::newRow("visible frame off the screen's origin")
        << Screens{screen({0, 0, 2000, 1200}, {300, 200, 700, 700})} << 0 << QRectF(340, 276, 620, 548);
  }

  void placesOnChosenScreen() {
    QFETCH(Screens, screens);
    QFETCH(int, mainScreen);
    QFETCH(QRectF, expected);

    const std::optional<std::size_t> main =
        mainScreen < 0 ? std::nullopt : std::optional<std::size_t>(std::size_t(mainScreen));
    const WindowPlacement placement = placeWindow(screens, main, kWindow);

    QVERIFY(std::holds_alternative<QRectF>(placement));
    QCOMPARE(std::get<QRectF>(placement), expected);
  }

  // Qt's screens as geometry, available geometry pairs; the desktop's as
  // frame, visible frame pairs; and where the placed window lands in Qt's
  // coordinates.
  void desktopFromQtScreens_data() {
    QTest::addColumn<QList<QRect>>("qt");
    QTest::addColumn<int>("primary");  // -1: none reported
    QTest::addColumn<QList<QRectF>>("desktop");
    QTest::addColumn<QRectF>("placedInQt");

    const QRect full(0, 0, 1920, 1080);
    QTest::newRow("primary right of another, task bar at its bottom")  // mirroring y alone chose the left one
        << QList<QRect>{full, full, {1920, 0, 1920, 1080}, {1920, 0, 1920, 1040}} << 1
        << QList<QRectF>{{-1920, 0, 1920, 1080}, {-1920, 0, 1920, 1080}, {0, 0, 1920, 1080}, {0, 40, 1920, 1040}}
        << QRectF(2570, 246, 620, 548);
    QTest::newRow("primary left, a smaller one right with tops aligned, task bar at the top")
        << QList<QRect>{full, {0, 32, 1920, 1048}, {1920, 0, 1280, 1024}, {1920, 0, 1280, 1024}} << 0
        << QList<QRectF>{{0, 0, 1920, 1080}, {0, 0, 1920, 1048}, {1920, 56, 1280, 1024}, {1920, 56, 1280, 1024}}
        << QRectF(650, 282, 620, 548);
    QTest::newRow("primary above a larger one, task bar on the left")  // mirroring y alone chose the lower one
        << QList<QRect>{{0, 1080, 2560, 1440}, {0, 1080, 2560, 1440}, full, {48, 0, 1872, 1080}} << 1
        << QList<QRectF>{{0, -1440, 2560, 1440}, {0, -1440, 2560, 1440}, {0, 0, 1920, 1080}, {48, 0, 1872, 1080}}
        << QRectF(674, 266, 620, 548);
    QTest::newRow("primary below another, task bar on the right")
        << QList<QRect>{{0, 1080, 1920, 1080}, {0, 1080, 1856, 1080}, full, full} << 0
        << QList<QRectF>{{0, 0, 1920, 1080}, {0, 0, 1856, 1080}, {0, 1080, 1920, 1080}, {0, 1080, 1920, 1080}}
        << QRectF(618, 1346, 620, 548);
    QTest::newRow("primary smaller and right, bottoms aligned")
        << QList<QRect>{{0, 0, 2560, 1440}, {0, 0, 2560, 1440}, {2560, 360, 1920, 1080}, {2560, 360, 1920, 1080}}
        << 1 << QList<QRectF>{{-2560, 0, 2560, 1440}, {-2560, 0, 2560, 1440}, {0, 0, 1920, 1080}, {0, 0, 1920, 1080}}
        << QRectF(3210, 626, 620, 548);
    QTest::newRow("no primary reported: the first listed is the origin")
        << QList<QRect>{{1920, 0, 1920, 1080}, {1920, 0, 1920, 1080}, full, full} << -1
        << QList<QRectF>{{0, 0, 1920, 1080}, {0, 0, 1920, 1080}, {-1920, 0, 1920, 1080}, {-1920, 0, 1920, 1080}}
        << QRectF(2570, 266, 620, 548);
  }

  void desktopFromQtScreens() {
    QFETCH(QList<QRect>, qt);
    QFETCH(int, primary);
    QFETCH(QList<QRectF>, desktop);
    QFETCH(QRectF, placedInQt);

    std::vector<QtScreen> screens;
    for (qsizetype i = 0; i + 1 < qt.size(); i += 2) screens.push_back({qt[i], qt[i + 1]});
    const DesktopCoordinates coordinates(screens, primary < 0 ? std::nullopt : std::optional(std::size_t(primary)));
    QList<QRectF> mapped;
    for (const ScreenGeometry& screen : coordinates.screens()) mapped << screen.frame << screen.visibleFrame;
    QCOMPARE(mapped, desktop);

    const WindowPlacement placement = placeWindow(coordinates.screens(), std::nullopt, kWindow);
    QCOMPARE(coordinates.toQt(std::get<QRectF>(placement)), placedInQt);
    QCOMPARE(coordinates.fromQt(placedInQt), std::get<QRectF>(placement));
  }

  void noScreenGivesFixedOrigin() {
    const WindowPlacement placement = placeWindow({}, std::size_t(0), kWindow);
    QVERIFY(std::holds_alternative<QPointF>(placement));
    QCOMPARE(std::get<QPointF>(placement), QPointF(120, 120));
  }
};

QTEST_APPLESS_MAIN(WindowPlacementTest)
#include "tst_window_placement.moc"
