#pragma once

#include <QRectF>
#include <QString>

// A number as the log prints it: the shortest text that reads back as the
// same double, with at least one digit after the point ("410.0", "410.5").
QString frameNumberText(double value);

// "(x, y, width, height)" with each number as frameNumberText prints it.
QString frameText(const QRectF& frame);
