#include "widgets/ReportView.h"

#include "widgets/ReportRows.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Space between the text and the view's edges, as a text document leaves.
constexpr int kMargin = 4;

}  // namespace

ReportView::ReportView(QWidget* parent) : QAbstractScrollArea(parent), lines_{QString()} {
  // Rows are counted in characters, which needs every character to be one
  // cell wide. Those that are not (wide East Asian glyphs, combining marks,
  // emoji) are drawn where the font puts them and may run past a row's end
  // or be hit a little off by a click: an approximation that a report of
  // paths and plain texts rarely meets.
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  viewport()->setCursor(Qt::IBeamCursor);
  verticalScrollBar()->setSingleStep(1);
  // Tab reaches the view as it reaches any text, and the caret shows it.
  setFocusPolicy(Qt::StrongFocus);
}

void ReportView::setLines(const QStringList& lines) {
  // No lines is one empty line, as an empty text is.
  lines_ = lines.isEmpty() ? QStringList{QString()} : lines;
  anchor_ = cursor_ = Position{};
  invalidateRows();
  verticalScrollBar()->setValue(0);
}

void ReportView::setText(const QString& text) { setLines(text.split(QLatin1Char('\n'))); }

QString ReportView::toPlainText() const { return lines_.join(QLatin1Char('\n')); }

std::optional<int> ReportView::heightToShowAll(int width, int limit) const {
  const int chrome = 2 * (frameWidth() + kMargin);
  const qsizetype maxRows = std::max(0, (limit - chrome) / rowHeight());
  const qsizetype columns = columnsFor(width - 2 * frameWidth());
  qsizetype rows = 0;
  for (const QString& line : lines_) {
    rows += countRows(line, columns);
    if (rows > maxRows) return std::nullopt;
  }
  return chrome + int(rows) * rowHeight();
}

void ReportView::changeEvent(QEvent* event) {
  QAbstractScrollArea::changeEvent(event);
  if (event->type() == QEvent::FontChange) invalidateRows();
}

void ReportView::showEvent(QShowEvent* event) {
  QAbstractScrollArea::showEvent(event);
  ensureRows();
}

void ReportView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  if (columnsFor(viewport()->width()) == columns_) return updateScrollBar();
  // The line at the top stays at the top across the new wrapping.
  const qsizetype topLine = rowCount() > 0 ? row(verticalScrollBar()->value()).line : 0;
  invalidateRows();
  if (rowCount() > 0) verticalScrollBar()->setValue(int(firstRows_[std::size_t(topLine)]));
}

void ReportView::paintEvent(QPaintEvent*) {
  ensureRows();
  QPainter painter(viewport());
  painter.setFont(font());
  const qsizetype first = verticalScrollBar()->value();
  const qsizetype last = std::min(rowCount(), first + viewport()->height() / rowHeight() + 2);
  for (qsizetype index = first; index < last; ++index)
    drawRow(painter, row(index), kMargin + qreal(index - first) * rowHeight());
  if (caretShown_ && hasFocus()) painter.fillRect(caretRect(), palette().color(QPalette::Text));
}

void ReportView::scrollContentsBy(int, int) { viewport()->update(); }

void ReportView::focusInEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusInEvent(event);
  restartCaret();
}

void ReportView::focusOutEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusOutEvent(event);
  caretTimer_.stop();
  caretShown_ = false;
  viewport()->update();
}

int ReportView::rowHeight() const { return std::max(1, fontMetrics().lineSpacing()); }

qsizetype ReportView::columnsFor(int viewportWidth) const {
  const qreal advance = QFontMetricsF(font()).horizontalAdvance(QLatin1Char('x'));
  return std::max<qsizetype>(1, qsizetype(std::floor((viewportWidth - 2 * kMargin) / advance)));
}

void ReportView::invalidateRows() {
  firstRows_.clear();
  wrappedLine_ = -1;
  // Counted at once only where it shows: a hidden view has no final width
  // yet and would count a long report twice.
  if (isVisible()) ensureRows();
  viewport()->update();
}

void ReportView::ensureRows() {
  if (!firstRows_.empty()) return;
  columns_ = columnsFor(viewport()->width());
  firstRows_.reserve(std::size_t(lines_.size()) + 1);
  qsizetype rows = 0;
  for (const QString& line : lines_) {
    firstRows_.push_back(rows);
    rows += countRows(line, columns_);
  }
  firstRows_.push_back(rows);
  updateScrollBar();
}

void ReportView::updateScrollBar() {
  if (firstRows_.empty()) return;
  const qsizetype shown = std::max(1, (viewport()->height() - 2 * kMargin) / rowHeight());
  const qsizetype hidden = std::max<qsizetype>(0, rowCount() - shown);
  verticalScrollBar()->setRange(0, int(std::min<qsizetype>(hidden, std::numeric_limits<int>::max())));
  verticalScrollBar()->setPageStep(int(shown));
}

ReportView::Row ReportView::row(qsizetype index) const {
  const auto found = std::upper_bound(firstRows_.begin(), firstRows_.end() - 1, index) - 1;
  const qsizetype line = found - firstRows_.begin();
  const qsizetype size = lines_[line].size();
  if (*(found + 1) - *found == 1) return Row{line, 0, size};
  const std::vector<qsizetype>& starts = wrappedStarts(line);
  const auto rowInLine = std::size_t(index - *found);
  const qsizetype start = starts[rowInLine];
  const qsizetype next = rowInLine + 1 < starts.size() ? starts[rowInLine + 1] : size;
  return Row{line, start, rowEnd(lines_[line], start, next)};
}

