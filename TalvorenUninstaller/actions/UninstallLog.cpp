#include "actions/UninstallLog.h"

#include "manifest/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>

const QString& UninstallLog::path() const { return install_.uninstallerLogPath(); }

void UninstallLog::append(const QString& line) const { appendBytes((line + QLatin1Char('\n')).toUtf8()); }

void UninstallLog::append(const QStringList& lines) const {
  QString block;
  for (const QString& line : lines) block += line + QLatin1Char('\n');
  appendBytes(block.toUtf8());
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
