// Where the window goes: screen choice and the centring with its margins, in
// desktop coordinates (origin bottom left of the first screen, y up).
#include "app/WindowPlacement.h"

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

  void noScreenGivesFixedOrigin() {
    const WindowPlacement placement = placeWindow({}, std::size_t(0), kWindow);
    QVERIFY(std::holds_alternative<QPointF>(placement));
    QCOMPARE(std::get<QPointF>(placement), QPointF(120, 120));
  }
};

QTEST_APPLESS_MAIN(WindowPlacementTest)
#include "tst_window_placement.moc"
