#include "actions/UninstallLog.h"

#include "manifest/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>

const QString& UninstallLog::path() const { return install_.uninstallerLogPath(); }

void UninstallLog::append(const QString& line) const {
  // One append of the whole line, with the file created if missing: a log that
  // exists but cannot be opened is left alone rather than rewritten, so no
  // earlier byte is ever lost.
  const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
  if (platform_.appendToFile(path(), bytes)) return;
  // Most likely the folder is missing (first run). If it cannot be made either,
  // the line is lost quietly.
  if (platform_.createDirectories(QFileInfo(path()).path())) platform_.appendToFile(path(), bytes);
}

void UninstallLog::write(const QString& message) const {
  append(QLatin1Char('[') + timestamp(platform_.currentTime()) + QStringLiteral("] ") + message);
}

QString UninstallLog::timestamp(const QDateTime& time) {
  // Qt's ISO form of a UTC time is exactly "yyyy-MM-ddTHH:mm:ssZ", and far
  // cheaper than a format string, which matters when a large manifest logs
  // a line per component.
  return time.toUTC().toString(Qt::ISODate);
}
