// The uninstaller log on a real file system, in a temporary home.
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

// One uninstaller's log, as the program makes it.
struct Log {
  LinuxPlatform platform;
  TalvorenInstall install{platform};
  UninstallLog log{platform, install};
};

}  // namespace

class UninstallLogTest : public QObject {
  Q_OBJECT

  QTemporaryDir home_;

  QString logPath() const { return home_.filePath("Library/Logs/Talvoren-Uninstaller.log"); }

 private Q_SLOTS:
  void init() {
    QVERIFY(home_.isValid());
    qputenv("HOME", QFile::encodeName(home_.path()));
    QDir(home_.path()).removeRecursively();
    QVERIFY(QDir().mkpath(home_.path()));
  }

  // The first append makes the folder and the file; later ones, even by
  // another uninstaller after a torn last line, keep every earlier byte.
  void appendCreatesThenKeepsEveryEarlierByte() {
    Log first;
    QCOMPARE(first.log.path(), logPath());
    first.log.append("first \u00e9 line");
    QCOMPARE(contents(logPath()), QByteArray("first \xc3\xa9 line\n"));

    QFile file(logPath());
    QVERIFY(file.open(QIODevice::Append));
    file.write("torn \x01\xff");
    file.close();
    Log second;
    second.log.append(QString());
    second.log.append("two\nphysical lines");
    QCOMPARE(contents(logPath()), QByteArray("first \xc3\xa9 line\ntorn \x01\xff\ntwo\nphysical lines\n"));
  }

  // Two uninstallers at once: each line arrives whole, whatever the order.
  void concurrentWritersNeverInterleaveInsideALine() {
    const QByteArray lineA(3000, 'a');
    const QByteArray lineB(3000, 'b');
    std::thread other([&] {
      Log log;
      for (int i = 0; i < 200; ++i) log.log.append(QString::fromLatin1(lineB));
    });
    Log log;
    for (int i = 0; i < 200; ++i) log.log.append(QString::fromLatin1(lineA));
    other.join();

    const QList<QByteArray> lines = contents(logPath()).split('\n');
    QCOMPARE(lines.size(), 401);
    QVERIFY(lines.last().isEmpty());
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
      QVERIFY2(lines[i] == lineA || lines[i] == lineB, "a line was torn");
  }

  // Whatever stands in the way (root ignores permission bits), the log stays
  // silent and changes nothing.
  void unwritableLogStaysSilent() {
    QVERIFY(QDir().mkpath(logPath()));  // a folder where the log should be
    Log log;
    log.log.append("lost");
    QVERIFY(QFileInfo(logPath()).isDir() && QDir(logPath()).isEmpty());
    QVERIFY(QDir(home_.filePath("Library/Logs")).removeRecursively());
    QFile file(home_.filePath("Library/Logs"));  // a file where the Logs folder should be
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("user data") == 9);
    file.close();
    log.log.write("lost too");
    QCOMPARE(contents(file.fileName()), QByteArray("user data"));
  }

  void timestampIsUtcToTheSecondWhateverTheZone() {
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "Pacific/Kiritimati");  // UTC+14: the local date differs from UTC's most of the day
    ::tzset();
    Log log;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    log.log.write("Action report:");
    const QDateTime after = QDateTime::currentDateTimeUtc();
    if (zone.isNull()) qunsetenv("TZ");
    else qputenv("TZ", zone);
    ::tzset();

    const QString line = QString::fromUtf8(contents(logPath()));
    static const QRegularExpression shape("^\\[(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)\\] Action report:\\n$");
    const QRegularExpressionMatch match = shape.match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    const QDateTime stamped = QDateTime::fromString(match.captured(1), Qt::ISODate);
    QVERIFY(stamped >= before.addMSecs(-before.time().msec()) && stamped <= after);
  }
};

QTEST_MAIN(UninstallLogTest)
#include "tst_uninstall_log.moc"
