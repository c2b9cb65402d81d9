// ReportView's selecting: by the keys, the mouse and the context menu, as a
// read-only text selects when it takes both.
#include "widgets/ReportView.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace {

// A word is looked for this far either side of a place, so that finding one
// inside a line of megabytes takes no longer than anywhere else.
constexpr qsizetype kWordReach = 1000;

bool isBlank(QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); }

// The stretch of `line` between line feeds that holds `column`: the text one
// row shows before wrapping, where words and lines are found.
std::pair<qsizetype, qsizetype> stretchAround(const QString& line, qsizetype column) {
  const qsizetype from = column == 0 ? 0 : line.lastIndexOf(QLatin1Char('\n'), column - 1) + 1;
  const qsizetype feed = line.indexOf(QLatin1Char('\n'), column);
  return {from, feed < 0 ? line.size() : feed};
}

// The word boundaries nearest `at` in `text`: the last at or before it and
// the first after it (Unicode's, as every text view of the desktop finds them).
std::pair<qsizetype, qsizetype> wordBoundaries(QStringView text, qsizetype at) {
  const qsizetype from = std::max<qsizetype>(0, at - kWordReach);
  const qsizetype to = std::min(text.size(), at + kWordReach);
  QTextBoundaryFinder finder(QTextBoundaryFinder::Word, text.data() + from, to - from);
  finder.setPosition(at - from);
  const qsizetype before = finder.isAtBoundary() ? at : from + finder.toPreviousBoundary();
  finder.setPosition(at - from);
  const qsizetype after = at == to ? at : from + finder.toNextBoundary();
  return {before, after};
}

}  // namespace

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

void ReportView::select(Position anchor, Position cursor) {
  anchor_ = anchor;
  cursor_ = cursor;
  viewport()->update();
}

bool ReportView::event(QEvent* event) {
  // Select All, Copy and the keys that move the caret are the view's own
  // while it has the focus, even where the window binds them to something else.
  if (event->type() == QEvent::ShortcutOverride) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (key.matches(QKeySequence::SelectAll) || key.matches(QKeySequence::Copy) || motionFor(key)) {
      event->accept();
      return true;
    }
  }
  return QAbstractScrollArea::event(event);
}

void ReportView::timerEvent(QTimerEvent* event) {
  if (event->timerId() == caretTimer_.timerId()) {
    caretShown_ = !caretShown_;
    viewport()->update(caretRect().toAlignedRect());
  } else if (event->timerId() == tripleClickTimer_.timerId()) {
    tripleClickTimer_.stop();
  } else if (event->timerId() == autoScrollTimer_.timerId()) {
    verticalScrollBar()->triggerAction(dragPoint_.y() < 0 ? QAbstractSlider::SliderSingleStepSub
                                                          : QAbstractSlider::SliderSingleStepAdd);
    dragTo(dragPoint_);
  } else {
    QAbstractScrollArea::timerEvent(event);
  }
}

std::optional<ReportView::KeyMotion> ReportView::motionFor(const QKeyEvent& event) {
  static constexpr struct {
    QKeySequence::StandardKey move;
    QKeySequence::StandardKey select;
    Motion motion;
  } kKeys[] = {
      {QKeySequence::MoveToNextChar, QKeySequence::SelectNextChar, Motion::NextCharacter},
      {QKeySequence::MoveToPreviousChar, QKeySequence::SelectPreviousChar, Motion::PreviousCharacter},
      {QKeySequence::MoveToNextWord, QKeySequence::SelectNextWord, Motion::NextWord},
      {QKeySequence::MoveToPreviousWord, QKeySequence::SelectPreviousWord, Motion::PreviousWord},
      {QKeySequence::MoveToNextLine, QKeySequence::SelectNextLine, Motion::NextRow},
      {QKeySequence::MoveToPreviousLine, QKeySequence::SelectPreviousLine, Motion::PreviousRow},
      {QKeySequence::MoveToNextPage, QKeySequence::SelectNextPage, Motion::NextPage},
      {QKeySequence::MoveToPreviousPage, QKeySequence::SelectPreviousPage, Motion::PreviousPage},
      {QKeySequence::MoveToStartOfLine, QKeySequence::SelectStartOfLine, Motion::StartOfRow},
      {QKeySequence::MoveToEndOfLine, QKeySequence::SelectEndOfLine, Motion::EndOfRow},
      {QKeySequence::MoveToStartOfDocument, QKeySequence::SelectStartOfDocument, Motion::StartOfDocument},
      {QKeySequence::MoveToEndOfDocument, QKeySequence::SelectEndOfDocument, Motion::EndOfDocument},
  };
  for (const auto& key : kKeys) {
    if (event.matches(key.move)) return KeyMotion{key.motion, false};
    if (event.matches(key.select)) return KeyMotion{key.motion, true};
  }
  return std::nullopt;
}

