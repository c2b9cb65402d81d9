#pragma once

#include <QString>

class Platform;
class QDateTime;
class TalvorenInstall;

// The uninstaller's own append-only log, at TalvorenInstall::uninstallerLogPath.
// Every line is opened, written and closed on its own; nothing about the log
// ever fails visibly, because losing a log line must never stop or alarm an
// uninstall.
class UninstallLog {
 public:
  UninstallLog(Platform& platform, const TalvorenInstall& install) : platform_(platform), install_(install) {}

  const QString& path() const;

  // Adds `line` and a line feed at the end of the log, as it is.
  void append(const QString& line) const;
  // Adds "[" + the current UTC time + "] " + message.
  void write(const QString& message) const;

  // The log's time stamp: ISO 8601 in UTC to the second, e.g. 2026-11-16T15:54:07Z.
  static QString timestamp(const QDateTime& time);

 private:
  Platform& platform_;
  const TalvorenInstall& install_;
};
