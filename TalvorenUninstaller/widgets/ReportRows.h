#pragma once

#include <QStringView>

#include <vector>

// How one report line breaks into the rows of a monospaced view that shows
// `columns` characters a row. A line feed inside the line ends a row and
// starts the next; a tab reaches the next tab stop, kTabColumns columns
// apart from the row's left edge, and takes the columns it spans. A line
// longer than a row wraps after the last space or tab that fits, or anywhere
// when none does. Lines that fit and hold neither tab nor line feed cost one
// comparison and a quick scan, so a million of them are counted in an instant.

inline constexpr qsizetype kTabColumns = 8;

// The number of rows `line` takes; at least one.
qsizetype countRows(QStringView line, qsizetype columns);
// Where each of those rows starts in `line`; the first is 0.
std::vector<qsizetype> rowStarts(QStringView line, qsizetype columns);
// Where the row from `start` shows its last character, given where the next
// row starts (or the line's size for the last row): before the line feed
// that ends it, if one does.
qsizetype rowEnd(QStringView line, qsizetype start, qsizetype next);
