#pragma once

#include <QAbstractScrollArea>
#include <QString>
#include <QStringList>

#include <compare>
#include <optional>
#include <vector>

// A read-only view of a report, whatever its size: a few lines, a million
// lines, or one line of megabytes. It shares the report's list of lines
// instead of joining them into one text, counts the rows each line takes in
// one pass, and paints only the rows in sight; a text document would lay out
// every line and take seconds. Lines wrap at the view's width in a
// monospaced font and scroll vertically. The text can be selected with the
// mouse or Select All and copied, never edited.
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
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
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

  int rowHeight() const;
  qsizetype columnsFor(int viewportWidth) const;
  void invalidateRows();
  void ensureRows();
  void updateScrollBar();
  qsizetype rowCount() const { return firstRows_.empty() ? 0 : firstRows_.back(); }
  Row row(qsizetype index) const;
  Position positionAt(QPointF point);
  Position end() const;
  bool hasSelection() const { return anchor_ != cursor_; }
  void select(Position anchor, Position cursor);
  void drawRow(QPainter& painter, const Row& row, qreal top) const;

  QStringList lines_;
  // The row on which each line starts, for `columns_` characters a row, and
  // after them the number of rows; empty when they have to be counted again.
  std::vector<qsizetype> firstRows_;
  qsizetype columns_ = 0;
  // Where the rows of the last long line painted start, kept because a line
  // of megabytes takes a moment to wrap.
  mutable qsizetype wrappedLine_ = -1;
  mutable std::vector<qsizetype> wrappedStarts_;
  Position anchor_;
  Position cursor_;
};
