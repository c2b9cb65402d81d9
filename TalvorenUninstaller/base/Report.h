#pragma once

#include <QString>
#include <QStringList>

// The ordered result lines of one action, each with its status prefix, and
// whether any of them needs the user's attention. Lines are only ever added.
struct Report {
  QStringList lines;
  bool hasFailure = false;

  void ok(const QString& text) { lines.append(QStringLiteral("[OK] ") + text); }
  void skipped(const QString& text) { lines.append(QStringLiteral("[Skipped] ") + text); }
  void warning(const QString& text) {
    lines.append(QStringLiteral("[Needs attention] ") + text);
    hasFailure = true;
  }
};
