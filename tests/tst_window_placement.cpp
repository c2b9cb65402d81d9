// Where the window goes: screen choice and the centring with its margins, in
// desktop coordinates, and the desktop made from Qt's screens. (With no screen
// at all: the window suite's "show" table.)
#include "app/WindowPlacement.h"
#include "platform/linux/DesktopCoordinates.h"
#include "support/Tables.h"

#include <QJsonArray>

namespace {

const QSizeF kWindow(620, 548);

std::optional<std::size_t> indexOf(const QJsonValue& index) {
  return index.toInt() < 0 ? std::nullopt : std::optional(std::size_t(index.toInt()));
}

}  // namespace

class WindowPlacementTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void placesOnChosenScreen_data() { addTableRows("window-placement", "placement"); }
  void placesOnChosenScreen() {
    QFETCH(QJsonObject, row);
    std::vector<ScreenGeometry> screens;
    for (const QJsonValue& screen : row["screens"].toArray()) screens.push_back({rectOf(screen[0]), rectOf(screen[1])});
    const WindowPlacement placement = placeWindow(screens, indexOf(row["main"]), kWindow);
    QVERIFY(std::holds_alternative<QRectF>(placement));
    QCOMPARE(std::get<QRectF>(placement), rectOf(row["expected"]));
  }

  void desktopFromQtScreens_data() { addTableRows("window-placement", "desktop"); }
  void desktopFromQtScreens() {
    QFETCH(QJsonObject, row);
    std::vector<QtScreen> screens;
    for (const QJsonValue& screen : row["qt"].toArray())
      screens.push_back({rectOf(screen[0]).toRect(), rectOf(screen[1]).toRect()});
    const DesktopCoordinates coordinates(screens, indexOf(row["primary"]));
    QList<QRectF> mapped, expected;
    for (const ScreenGeometry& screen : coordinates.screens()) mapped << screen.frame << screen.visibleFrame;
    for (const QJsonValue& screen : row["desktop"].toArray()) expected << rectOf(screen[0]) << rectOf(screen[1]);
    QCOMPARE(mapped, expected);

    const QRectF placed = std::get<QRectF>(placeWindow(coordinates.screens(), std::nullopt, kWindow));
    QCOMPARE(coordinates.toQt(placed), rectOf(row["placedInQt"]));
    QCOMPARE(coordinates.fromQt(rectOf(row["placedInQt"])), placed);
  }
};

QTEST_APPLESS_MAIN(WindowPlacementTest)
#include "tst_window_placement.moc"
