#include "base/UninstallLog.h"

#include "base/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>
#include <QStringEncoder>

namespace {

// A report goes out in appends of about this many bytes, each ending with a
// whole line. Any ordinary report is a single append; a report of a million
// lines needs no buffer of its own size, whose first touch of every page
// alone would take the best part of a second.
constexpr qsizetype kAppendBytes = qsizetype(1) << 20;

}  // namespace

const QString& UninstallLog::path() const { return install_.uninstallerLogPath(); }

void UninstallLog::append(const QString& line) const { appendBytes((line + QLatin1Char('\n')).toUtf8()); }

void UninstallLog::appendReport(const QStringList& lines) const {
  QByteArray chunk = '\n' + stamped(QStringLiteral("Action report:")).toUtf8() + '\n';
  chunk.reserve(kAppendBytes);
  QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
  for (const QString& line : lines) {
    const qsizetype room = encoder.requiredSpace(line.size()) + 1;
    // The chunk always holds the heading or an earlier line here, so no
    // append is ever empty; a line longer than a chunk goes out on its own.
    if (chunk.size() + room > kAppendBytes) {
      appendBytes(chunk);
      chunk.resize(0);
    }
    // The encoder writes U+FFFD for a lone surrogate where a line appended on
    // its own gets "?"; such rare lines go that way to keep the same bytes.
    if (!line.isValidUtf16()) {
      chunk += line.toUtf8() + '\n';
      continue;
    }
    const qsizetype start = chunk.size();
    chunk.resize(start + room);
    char* end = encoder.appendToBuffer(chunk.data() + start, line);
    *end++ = '\n';
    chunk.truncate(end - chunk.constData());
  }
  appendBytes(chunk);
}

void UninstallLog::appendBytes(const QByteArray& bytes) const {
  // An append with the file created if missing: a log that exists but cannot
  // be opened is left alone rather than rewritten, so no earlier byte is ever
  // lost.
  if (platform_.appendToFile(path(), bytes)) return;
  // Most likely the folder is missing (first run). If it cannot be made either,
  // the text is lost quietly.
  if (platform_.createDirectories(QFileInfo(path()).path())) platform_.appendToFile(path(), bytes);
}

void UninstallLog::write(const QString& message) const { append(stamped(message)); }

QString UninstallLog::stamped(const QString& message) const {
  return QLatin1Char('[') + timestamp(platform_.currentTime()) + QStringLiteral("] ") + message;
}

QString UninstallLog::timestamp(const QDateTime& time) {
  // Qt's ISO form of a UTC time is exactly "yyyy-MM-ddTHH:mm:ssZ", and far
  // cheaper than a format string, which matters when a large manifest logs
  // a line per component.
  return time.toUTC().toString(Qt::ISODate);
}
