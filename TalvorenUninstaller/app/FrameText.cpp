#include "app/FrameText.h"

#include <array>
#include <charconv>
#include <cmath>

QString frameNumberText(double value) {
  std::array<char, 64> buffer{};
  // Fixed notation with no precision given is the shortest round trip.
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed);
  QString text = QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
  if (std::isfinite(value) && !text.contains(QLatin1Char('.'))) text += QStringLiteral(".0");
  return text;
}

QString frameText(const QRectF& frame) {
  return QLatin1Char('(') + frameNumberText(frame.x()) + QStringLiteral(", ") + frameNumberText(frame.y()) +
         QStringLiteral(", ") + frameNumberText(frame.width()) + QStringLiteral(", ") +
         frameNumberText(frame.height()) + QLatin1Char(')');
}
