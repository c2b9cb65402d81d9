#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// The ordered result lines of one action, each with its status prefix, and
// whether any of them needs the user's attention. Lines are only ever added.
struct Report {
  QStringList lines;
  bool hasFailure = false;
  // Told of each line as it is added, for a front that shows an action's
  // progress while it runs; may be empty.
  std::function<void(const QString&)> onLine;

  void ok(const QString& text) { add(QStringLiteral("[OK] ") + text); }
  void skipped(const QString& text) { add(QStringLiteral("[Skipped] ") + text); }
  void warning(const QString& text) {
    hasFailure = true;
    add(QStringLiteral("[Needs attention] ") + text);
  }

 private:
  void add(const QString& line) {
    lines.append(line);
    if (onLine) onLine(line);
  }
};
