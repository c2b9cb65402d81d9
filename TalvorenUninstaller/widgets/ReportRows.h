#pragma once

#include <QStringView>

#include <vector>

// How one line of text (no line feeds) breaks into the rows of a monospaced
// view that shows `columns` characters a row: a line longer than a row wraps
// after the last space that fits, or anywhere when none does. Lines that fit
// cost one comparison, so a million of them are counted in an instant.

// The number of rows `line` takes; at least one.
qsizetype countRows(QStringView line, qsizetype columns);
// Where each of those rows starts in `line`; the first is 0.
std::vector<qsizetype> rowStarts(QStringView line, qsizetype columns);