void ReportView::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::SelectAll)) return selectAll();
  if (event->matches(QKeySequence::Copy)) return copy();
  const std::optional<KeyMotion> key = motionFor(*event);
  // Return, Escape and the rest go on to the window: in a dialog they answer it.
  if (!key) return event->ignore();
  ensureRows();
  const Position target = moved(key->motion, key->extends);
  select(key->extends ? anchor_ : target, target);
  ensureCursorVisible();
  restartCaret();
}

ReportView::Position ReportView::moved(Motion motion, bool extending) {
  const auto [from, to] = std::minmax(anchor_, cursor_);
  // Only Up, Down and the page keys keep the caret's column.
  if (motion != Motion::NextRow && motion != Motion::PreviousRow && motion != Motion::NextPage &&
      motion != Motion::PreviousPage)
    goalX_.reset();
  switch (motion) {
    case Motion::NextCharacter:
      // A selection collapses to its end first, as in any text.
      return hasSelection() && !extending ? to : next(cursor_);
    case Motion::PreviousCharacter:
      return hasSelection() && !extending ? from : previous(cursor_);
    case Motion::NextWord:
      return nextWord(cursor_);
    case Motion::PreviousWord:
      return previousWord(cursor_);
    case Motion::StartOfRow: {
      const Row at = row(rowOf(cursor_));
      return Position{at.line, at.start};
    }
    case Motion::EndOfRow:
      return endOfRow(rowOf(cursor_));
    case Motion::StartOfDocument:
      return Position{};
    case Motion::EndOfDocument:
      return end();
    default:
      return movedVertically(motion);
  }
}

ReportView::Position ReportView::movedVertically(Motion motion) {
  if (!goalX_) goalX_ = caretRect().left();
  const bool down = motion == Motion::NextRow || motion == Motion::NextPage;
  const bool page = motion == Motion::NextPage || motion == Motion::PreviousPage;
  const qsizetype step = page ? verticalScrollBar()->pageStep() : 1;
  const qsizetype index = rowOf(cursor_) + (down ? step : -step);
  // A page key scrolls a page too, so the caret keeps its place in the view;
  // short of a page it goes to the first or last row. Up and Down stop there.
  if (page) verticalScrollBar()->setValue(verticalScrollBar()->value() + int(down ? step : -step));
  if (!page && (index < 0 || index >= rowCount())) return cursor_;
  return positionInRow(std::clamp<qsizetype>(index, 0, rowCount() - 1), *goalX_);
}

ReportView::Position ReportView::endOfRow(qsizetype index) const {
  const Row at = row(index);
  const QString& line = lines_[at.line];
  // A row that wraps at a blank ends before it: the blank hangs past the edge.
  const bool wraps = index + 1 < firstRows_[std::size_t(at.line) + 1] && line[at.end] != QLatin1Char('\n');
  const bool blankLast = at.end > at.start && isBlank(line[at.end - 1]);
  return Position{at.line, wraps && blankLast ? at.end - 1 : at.end};
}

ReportView::Position ReportView::next(Position position) const {
  const QString& line = lines_[position.line];
  if (position.column == line.size())
    return position.line + 1 < lines_.size() ? Position{position.line + 1, 0} : position;
  qsizetype column = position.column + 1;
  if (column < line.size() && line[column].isLowSurrogate()) ++column;
  return Position{position.line, column};
}

ReportView::Position ReportView::previous(Position position) const {
  if (position.column == 0)
    return position.line > 0 ? Position{position.line - 1, lines_[position.line - 1].size()} : position;
  const QString& line = lines_[position.line];
  qsizetype column = position.column - 1;
  if (column > 0 && line[column].isLowSurrogate()) --column;
  return Position{position.line, column};
}

ReportView::Position ReportView::nextWord(Position position) const {
  const QString& line = lines_[position.line];
  const auto [from, to] = stretchAround(line, position.column);
  // At a line's end the next word is on the next line.
  if (position.column == to) return next(position);
  const QStringView text = QStringView(line).sliced(from, to - from);
  // To the end of this word, and past the blanks after it.
  qsizetype at = wordBoundaries(text, position.column - from).second;
  if (at < text.size() && isBlank(text[at])) at = wordBoundaries(text, at).second;
  return Position{position.line, from + at};
}

