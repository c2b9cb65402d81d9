#include "widgets/ReportRows.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

bool isBlank(QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); }

// Whether `line` holds a character below U+0020, a tab or a line feed among
// them. Every character of a report passes through here, so on x86-64 it
// tests eight at a time: those below U+0020 are the ones with no bit set
// above the lowest five.
bool hasControlCharacter(QStringView line) {
  const char16_t* text = line.utf16();
  const qsizetype size = line.size();
  qsizetype i = 0;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(short(0xffe0));
  const __m128i zero = _mm_setzero_si128();
  for (; i + 8 <= size; i += 8) {
    const __m128i chars = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(chars, high), zero))) return true;
  }
#endif
  for (; i < size; ++i)
    if (text[i] < 0x20) return true;
  return false;
}

// Breaking anywhere, but never inside a surrogate pair.
qsizetype cutAt(QStringView line, qsizetype start, qsizetype cut) {
  return line[cut].isLowSurrogate() && cut - 1 > start ? cut - 1 : cut;
}

// The start of the row after the one starting at `start`, on a line without
// tabs or line feeds that does not fit in the rest of this row.
qsizetype nextPlainRowStart(QStringView line, qsizetype start, qsizetype columns) {
  // A space right after the last column still ends this row: it hangs past
  // the edge, as spaces do at the end of a wrapped line.
  for (qsizetype i = start + columns; i > start; --i)
    if (line[i] == QLatin1Char(' ')) return i + 1;
  return cutAt(line, start, start + columns);
}

// The same for any line, walked character by character: a line feed ends the
// row, a tab takes the columns up to its stop. `line.size()` when the rest of
// the line fits in this row; a row that only a line feed ends is followed by
// another even at the line's end.
qsizetype nextRowStart(QStringView line, qsizetype start, qsizetype columns) {
  qsizetype column = 0;
  qsizetype afterLastBlank = 0;
  for (qsizetype i = start; i < line.size(); ++i) {
    const QChar c = line[i];
    if (c == QLatin1Char('\n')) return i + 1;
    const qsizetype width = c == QLatin1Char('\t') ? kTabColumns - column % kTabColumns : 1;
    if (column + width > columns) {
      if (!isBlank(c)) return afterLastBlank > start ? afterLastBlank : cutAt(line, start, i);
      // A blank past the edge hangs there, and so does a line feed right after it.
      const bool feedFollows = i + 1 < line.size() && line[i + 1] == QLatin1Char('\n');
      return i + 1 + feedFollows;
    }
    column += width;
    if (isBlank(c) && i > start) afterLastBlank = i + 1;
  }
  return line.size();
}

// Calls `visit` with the start of every row after the first.
template <typename Visit>
void forEachLaterRow(QStringView line, qsizetype columns, Visit visit) {
  columns = std::max<qsizetype>(columns, 1);
  if (!hasControlCharacter(line)) {
    for (qsizetype start = 0; line.size() - start > columns;) {
      start = nextPlainRowStart(line, start, columns);
      // Only a hanging space was left: it stays on the row it hangs from.
      if (start == line.size()) return;
      visit(start);
    }
    return;
  }
  for (qsizetype start = 0; start < line.size();) {
    const qsizetype next = nextRowStart(line, start, columns);
    // The rest fits, or only a hanging blank was left.
    if (next == line.size() && line[next - 1] != QLatin1Char('\n')) return;
    visit(next);
    start = next;
  }
}

}  // namespace

qsizetype countRows(QStringView line, qsizetype columns) {
  qsizetype rows = 1;
  forEachLaterRow(line, columns, [&](qsizetype) { ++rows; });
  return rows;
}

std::vector<qsizetype> rowStarts(QStringView line, qsizetype columns) {
  std::vector<qsizetype> starts{0};
  forEachLaterRow(line, columns, [&](qsizetype start) { starts.push_back(start); });
  return starts;
}

qsizetype rowEnd(QStringView line, qsizetype start, qsizetype next) {
  // The line feed is not shown; a blank hanging before it is the row's last.
  return next > start && line[next - 1] == QLatin1Char('\n') ? next - 1 : next;
}
