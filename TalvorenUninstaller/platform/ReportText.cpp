#include "platform/ReportText.h"

#include <QPlainTextEdit>

#include <algorithm>

namespace {

// The text document spends a few microseconds on every block it holds, and
// a block is laid out whole as soon as any of it is visible: one block per
// line makes a million lines take seconds, one block for everything makes
// every repaint lay out everything. So lines are gathered into blocks of
// about this many characters, separated inside a block by line separators,
// which look like line feeds and read back as line feeds.
constexpr qsizetype kBlockCharacters = 8192;

// Wrapping at word boundaries searches the rest of a line for the next
// boundary on every visual line, which grows with the square of a line
// without any. Beyond this length a report is wrapped anywhere instead;
// shorter lines keep whole words together.
constexpr qsizetype kWordWrapLimit = 10000;

struct Blocks {
  QString text;
  qsizetype longestLine = 0;
};

Blocks gatherIntoBlocks(const QString& text) {
  Blocks blocks{text, 0};
  QChar* const characters = blocks.text.data();
  qsizetype blockStart = 0;
  qsizetype lineStart = 0;
  for (qsizetype end; (end = text.indexOf(QLatin1Char('\n'), lineStart)) >= 0; lineStart = end + 1) {
    blocks.longestLine = std::max(blocks.longestLine, end - lineStart);
    if (end - blockStart < kBlockCharacters) {
      characters[end] = QChar::LineSeparator;
    } else {
      blockStart = end + 1;
    }
  }
  blocks.longestLine = std::max(blocks.longestLine, text.size() - lineStart);
  return blocks;
}

}  // namespace

void showReportText(QPlainTextEdit& view, const QString& text) {
  const Blocks blocks = gatherIntoBlocks(text);
  view.setWordWrapMode(blocks.longestLine > kWordWrapLimit ? QTextOption::WrapAnywhere
                                                           : QTextOption::WrapAtWordBoundaryOrAnywhere);
  view.setPlainText(blocks.text);
}
