#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

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
  // An action's report: an empty line, the timestamped heading "Action
  // report:", then each line and its line feed. An ordinary report lands in
  // one append; one of megabytes in appends of whole lines.
  void appendReport(const QStringList& lines) const;
  // Adds "[" + the current UTC time + "] " + message.
  void write(const QString& message) const;
  // That timestamped line, without writing it.
  QString stamped(const QString& message) const;

  // The log's time stamp: ISO 8601 in UTC to the second, e.g. 2026-11-16T15:54:07Z.
  static QString timestamp(const QDateTime& time);

 private:
  void appendBytes(const QByteArray& bytes) const;
  // "[" + the time stamp of now + "] ", in UTF-8.
  const QByteArray& stampNow() const;

  Platform& platform_;
  const TalvorenInstall& install_;
  // The stamp is made once per second: a removal may log a line for each of
  // hundreds of thousands of components within a few seconds.
  mutable QByteArray stamp_;
  mutable qint64 stampSecond_ = 0;
  mutable QByteArray line_;
};
