#include "actions/UninstallLog.h"

#include "manifest/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>
#include <QTimeZone>

const QString& UninstallLog::path() const { return install_.uninstallerLogPath(); }

void UninstallLog::append(const QString& line) const {
  // A folder that already exists, or cannot be made, is no reason to stop: the
  // append below simply fails quietly in the second case.
  platform_.createDirectories(QFileInfo(path()).path());
  // One append of the whole line, with the file created if missing: a log that
  // exists but cannot be opened is left alone rather than rewritten, so no
  // earlier byte is ever lost.
  platform_.appendToFile(path(), (line + QLatin1Char('\n')).toUtf8());
}

void UninstallLog::write(const QString& message) const {
  append(QLatin1Char('[') + timestamp(platform_.currentTime()) + QStringLiteral("] ") + message);
}

QString UninstallLog::timestamp(const QDateTime& time) {
  return time.toTimeZone(QTimeZone::utc()).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}
