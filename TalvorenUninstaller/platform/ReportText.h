#pragma once

#include <QString>

class QPlainTextEdit;

// Puts a report's text (lines joined by line feeds) into a read-only plain
// text view so that it shows at once whatever its size: a million lines, or
// one line of megabytes. The view's text reads back exactly as given.
void showReportText(QPlainTextEdit& view, const QString& text);
