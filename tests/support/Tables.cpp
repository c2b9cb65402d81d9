#include "support/Tables.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

QJsonValue tableOf(const char* suite, const char* table) {
  QFile file(QStringLiteral(TALVOREN_TEST_DATA "/tables/") + QLatin1String(suite) + ".json");
  if (!file.open(QIODevice::ReadOnly)) qFatal("cannot read %s", qPrintable(file.fileName()));
  const QJsonValue value = QJsonDocument::fromJson(file.readAll())[QLatin1String(table)];
  if (value.isUndefined()) qFatal("no table %s in %s", table, suite);
  return value;
}

void addTableRows(const char* suite, const char* table) {
  const QJsonArray rows = tableOf(suite, table).toArray();
  QTest::addColumn<QJsonObject>("row");
  for (const QJsonValue& row : rows) QTest::newRow(qPrintable(row["name"].toString())) << row.toObject();
}

QByteArray bytesOf(const QJsonValue& text) {
  static const QRegularExpression escape(QStringLiteral("\\\\x([0-9a-f]{2})(?:\\{(\\d+)\\})?"));
  const QString string = text.toString();
  QByteArray bytes;
  qsizetype done = 0;
  for (const QRegularExpressionMatch& match : escape.globalMatch(string)) {
    bytes += string.mid(done, match.capturedStart() - done).toUtf8();
    const qsizetype times = match.hasCaptured(2) ? match.captured(2).toLongLong() : 1;
    bytes += QByteArray(times, char(match.captured(1).toUInt(nullptr, 16)));
    done = match.capturedEnd();
  }
  return bytes + string.mid(done).toUtf8();
}

QStringList stringsOf(const QJsonValue& array) { return array.toVariant().toStringList(); }

QRectF rectOf(const QJsonValue& array) {
  const QJsonArray a = array.toArray();
  return QRectF(a[0].toDouble(), a[1].toDouble(), a[2].toDouble(), a[3].toDouble());
}