ReportView::Position ReportView::previousWord(Position position) const {
  const QString& line = lines_[position.line];
  const auto [from, to] = stretchAround(line, position.column);
  if (position.column == from) return previous(position);
  const QStringView text = QStringView(line).sliced(from, to - from);
  // Back past the blanks, to the start of the word before them.
  qsizetype at = wordBoundaries(text, position.column - from - 1).first;
  if (at > 0 && isBlank(text[at])) at = wordBoundaries(text, at - 1).first;
  return Position{position.line, from + at};
}

std::pair<ReportView::Position, ReportView::Position> ReportView::unitAround(Position position, Unit unit) const {
  const QString& line = lines_[position.line];
  const auto [from, to] = stretchAround(line, position.column);
  if (unit == Unit::Line) {
    // With the line feed after it, or onto the next line, as any text does.
    if (to < line.size()) return {Position{position.line, from}, Position{position.line, to + 1}};
    if (position.line + 1 < lines_.size()) return {Position{position.line, from}, Position{position.line + 1, 0}};
    return {Position{position.line, from}, Position{position.line, to}};
  }
  if (unit == Unit::Character || from == to) return {position, position};
  // The word under the character at `position`, or before a line's end.
  const QStringView text = QStringView(line).sliced(from, to - from);
  const auto [before, after] = wordBoundaries(text, std::min(position.column, to - 1) - from);
  return {Position{position.line, from + before}, Position{position.line, from + after}};
}

void ReportView::selectUnit(Unit unit, Position position) {
  unit_ = unit;
  std::tie(unitFrom_, unitTo_) = unitAround(position, unit);
  select(unitFrom_, unitTo_);
  restartCaret();
}

void ReportView::dragTo(QPointF point) {
  const Position at = positionAt(point, unit_ != Unit::Character);
  if (unit_ == Unit::Character) return select(anchor_, at);
  // Whole words or lines, from the first one selected.
  const auto [from, to] = unitAround(at, unit_);
  if (at < unitFrom_) return select(unitTo_, from);
  select(unitFrom_, to);
}

void ReportView::ensureCursorVisible() {
  const qsizetype index = rowOf(cursor_);
  const qsizetype top = verticalScrollBar()->value();
  const qsizetype shown = verticalScrollBar()->pageStep();
  if (index < top) verticalScrollBar()->setValue(int(index));
  if (index >= top + shown) verticalScrollBar()->setValue(int(index - shown + 1));
}

void ReportView::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QAbstractScrollArea::mousePressEvent(event);
  goalX_.reset();
  // The third press of a triple click, near the double click.
  if (tripleClickTimer_.isActive() &&
      (event->position() - tripleClickPoint_).manhattanLength() < QApplication::startDragDistance()) {
    tripleClickTimer_.stop();
    return selectUnit(Unit::Line, positionAt(event->position(), true));
  }
  unit_ = Unit::Character;
  const Position position = positionAt(event->position());
  select(event->modifiers() & Qt::ShiftModifier ? anchor_ : position, position);
  restartCaret();
}

void ReportView::mouseDoubleClickEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QAbstractScrollArea::mouseDoubleClickEvent(event);
  goalX_.reset();
  selectUnit(Unit::Word, positionAt(event->position(), true));
  tripleClickPoint_ = event->position();
  tripleClickTimer_.start(QApplication::doubleClickInterval(), this);
}

void ReportView::mouseMoveEvent(QMouseEvent* event) {
  if (!(event->buttons() & Qt::LeftButton)) return;
  dragPoint_ = event->position();
  // Past the top or bottom edge the view scrolls on by itself until the
  // button is let go: a row every 100 ms right at the edge, faster farther out.
  const qreal beyond = std::max(-dragPoint_.y(), dragPoint_.y() - (viewport()->height() - 1));
  if (beyond > 0) {
    const qreal distance = std::max<qreal>(beyond, 7);
    autoScrollTimer_.start(std::max(1, int(4900 / (distance * distance))), this);
  } else {
    autoScrollTimer_.stop();
  }
  dragTo(dragPoint_);
}

void ReportView::mouseReleaseEvent(QMouseEvent* event) {
  autoScrollTimer_.stop();
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
