#include "platform/linux/DesktopCoordinates.h"

namespace {

QPointF bottomLeft(const QRect& rect) { return QPointF(rect.x(), double(rect.y()) + double(rect.height())); }

}  // namespace

DesktopCoordinates::DesktopCoordinates(std::vector<QtScreen> screens, std::optional<std::size_t> primary)
    : screens_(std::move(screens)) {
  if (screens_.empty()) return;
  const std::size_t index = primary && *primary < screens_.size() ? *primary : 0;
  origin_ = bottomLeft(screens_[index].geometry);
}

std::vector<ScreenGeometry> DesktopCoordinates::screens() const {
  std::vector<ScreenGeometry> result;
  result.reserve(screens_.size());
  for (const QtScreen& screen : screens_)
    result.push_back({fromQt(QRectF(screen.geometry)), fromQt(QRectF(screen.availableGeometry))});
  return result;
}

// Both directions shift x by the origin and mirror y about the origin's
// height; a rectangle's reference corner moves between top left and bottom
// left.
QRectF DesktopCoordinates::fromQt(const QRectF& rect) const {
  return QRectF(rect.x() - origin_.x(), origin_.y() - rect.y() - rect.height(), rect.width(), rect.height());
}

QRectF DesktopCoordinates::toQt(const QRectF& rect) const {
  return QRectF(rect.x() + origin_.x(), origin_.y() - rect.y() - rect.height(), rect.width(), rect.height());
}
