#pragma once

#include "platform/DesktopPlatform.h"

#include <QPointF>
#include <QRect>
#include <QRectF>

#include <cstddef>
#include <optional>
#include <vector>

// One screen as Qt reports it: origin at the top left of the virtual desktop,
// y growing downwards.
struct QtScreen {
  QRect geometry;
  QRect availableGeometry;
};

// The desktop in the program's coordinates, made from Qt's screens. The
// program measures from the bottom-left corner of the primary screen, x to
// the right and y up, so the primary screen's frame starts at exactly (0, 0)
// wherever it sits among the others. The origin is decided once, here, and
// screens and window frames go both ways through it.
class DesktopCoordinates {
 public:
  // `primary` indexes `screens`. Without one (or with one past the list) the
  // first listed screen is taken as primary, as Qt itself does and as the
  // program's home desktop always lists its primary screen first. With no
  // screen at all the origin is Qt's own (0, 0).
  DesktopCoordinates(std::vector<QtScreen> screens, std::optional<std::size_t> primary);

  // Every screen, in Qt's order.
  std::vector<ScreenGeometry> screens() const;
  QRectF fromQt(const QRectF& rect) const;
  QRectF toQt(const QRectF& rect) const;

 private:
  std::vector<QtScreen> screens_;
  // The primary screen's bottom-left corner in Qt's coordinates.
  QPointF origin_;
};
