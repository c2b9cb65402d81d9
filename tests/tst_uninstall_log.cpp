// The report's rules and the uninstaller log on a real file system, in a
// temporary home.
#include "actions/Report.h"
#include "actions/UninstallLog.h"
#include "manifest/TalvorenInstall.h"
#include "platform/linux/LinuxPlatform.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <ctime>
#include <thread>

namespace {

QByteArray contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

}  // namespace

class UninstallLogTest : public QObject {
  Q_OBJECT

  QTemporaryDir home_;
  LinuxPlatform platform_;

  QString logPath() const { return home_.filePath(QStringLiteral("Library/Logs/Talvoren-Uninstaller.log")); }

 private Q_SLOTS:
  void init() {
    QVERIFY(home_.isValid());
    qputenv("HOME", home_.path().toUtf8());
    QDir(home_.path()).removeRecursively();
    QDir().mkpath(home_.path());
  }

  void reportKeepsOrderAndFailureIsForGood() {
    Report report;
    QVERIFY(report.lines.isEmpty());
    QVERIFY(!report.hasFailure);
    report.skipped(QStringLiteral("nothing"));
    report.ok(QString());
    QVERIFY(!report.hasFailure);
    report.warning(QStringLiteral("broken"));
    report.ok(QStringLiteral("fine again"));
    report.skipped(QStringLiteral("still"));
    QVERIFY(report.hasFailure);
    QCOMPARE(report.lines, QStringList({QStringLiteral("[Skipped] nothing"), QStringLiteral("[OK] "),
                                        QStringLiteral("[Needs attention] broken"), QStringLiteral("[OK] fine again"),
                                        QStringLiteral("[Skipped] still")}));
  }

  void firstAppendCreatesFolderAndFile() {
    TalvorenInstall install(platform_);
    UninstallLog log(platform_, install);
    QCOMPARE(log.path(), logPath());
    log.append(QStringLiteral("first \u00e9 line"));
    QCOMPARE(contents(logPath()), QByteArray("first \xc3\xa9 line\n"));
    log.append(QString());
    QCOMPARE(contents(logPath()), QByteArray("first \xc3\xa9 line\n\n"));
  }

  void appendKeepsEveryEarlierByte() {
    QDir().mkpath(QFileInfo(logPath()).path());
    const QByteArray earlier("old line without newline \x01\xff");
    QFile file(logPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(earlier);
    file.close();

    TalvorenInstall install(platform_);
    UninstallLog log(platform_, install);
    log.append(QStringLiteral("new"));
    log.append(QStringLiteral("two\nphysical lines"));
    QCOMPARE(contents(logPath()), earlier + "new\ntwo\nphysical lines\n");
  }

  void concurrentWritersNeverInterleaveInsideALine() {
    // Two uninstallers at once: each line must arrive whole, whatever the order.
    TalvorenInstall install(platform_);
    UninstallLog log(platform_, install);
    const QString first(3000, QLatin1Char('a'));
    const QString second(3000, QLatin1Char('b'));
    std::thread other([&] {
      LinuxPlatform platform;
      TalvorenInstall otherInstall(platform);
      UninstallLog otherLog(platform, otherInstall);
      for (int i = 0; i < 200; ++i) otherLog.append(second);
    });
    for (int i = 0; i < 200; ++i) log.append(first);
    other.join();

    const QList<QByteArray> lines = contents(logPath()).split('\n');
    QCOMPARE(lines.size(), 401);
    QVERIFY(lines.last().isEmpty());
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
      QVERIFY2(lines[i] == first.toLatin1() || lines[i] == second.toLatin1(), "a line was torn");
  }

  void unwritableLogStaysSilent_data() {
    QTest::addColumn<QString>("obstacle");
    // Root ignores permission bits, so the obstacles are things in the way.
    QTest::newRow("Logs is a file") << QStringLiteral("Library/Logs");
    QTest::newRow("log is a folder") << QStringLiteral("Library/Logs/Talvoren-Uninstaller.log/");
    QTest::newRow("Library is a file") << QStringLiteral("Library");
  }
  void unwritableLogStaysSilent() {
    QFETCH(QString, obstacle);
    const QString path = home_.filePath(obstacle);
    if (obstacle.endsWith(QLatin1Char('/'))) {
      QVERIFY(QDir().mkpath(path));
    } else {
      QDir().mkpath(QFileInfo(path).path());
      QFile file(path);
      QVERIFY(file.open(QIODevice::WriteOnly));
      file.write("user data");
    }
    TalvorenInstall install(platform_);
    UninstallLog log(platform_, install);
    log.append(QStringLiteral("lost"));
    log.write(QStringLiteral("lost too"));
    if (!obstacle.endsWith(QLatin1Char('/'))) QCOMPARE(contents(path), QByteArray("user data"));
    QVERIFY(!QFileInfo(logPath()).isFile());
  }

  void timestampIsUtcWhateverTheZone() {
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "Pacific/Kiritimati");  // UTC+14: the local date differs from UTC's most of the day
    ::tzset();
    TalvorenInstall install(platform_);
    UninstallLog log(platform_, install);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    log.write(QStringLiteral("Action report:"));
    const QDateTime after = QDateTime::currentDateTimeUtc();
    qputenv("TZ", zone);
    ::tzset();

    const QString line = QString::fromUtf8(contents(logPath()));
    static const QRegularExpression shape(
        QStringLiteral("^\\[(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)\\] Action report:\\n$"));
    const QRegularExpressionMatch match = shape.match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    QCOMPARE(match.captured(1).size(), 20);
    const QDateTime stamped = QDateTime::fromString(match.captured(1), Qt::ISODate);
    QVERIFY(stamped.isValid());
    QVERIFY(stamped >= before.addMSecs(-before.time().msec()) && stamped <= after);
  }

  void timestampFormat() {
    const QDateTime time(QDate(2026, 11, 16), QTime(16, 54, 7, 999), QTimeZone(3600));
    QCOMPARE(UninstallLog::timestamp(time), QStringLiteral("2026-11-16T15:54:07Z"));
  }
};

QTEST_MAIN(UninstallLogTest)
#include "tst_uninstall_log.moc"
