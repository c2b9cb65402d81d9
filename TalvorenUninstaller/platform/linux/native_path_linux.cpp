#include "platform/linux/NativePath.h"

#include <algorithm>

namespace {

constexpr char32_t kEscapeBase = 0xDC00;  // + a byte 0x80..0xFF

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed UTF-8 sequence at `at`, or 0 when the byte
// there does not start one (overlong forms, encoded surrogates and values
// beyond U+10FFFF are not well-formed).
int sequenceLength(const unsigned char* at, qsizetype left) {
  const unsigned char lead = at[0];
  if (lead < 0x80) return 1;
  int length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;  // the allowed range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (left < length || at[1] < low || at[1] > high) return 0;
  for (int i = 2; i < length; ++i)
    if (!isContinuation(at[i])) return 0;
  return length;
}

char32_t codePointOf(const unsigned char* at, int length) {
  if (length == 1) return at[0];
  char32_t value = at[0] & (0xFF >> (length + 1));
  for (int i = 1; i < length; ++i) value = (value << 6) | (at[i] & 0x3F);
  return value;
}

void appendUtf8(QByteArray& out, char32_t value) {
  if (value < 0x80) {
    out.append(char(value));
  } else if (value < 0x800) {
    out.append(char(0xC0 | (value >> 6))).append(char(0x80 | (value & 0x3F)));
  } else if (value < 0x10000) {
    out.append(char(0xE0 | (value >> 12))).append(char(0x80 | ((value >> 6) & 0x3F)));
    out.append(char(0x80 | (value & 0x3F)));
  } else {
    out.append(char(0xF0 | (value >> 18))).append(char(0x80 | ((value >> 12) & 0x3F)));
    out.append(char(0x80 | ((value >> 6) & 0x3F))).append(char(0x80 | (value & 0x3F)));
  }
}

}  // namespace

QString decodeNativePath(const QByteArray& bytes) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.constData());
  QString path;
  path.reserve(bytes.size());
  for (qsizetype at = 0; at < bytes.size();) {
    const int length = sequenceLength(data + at, bytes.size() - at);
    if (length == 0) {
      path.append(QChar(char16_t(kEscapeBase + data[at])));
      ++at;
      continue;
    }
    const char32_t value = codePointOf(data + at, length);
    if (QChar::requiresSurrogates(value)) path.append(QChar(QChar::highSurrogate(value))).append(QChar(QChar::lowSurrogate(value)));
    else path.append(QChar(char16_t(value)));
    at += length;
  }
  return path;
}

std::optional<QByteArray> encodeNativePath(const QString& path) {
  // Most paths hold neither U+0000 nor a surrogate: plain UTF-8.
  const bool plain = std::none_of(path.cbegin(), path.cend(), [](QChar c) {
    return c.unicode() == 0 || QChar::isSurrogate(c.unicode());
  });
  if (plain) return path.toUtf8();
  QByteArray bytes;
  bytes.reserve(path.size() * 3);
  bool escaped = false;
  for (qsizetype at = 0; at < path.size(); ++at) {
    const char16_t unit = path.at(at).unicode();
    if (unit == 0) return std::nullopt;
    if (QChar::isHighSurrogate(unit) && at + 1 < path.size() && QChar::isLowSurrogate(path.at(at + 1).unicode())) {
      appendUtf8(bytes, QChar::surrogateToUcs4(unit, path.at(++at).unicode()));
    } else if (unit >= kEscapeBase + 0x80 && unit <= kEscapeBase + 0xFF) {
      bytes.append(char(unit - kEscapeBase));
      escaped = true;
    } else if (QChar::isSurrogate(unit)) {
      return std::nullopt;
    } else {
      appendUtf8(bytes, unit);
    }
  }
  // Escaped bytes that happen to spell valid UTF-8 would name the file of a
  // different string: only the string that the bytes decode to names them.
  if (escaped && decodeNativePath(bytes) != path) return std::nullopt;
  return bytes;
}
