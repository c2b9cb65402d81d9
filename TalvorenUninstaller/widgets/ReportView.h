#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QString>
#include <QStringList>

#include <compare>
#include <optional>
#include <utility>
#include <vector>

// A read-only view of a report, whatever its size: a few lines, a million
// lines, or one line of megabytes. It shares the report's list of lines
// instead of joining them into one text, counts the rows each line takes in
// one pass, and paints only the rows in sight; a text document would lay out
// every line and take seconds. Lines wrap at the view's width in a
// monospaced font and scroll vertically; a line feed inside a line starts a
// new row and a tab reaches the next tab stop. The text is selected and
// copied as in any read-only text: with the mouse (a double click takes a
// word, a triple click a line, dragging past an edge scrolls on), with the
// keys (a caret shows where, and Shift extends), Select All and Copy; it is
// never edited. ReportSelection.cpp holds the selecting.
class ReportView final : public QAbstractScrollArea {
  Q_OBJECT

 public:
  explicit ReportView(QWidget* parent = nullptr);

  // Shows `lines` one below the other, from the top, with nothing selected.
  // The list is shared, not copied.
  void setLines(const QStringList& lines);
  // Shows `text`, whose lines end at line feeds.
  void setText(const QString& text);
  // The lines joined by line feeds: exactly the text shown.
  QString toPlainText() const;
  // The view never takes typing; its text is selectable by mouse and keys.
  bool isReadOnly() const { return true; }
  Qt::TextInteractionFlags textInteractionFlags() const {
    return Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard;
  }

  QString selectedText() const;
  void selectAll();
  // Puts the selection on the clipboard; without a selection does nothing.
  void copy() const;

  // The height at which a view `width` wide shows all of its text without
  // scrolling, or nothing when that would be more than `limit`.
  std::optional<int> heightToShowAll(int width, int limit) const;

 protected:
  bool event(QEvent* event) override;
  void changeEvent(QEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void timerEvent(QTimerEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  // A place in the text: before `column` of line `line`.
  struct Position {
    qsizetype line = 0;
    qsizetype column = 0;
    auto operator<=>(const Position&) const = default;
  };
  // One visual row: the characters [start, end) of line `line`.
  struct Row {
    qsizetype line;
    qsizetype start;
    qsizetype end;
  };
  // What a press and the drag after it select: characters, whole words
  // (after a double click) or whole lines (after a triple click).
  enum class Unit { Character, Word, Line };
  // Where a key moves the caret, as in any text.
  enum class Motion {
    NextCharacter,
    PreviousCharacter,
    NextWord,
    PreviousWord,
    NextRow,
    PreviousRow,
    NextPage,
    PreviousPage,
    StartOfRow,
    EndOfRow,
    StartOfDocument,
    EndOfDocument,
  };
  struct KeyMotion {
    Motion motion;
    bool extends;
  };

  // --- Rows and painting (ReportView.cpp) ------------------------------------
  int rowHeight() const;
  qsizetype columnsFor(int viewportWidth) const;
  void invalidateRows();
  void ensureRows();
  void updateScrollBar();
  qsizetype rowCount() const { return firstRows_.empty() ? 0 : firstRows_.back(); }
  Row row(qsizetype index) const;
  // Where the rows of `line` start, when it takes more than one.
  const std::vector<qsizetype>& wrappedStarts(qsizetype line) const;
  // The row that shows `position`; at a row's boundary, the later row.
  qsizetype rowOf(Position position) const;
  QString textOf(const Row& row) const { return lines_[row.line].sliced(row.start, row.end - row.start); }
  // How far right of the row's left edge the first `count` characters of its
  // text reach, tabs drawn to their stops.
  qreal advanceOf(const QString& text, qsizetype count) const;
  // The width of a tab drawn `x` from the row's left edge: up to the next stop.
  qreal tabAdvance(qreal x) const;
  // The place in row `index` nearest to `x`, or with `under`, before the
  // character that `x` is over.
  Position positionInRow(qsizetype index, qreal x, bool under = false) const;
  Position positionAt(QPointF point, bool under = false);
  Position end() const;
  void drawRow(QPainter& painter, const Row& row, qreal top) const;
  void drawText(QPainter& painter, const QString& text, qsizetype from, qsizetype to, qreal baseline) const;
  QRectF caretRect() const;
  // Shows the caret at once and blinks it from there, while focused.
  void restartCaret();

  // --- Selecting (ReportSelection.cpp) ----------------------------------------
  bool hasSelection() const { return anchor_ != cursor_; }
  void select(Position anchor, Position cursor);
  static std::optional<KeyMotion> motionFor(const QKeyEvent& event);
  Position moved(Motion motion, bool extending);
  Position movedVertically(Motion motion);
  Position endOfRow(qsizetype index) const;
  Position next(Position position) const;
  Position previous(Position position) const;
  Position nextWord(Position position) const;
  Position previousWord(Position position) const;
  // The word or the line (with the line feed after it) around `position`.
  std::pair<Position, Position> unitAround(Position position, Unit unit) const;
  void selectUnit(Unit unit, Position position);
  void dragTo(QPointF point);
  void ensureCursorVisible();

  QStringList lines_;
  // The row on which each line starts, for `columns_` characters a row, and
  // after them the number of rows; empty when they have to be counted again.
  std::vector<qsizetype> firstRows_;
  qsizetype columns_ = 0;
  // Where the rows of the last line that needed it start, kept because a line
  // of megabytes takes a moment to wrap.
  mutable qsizetype wrappedLine_ = -1;
  mutable std::vector<qsizetype> wrappedStarts_;
  Position anchor_;
  Position cursor_;

  // The caret blinks while the view has the keyboard focus.
  QBasicTimer caretTimer_;
  bool caretShown_ = false;
  // Where Up and Down keep the caret across rows of other lengths.
  std::optional<qreal> goalX_;
  // A press and its drag: the unit, and the first one selected.
  Unit unit_ = Unit::Character;
  Position unitFrom_;
  Position unitTo_;
  QBasicTimer tripleClickTimer_;
  QPointF tripleClickPoint_;
  // While the button is held past the top or bottom edge the view scrolls on
  // by itself, faster the farther away the mouse is.
  QBasicTimer autoScrollTimer_;
  QPointF dragPoint_;
};
