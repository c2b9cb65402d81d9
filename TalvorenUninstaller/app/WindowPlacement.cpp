#include "app/WindowPlacement.h"

namespace {

constexpr double kMargin = 32.0;

std::optional<std::size_t> chooseScreen(const std::vector<ScreenGeometry>& screens,
                                        std::optional<std::size_t> mainScreen) {
  for (std::size_t i = 0; i < screens.size(); ++i) {
    const QPointF origin = screens[i].frame.topLeft();  // (x, y) is the bottom-left corner here
    if (origin.x() == 0.0 && origin.y() == 0.0) return i;
  }
  for (std::size_t i = 0; i < screens.size(); ++i) {
    if (screens[i].frame.y() < screens[i].visibleFrame.y()) return i;
  }
  if (mainScreen && *mainScreen < screens.size()) return mainScreen;
  if (!screens.empty()) return 0;
  return std::nullopt;
}

// Centred, then pushed inside the left and bottom margins, then inside the
// right and top ones; when both cannot hold, the right and top margins win.
QRectF centreInVisibleFrame(const QRectF& visible, const QSizeF& size) {
  const double minX = visible.x();
  const double maxX = visible.x() + visible.width();
  const double minY = visible.y();
  const double maxY = visible.y() + visible.height();

  double x = visible.center().x() - size.width() * 0.5;
  if (x <= minX + kMargin) x = minX + kMargin;
  if (maxX - size.width() - kMargin < x) x = maxX - size.width() - kMargin;

  double y = visible.center().y() - size.height() * 0.5;
  if (y <= minY + kMargin) y = minY + kMargin;
  if (maxY - size.height() - kMargin < y) y = maxY - size.height() - kMargin;

  return QRectF(QPointF(x, y), size);
}

}  // namespace

WindowPlacement placeWindow(const std::vector<ScreenGeometry>& screens, std::optional<std::size_t> mainScreen,
                            const QSizeF& windowSize) {
  const std::optional<std::size_t> screen = chooseScreen(screens, mainScreen);
  if (!screen) return kNoScreenWindowOrigin;
  return centreInVisibleFrame(screens[*screen].visibleFrame, windowSize);
}
