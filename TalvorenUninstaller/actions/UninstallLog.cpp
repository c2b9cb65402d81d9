#include "actions/UninstallLog.h"

#include "manifest/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>
#include <QStringEncoder>

#include <algorithm>
#include <initializer_list>
#include <QStringEncoder>

namespace {

// Each line and its line feed in UTF-8, encoded straight into one buffer of
// the largest size they can take: a report of a million lines is a hundred
// megabytes, which a joined string would first copy twice over, and pages
// never written to cost nothing.
QByteArray encodeLines(std::initializer_list<const QStringList*> lists) {
  qsizetype characters = 0;
  for (const QStringList* lines : lists)
    for (const QString& line : *lines) characters += line.size() + 1;
  QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
  QByteArray bytes(encoder.requiredSpace(characters), Qt::Uninitialized);
  char* end = bytes.data();
  for (const QStringList* lines : lists) {
    for (const QString& line : *lines) {
      // The encoder writes U+FFFD for a lone surrogate where a line appended
      // on its own gets "?"; such rare lines go that way to keep the bytes.
      if (line.isValidUtf16()) {
        end = encoder.appendToBuffer(end, line);
      } else {
        const QByteArray alone = line.toUtf8();
        end = std::copy(alone.begin(), alone.end(), end);
      }
      *end++ = '\n';
    }
  }
  bytes.truncate(end - bytes.data());
  return bytes;
}

}  // namespace

const QString& UninstallLog::path() const { return install_.uninstallerLogPath(); }

void UninstallLog::append(const QString& line) const { appendBytes((line + QLatin1Char('\n')).toUtf8()); }

void UninstallLog::append(const QStringList& lines) const { appendBytes(encodeLines({&lines})); }

void UninstallLog::appendReport(const QStringList& lines) const {
  const QStringList heading{QString(), stamped(QStringLiteral("Action report:"))};
  appendBytes(encodeLines({&heading, &lines}));
}

void UninstallLog::appendBytes(const QByteArray& bytes) const {
  // One append of the whole text, with the file created if missing: a log that
  // exists but cannot be opened is left alone rather than rewritten, so no
  // earlier byte is ever lost.
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
