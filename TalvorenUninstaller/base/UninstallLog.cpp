#include "base/UninstallLog.h"

#include "base/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>
#include <QStringEncoder>

#include <algorithm>

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
  QByteArray chunk = '\n' + stampNow() + "Action report:\n";
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

// The same bytes as append(stamped(message)), the stamp being ASCII, made in
// a buffer kept from line to line.
void UninstallLog::write(const QString& message) const {
  const QByteArray& stamp = stampNow();
  // As in appendReport, the encoder would write U+FFFD where toUtf8() writes "?".
  if (!message.isValidUtf16()) return appendBytes(stamp + message.toUtf8() + '\n');
  QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
  line_.resize(stamp.size() + encoder.requiredSpace(message.size()) + 1);
  char* end = std::copy(stamp.begin(), stamp.end(), line_.data());
  end = encoder.appendToBuffer(end, message);
  *end++ = '\n';
  line_.truncate(end - line_.constData());
  appendBytes(line_);
}

QString UninstallLog::stamped(const QString& message) const { return QString::fromLatin1(stampNow()) + message; }

const QByteArray& UninstallLog::stampNow() const {
  const QDateTime now = platform_.currentTime();
  const qint64 milliseconds = now.toMSecsSinceEpoch();
  const qint64 second = milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0);
  if (stamp_.isEmpty() || second != stampSecond_) {
    stamp_ = '[' + timestamp(now).toLatin1() + "] ";
    stampSecond_ = second;
  }
  return stamp_;
}

QString UninstallLog::timestamp(const QDateTime& time) {
  // Qt's ISO form of a UTC time is exactly "yyyy-MM-ddTHH:mm:ssZ", and far
  // cheaper than a format string, which matters when a large manifest logs
  // a line per component.
  return time.toUTC().toString(Qt::ISODate);
}
