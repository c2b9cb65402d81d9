#include "widgets/ReportRows.h"

#include <algorithm>

namespace {

// The start of the row after the one starting at `start`, on a line that
// does not fit in the rest of this row.
qsizetype nextRowStart(QStringView line, qsizetype start, qsizetype columns) {
  // A space right after the last column still ends this row: it hangs past
  // the edge, as spaces do at the end of a wrapped line.
  for (qsizetype i = start + columns; i > start; --i)
    if (line[i] == QLatin1Char(' ')) return i + 1;
  // No space: break anywhere, but never inside a surrogate pair.
  const qsizetype cut = start + columns;
  return line[cut].isLowSurrogate() && cut - 1 > start ? cut - 1 : cut;
}

// Calls `visit` with the start of every row after the first.
template <typename Visit>
void forEachLaterRow(QStringView line, qsizetype columns, Visit visit) {
  columns = std::max<qsizetype>(columns, 1);
  for (qsizetype start = 0; line.size() - start > columns;) {
    start = nextRowStart(line, start, columns);
    // Only a hanging space was left: it stays on the row it hangs from.
    if (start == line.size()) return;
    visit(start);
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