const std::vector<qsizetype>& ReportView::wrappedStarts(qsizetype line) const {
  if (wrappedLine_ != line) {
    wrappedStarts_ = rowStarts(lines_[line], columns_);
    wrappedLine_ = line;
  }
  return wrappedStarts_;
}

qsizetype ReportView::rowOf(Position position) const {
  const qsizetype first = firstRows_[std::size_t(position.line)];
  if (firstRows_[std::size_t(position.line) + 1] - first == 1) return first;
  const std::vector<qsizetype>& starts = wrappedStarts(position.line);
  return first + (std::upper_bound(starts.begin(), starts.end(), position.column) - starts.begin()) - 1;
}

qreal ReportView::advanceOf(const QString& text, qsizetype count) const {
  const QFontMetricsF metrics(font());
  qreal x = 0;
  for (qsizetype from = 0;;) {
    const qsizetype tab = text.indexOf(QLatin1Char('\t'), from);
    const qsizetype stretchEnd = tab < 0 || tab >= count ? count : tab;
    x += metrics.horizontalAdvance(text.sliced(from, stretchEnd - from));
    if (stretchEnd == count) return x;
    x += tabAdvance(x);
    from = stretchEnd + 1;
  }
}

qreal ReportView::tabAdvance(qreal x) const {
  // Stops every kTabColumns cells, as the rows were counted. A stop that x
  // has reached, give or take rounding, is passed for the next one.
  const qreal stop = kTabColumns * QFontMetricsF(font()).horizontalAdvance(QLatin1Char('x'));
  return (std::floor(x / stop + 1e-6) + 1) * stop - x;
}

ReportView::Position ReportView::positionInRow(qsizetype index, qreal x, bool under) const {
  const Row at = row(index);
  const QString text = textOf(at);
  const QFontMetricsF metrics(font());
  qreal left = kMargin;
  qsizetype column = 0;
  // Nearest: before a character when x is in its left half.
  for (; column < text.size(); ++column) {
    const qreal advance =
        text[column] == QLatin1Char('\t') ? tabAdvance(left - kMargin) : metrics.horizontalAdvance(text[column]);
    if (x < left + (under ? advance : advance / 2)) break;
    left += advance;
  }
  // Past the end of a row, the character under x is its last.
  if (under && column == text.size() && column > 0) --column;
  // Never between the two halves of a surrogate pair.
  if (column > 0 && column < text.size() && text[column].isLowSurrogate()) --column;
  return Position{at.line, at.start + column};
}

ReportView::Position ReportView::positionAt(QPointF point, bool under) {
  ensureRows();
  const qsizetype index = std::clamp<qsizetype>(
      verticalScrollBar()->value() + qsizetype(std::floor((point.y() - kMargin) / rowHeight())), 0, rowCount() - 1);
  return positionInRow(index, point.x(), under);
}

ReportView::Position ReportView::end() const { return Position{lines_.size() - 1, lines_.last().size()}; }

void ReportView::drawRow(QPainter& painter, const Row& row, qreal top) const {
  const QString text = textOf(row);
  const qreal baseline = top + QFontMetricsF(font()).ascent();
  painter.setPen(palette().color(QPalette::Text));
  drawText(painter, text, 0, text.size(), baseline);

  const auto [from, to] = std::minmax(anchor_, cursor_);
  if (row.line < from.line || row.line > to.line) return;
  const qsizetype selectedFrom = row.line == from.line ? std::max(from.column - row.start, qsizetype(0)) : 0;
  const qsizetype selectedTo = row.line == to.line ? std::min(to.column - row.start, text.size()) : text.size();
  if (selectedFrom >= selectedTo) return;
  const qreal left = kMargin + advanceOf(text, selectedFrom);
  const qreal right = kMargin + advanceOf(text, selectedTo);
  painter.fillRect(QRectF(left, top, right - left, rowHeight()), palette().color(QPalette::Highlight));
  painter.setPen(palette().color(QPalette::HighlightedText));
  drawText(painter, text, selectedFrom, selectedTo, baseline);
}

void ReportView::drawText(QPainter& painter, const QString& text, qsizetype from, qsizetype to,
                          qreal baseline) const {
  // A row without tabs is one stretch, drawn in one call as it always was.
  if (from == 0 && to == text.size() && !text.contains(QLatin1Char('\t')))
    return painter.drawText(QPointF(kMargin, baseline), text);
  // Otherwise each stretch between tabs from where the tabs before it end.
  while (from < to) {
    const qsizetype tab = text.indexOf(QLatin1Char('\t'), from);
    const qsizetype stretchEnd = tab < 0 || tab > to ? to : tab;
    if (stretchEnd > from)
      painter.drawText(QPointF(kMargin + advanceOf(text, from), baseline), text.sliced(from, stretchEnd - from));
    from = stretchEnd + 1;
  }
}

QRectF ReportView::caretRect() const {
  if (firstRows_.empty()) return {};
  const qsizetype index = rowOf(cursor_);
  const Row at = row(index);
  const qreal x = kMargin + advanceOf(textOf(at), cursor_.column - at.start);
  const qreal top = kMargin + qreal(index - verticalScrollBar()->value()) * rowHeight();
  return QRectF(x, top, 1, rowHeight());
}

void ReportView::restartCaret() {
  caretShown_ = true;
  // A flash time of 0 is a caret that does not blink.
  const int flashTime = QApplication::cursorFlashTime();
  if (hasFocus() && flashTime > 0) caretTimer_.start(flashTime / 2, this);
  viewport()->update();
}
