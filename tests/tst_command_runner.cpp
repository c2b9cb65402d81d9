// runCommand against real programs: shell scripts the tests write themselves.
#include "app/UninstallerApp.h"
#include "platform/linux/LinuxPlatform.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

class CommandRunnerTest : public QObject {
  Q_OBJECT

  QTemporaryDir folder_;
  LinuxPlatform platform_;

  QString script(const QString& name, const QByteArray& body, bool executable = true) {
    const QString path = folder_.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) qFatal("cannot write %s", qPrintable(path));
    file.write("#!/bin/sh\n" + body);
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | (executable ? QFile::ExeOwner : QFile::Permissions()));
    return path;
  }

  CommandResult run(const QString& program, const QStringList& arguments = {}) {
    UninstallerApp app(platform_);
    return app.runCommand(program, arguments);
  }

 private Q_SLOTS:
  // Every program run here inherits both.
  void initTestCase() {
    qputenv("TALVOREN_RUNNER_PROBE", "inherited");
    QVERIFY(QDir::setCurrent(folder_.path()));
  }

  void statusAndOutput_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("output");

    const QStringList none;
    QTest::newRow("silent success") << QByteArray("exit 0\n") << none << 0 << QString();
    QTest::newRow("stderr only") << QByteArray("echo oops >&2\nexit 3\n") << none << 3 << QStringLiteral("oops\n");
    QTest::newRow("both streams in the order written")
        << QByteArray("echo one\necho two >&2\necho three\necho four >&2\n") << none << 0
        << QStringLiteral("one\ntwo\nthree\nfour\n");
    QTest::newRow("UTF-8 text") << QByteArray("printf 'Gr\\303\\274\\303\\237e'\n") << none << 0
                                << QStringLiteral("Gr\u00fc\u00dfe");
    QTest::newRow("invalid UTF-8: no output, status kept") << QByteArray("printf 'ok \\377\\376'\nexit 5\n") << none
                                                            << 5 << QString();
    QTest::newRow("ended by a signal: its number")
        << QByteArray("echo before\nkill -TERM $$\nsleep 5\n") << none << SIGTERM << QStringLiteral("before\n");
    // Far beyond a pipe's 64 KiB, through both streams.
    QTest::newRow("8 MiB of output") << QByteArray("head -c 4194304 /dev/zero | tr '\\0' a\n"
                                                   "head -c 4194304 /dev/zero | tr '\\0' b >&2\n")
                                     << none << 0
                                     << QString(4 * 1024 * 1024, QLatin1Char('a')) +
                                            QString(4 * 1024 * 1024, QLatin1Char('b'));
    QTest::newRow("output of a child still running after the program ended")
        << QByteArray("echo a\n(sleep 1; echo b) &\nexit 0\n") << none << 0 << QStringLiteral("a\nb\n");
    QTest::newRow("arguments arrive one by one, no shell")
        << QByteArray("for a in \"$@\"; do printf '<%s>' \"$a\"; done\n")
        << QStringList{QStringLiteral("with spaces  inside"), QStringLiteral("quotes \"' and $HOME *"), QString()}
        << 0 << QStringLiteral("<with spaces  inside><quotes \"' and $HOME *><>");
    QTest::newRow("environment and working folder inherited")
        << QByteArray("printf '%s %s' \"$TALVOREN_RUNNER_PROBE\" \"$(pwd)\"\n") << none << 0
        << QStringLiteral("inherited ") + QDir(folder_.path()).canonicalPath();
  }
  void statusAndOutput() {
    QFETCH(QByteArray, body);
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, output);
    const CommandResult result = run(script(QStringLiteral("tool"), body), arguments);
    QCOMPARE(result.status, status);
    QCOMPARE(result.output, output);
  }

  void programsThatCannotStartGive127_data() {
    QTest::addColumn<QString>("program");
    QTest::newRow("missing") << folder_.filePath(QStringLiteral("no-such-tool"));
    QTest::newRow("directory") << folder_.path();
    QTest::newRow("not executable") << script(QStringLiteral("plain"), "exit 0\n", false);
  }
  void programsThatCannotStartGive127() {
    QFETCH(QString, program);
    const CommandResult result = run(program);
    QCOMPARE(result.status, 127);
    QVERIFY(!result.output.trimmed().isEmpty());
  }
};

QTEST_MAIN(CommandRunnerTest)
#include "tst_command_runner.moc"
