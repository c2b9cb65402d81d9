#include "widgets/ReportView.h"

#include "widgets/ReportRows.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Space between the text and the view's edges, as a text document leaves.
constexpr int kMargin = 4;

bool isSelectionKey(const QKeyEvent& event) {
  return event.matches(QKeySequence::SelectAll) || event.matches(QKeySequence::Copy);
}

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

QString ReportView::selectedText() const {
  const auto [from, to] = std::minmax(anchor_, cursor_);
  if (from.line == to.line) return lines_[from.line].sliced(from.column, to.column - from.column);
  QString text = lines_[from.line].sliced(from.column);
  for (qsizetype line = from.line + 1; line < to.line; ++line) text += QLatin1Char('\n') + lines_[line];
  return text + QLatin1Char('\n') + lines_[to.line].first(to.column);
}

void ReportView::selectAll() { select(Position{}, end()); }

void ReportView::copy() const {
  if (hasSelection()) QGuiApplication::clipboard()->setText(selectedText());
}

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

bool ReportView::event(QEvent* event) {
  // Select All and Copy are the view's own while it has the focus, even
  // where the window binds those keys to something else.
  if (event->type() == QEvent::ShortcutOverride && isSelectionKey(*static_cast<QKeyEvent*>(event))) {
    event->accept();
    return true;
  }
  return QAbstractScrollArea::event(event);
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
}

void ReportView::scrollContentsBy(int, int) { viewport()->update(); }

void ReportView::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::SelectAll)) return selectAll();
  if (event->matches(QKeySequence::Copy)) return copy();
  if (event->matches(QKeySequence::MoveToStartOfDocument))
    return verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMinimum);
  if (event->matches(QKeySequence::MoveToEndOfDocument))
    return verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
  // Page and arrow keys scroll; anything else goes on to the window.
  QAbstractScrollArea::keyPressEvent(event);
}

void ReportView::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QAbstractScrollArea::mousePressEvent(event);
  const Position position = positionAt(event->position());
  select(event->modifiers() & Qt::ShiftModifier ? anchor_ : position, position);
}

void ReportView::mouseMoveEvent(QMouseEvent* event) {
  if (!(event->buttons() & Qt::LeftButton)) return;
  // Dragging past the top or bottom edge scrolls on.
  if (event->position().y() < 0) verticalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepSub);
  if (event->position().y() > viewport()->height())
    verticalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepAdd);
  select(anchor_, positionAt(event->position()));
}

void ReportView::mouseReleaseEvent(QMouseEvent* event) {
  // As in any X11 text view, what the mouse selects is the primary selection.
  QClipboard* clipboard = QGuiApplication::clipboard();
  if (event->button() == Qt::LeftButton && hasSelection() && clipboard->supportsSelection())
    clipboard->setText(selectedText(), QClipboard::Selection);
}

void ReportView::contextMenuEvent(QContextMenuEvent* event) {
  // Qt's own texts for these entries, in the desktop's language.
  QMenu menu(this);
  QAction* copyAction = menu.addAction(QCoreApplication::translate("QWidgetTextControl", "&Copy"));
  copyAction->setShortcut(QKeySequence::Copy);
  copyAction->setEnabled(hasSelection());
  connect(copyAction, &QAction::triggered, this, &ReportView::copy);
  QAction* selectAllAction = menu.addAction(QCoreApplication::translate("QWidgetTextControl", "Select All"));
  selectAllAction->setShortcut(QKeySequence::SelectAll);
  connect(selectAllAction, &QAction::triggered, this, &ReportView::selectAll);
  menu.exec(event->globalPos());
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
  const qsizetype rowInLine = index - *found;
  if (*(found + 1) - *found == 1) return Row{line, 0, size};
  if (wrappedLine_ != line) {
    wrappedStarts_ = rowStarts(lines_[line], columns_);
    wrappedLine_ = line;
  }
  const auto next = std::size_t(rowInLine + 1);
  return Row{line, wrappedStarts_[std::size_t(rowInLine)], next < wrappedStarts_.size() ? wrappedStarts_[next] : size};
}

ReportView::Position ReportView::positionAt(QPointF point) {
  ensureRows();
  const qsizetype index = std::clamp<qsizetype>(
      verticalScrollBar()->value() + qsizetype(std::floor((point.y() - kMargin) / rowHeight())), 0, rowCount() - 1);
  const Row at = row(index);
  const QStringView text = QStringView(lines_[at.line]).sliced(at.start, at.end - at.start);
  const QFontMetricsF metrics(font());
  qreal left = kMargin;
  qsizetype column = 0;
  // A click lands before a character when it is in that character's left half.
  for (; column < text.size(); ++column) {
    const qreal advance = metrics.horizontalAdvance(text[column]);
    if (point.x() < left + advance / 2) break;
    left += advance;
  }
  // Never between the two halves of a surrogate pair.
  if (column > 0 && column < text.size() && text[column].isLowSurrogate()) --column;
  return Position{at.line, at.start + column};
}

ReportView::Position ReportView::end() const { return Position{lines_.size() - 1, lines_.last().size()}; }

void ReportView::select(Position anchor, Position cursor) {
  anchor_ = anchor;
  cursor_ = cursor;
  viewport()->update();
}

void ReportView::drawRow(QPainter& painter, const Row& row, qreal top) const {
  const QString text = lines_[row.line].sliced(row.start, row.end - row.start);
  const QFontMetricsF metrics(font());
  const qreal baseline = top + metrics.ascent();
  painter.setPen(palette().color(QPalette::Text));
  painter.drawText(QPointF(kMargin, baseline), text);

  const auto [from, to] = std::minmax(anchor_, cursor_);
  if (row.line < from.line || row.line > to.line) return;
  const qsizetype selectedFrom = row.line == from.line ? std::max(from.column - row.start, qsizetype(0)) : 0;
  const qsizetype selectedTo = row.line == to.line ? std::min(to.column - row.start, text.size()) : text.size();
  if (selectedFrom >= selectedTo) return;
  const qreal left = kMargin + metrics.horizontalAdvance(text.first(selectedFrom));
  const qreal right = kMargin + metrics.horizontalAdvance(text.first(selectedTo));
  painter.fillRect(QRectF(left, top, right - left, rowHeight()), palette().color(QPalette::Highlight));
  painter.setPen(palette().color(QPalette::HighlightedText));
  painter.drawText(QPointF(left, baseline), text.sliced(selectedFrom, selectedTo - selectedFrom));
}
