// Table tests whose rows live in tests/data/tables/<suite>.json: an object of
// tables, each an array of rows, each an object with a "name" and its fields.
#pragma once

#include <QJsonObject>
#include <QRectF>
#include <QtTest>

// One table (or any other entry) of a suite's file.
QJsonValue tableOf(const char* suite, const char* table);
// Adds the one column "row" (a QJsonObject) and one data row per table row.
void addTableRows(const char* suite, const char* table);
// UTF-8, except that "\xNN" is the byte NN and "\xNN{N}" that byte N times.
QByteArray bytesOf(const QJsonValue& text);
QStringList stringsOf(const QJsonValue& array);
QRectF rectOf(const QJsonValue& xywh);
