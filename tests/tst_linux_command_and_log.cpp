// The program's own dealings with the real system in a temporary folder:
// runCommand against shell scripts written here, and the uninstaller log in a
// temporary home.
#include "base/UninstallLog.h"
#include "actions/Uninstaller.h"
#include "base/TalvorenInstall.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/Tables.h"

#include <QTemporaryDir>

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

class CommandAndLogTest : public QObject {
  Q_OBJECT

  QTemporaryDir folder_;
  const QString home_ = folder_.filePath("home");
  const QString logPath_ = home_ + "/Library/Logs/Talvoren-Uninstaller.log";

  QString script(const QString& name, const QByteArray& body, bool executable = true) {
    QFile file(folder_.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\n" + body) < 0) qFatal("cannot write a script");
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | (executable ? QFile::ExeOwner : QFile::Permissions()));
    return file.fileName();
  }

  static CommandResult run(const QString& program, const QStringList& arguments = {}) {
    LinuxPlatform platform;
    return Uninstaller(platform).runCommand(program, arguments, CommandEffect::ChangesSystem);
  }

 private Q_SLOTS:
  // Every program run here inherits the variable and the folder. In UTC+14 the
  // local date differs from UTC's most of the day.
  void initTestCase() {
    qputenv("TALVOREN_RUNNER_PROBE", "inherited");
    qputenv("TZ", "Pacific/Kiritimati");
    ::tzset();
    qputenv("HOME", QFile::encodeName(home_));
    qputenv("PATH", QFile::encodeName(folder_.path()) + ':' + qgetenv("PATH"));
    QVERIFY(QDir::setCurrent(folder_.path()));
  }
  void init() { QVERIFY(QDir(home_).removeRecursively() && QDir().mkpath(home_)); }

  void statusAndOutput_data() { addTableRows("command-runner", "run"); }
  void statusAndOutput() {
    QFETCH(QJsonObject, row);
    const CommandResult result = run(script("tool", bytesOf(row["script"])), stringsOf(row["arguments"]));
    QCOMPARE(result.status, row["status"].toInt());
    QCOMPARE(result.output,
             QString::fromUtf8(bytesOf(row["output"])).replace("{folder}", QDir(folder_.path()).canonicalPath()));
  }

  // A program that cannot be started gives 127 and a sentence naming it and
  // why. Only an absolute path is started: a bare name is not looked for
  // along PATH (which holds the test's folder), nor a relative path in the
  // working folder.
  void programsThatCannotStart_data() { addTableRows("command-runner", "cannot start"); }
  void programsThatCannotStart() {
    QFETCH(QJsonObject, row);
    script("tool", "echo started\n");
    script("plain", "exit 0\n", false);
    const CommandResult result = run(row["program"].toString().replace("{folder}", folder_.path()));
    QCOMPARE(result.status, 127);
    QCOMPARE(result.output, row["output"].toString().replace("{folder}", folder_.path()));
  }

  // The first append makes the folder and the file; later ones, even by
  // another uninstaller after a torn last line, keep every earlier byte.
  void logAppendCreatesThenKeepsEveryEarlierByte() {
    Log first;
    QCOMPARE(first.log.path(), logPath_);
    first.log.append("first \u00e9 line");
    QCOMPARE(contents(logPath_), QByteArray("first \xc3\xa9 line\n"));
    QFile file(logPath_);
    QVERIFY(file.open(QIODevice::Append) && file.write("torn \x01\xff") == 7);
    file.close();
    Log second;
    second.log.append(QString());
    second.log.append("two\nphysical lines");
    QCOMPARE(contents(logPath_), QByteArray("first \xc3\xa9 line\ntorn \x01\xff\ntwo\nphysical lines\n"));
  }

  // Two uninstallers at once: each line arrives whole, whatever the order.
  void concurrentLogWritersNeverInterleaveInsideALine() {
    const QString lineA(3000, 'a'), lineB(3000, 'b');
    const auto write200 = [](const QString& line) {
      Log log;
      for (int i = 0; i < 200; ++i) log.log.append(line);
    };
    std::thread other(write200, lineB);
    write200(lineA);
    other.join();
    const QList<QByteArray> lines = contents(logPath_).split('\n');
    QCOMPARE(lines.size(), 401);
    QVERIFY(lines.last().isEmpty());
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
      QVERIFY2(lines[i] == lineA.toLatin1() || lines[i] == lineB.toLatin1(), "a line was torn");
  }

  // Whatever stands in the way (root ignores permission bits), the log stays
  // silent and changes nothing.
  void unwritableLogStaysSilent() {
    QVERIFY(QDir().mkpath(logPath_));  // a folder where the log should be
    Log log;
    log.log.append("lost");
    QVERIFY(QFileInfo(logPath_).isDir() && QDir(logPath_).isEmpty());
    QVERIFY(QDir(home_ + "/Library/Logs").removeRecursively());
    QFile file(home_ + "/Library/Logs");  // a file where the Logs folder should be
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("user data") == 9);
    file.close();
    log.log.write("lost too");
    QCOMPARE(contents(file.fileName()), QByteArray("user data"));
  }

  void logTimestampIsUtcToTheSecondWhateverTheZone() {
    const QDateTime before = QDateTime::currentDateTimeUtc();
    Log().log.write("Action report:");
    const QDateTime after = QDateTime::currentDateTimeUtc();
    const QString line = QString::fromUtf8(contents(logPath_));
    static const QRegularExpression shape("^\\[(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ)\\] Action report:\\n$");
    const QRegularExpressionMatch match = shape.match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    const QDateTime stamped = QDateTime::fromString(match.captured(1), Qt::ISODate);
    QVERIFY(stamped >= before.addMSecs(-before.time().msec()) && stamped <= after);
  }
};

QTEST_GUILESS_MAIN(CommandAndLogTest)
#include "tst_linux_command_and_log.moc"
