// runCommand against real programs: scripts that the tests write themselves.
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

  QString script(const QString& name, const QByteArray& body) {
    const QString path = folder_.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) qFatal("cannot write %s", qPrintable(path));
    file.write("#!/bin/sh\n" + body);
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
  }

  CommandResult run(const QString& program, const QStringList& arguments = {}) {
    UninstallerApp app(platform_);
    return app.runCommand(program, arguments);
  }

 private Q_SLOTS:
  void outputOfBothStreamsArrivesInOrder_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("output");
    QTest::newRow("silent success") << QByteArray("exit 0\n") << 0 << QString();
    QTest::newRow("stderr only") << QByteArray("echo oops >&2\nexit 3\n") << 3 << QStringLiteral("oops\n");
    QTest::newRow("interleaved") << QByteArray("echo one\necho two >&2\necho three\necho four >&2\n") << 0
                                 << QStringLiteral("one\ntwo\nthree\nfour\n");
    QTest::newRow("non-ascii text") << QByteArray("printf 'Gr\\303\\274\\303\\237e'\n") << 0
                                    << QStringLiteral("Gr\u00fc\u00dfe");
    QTest::newRow("invalid utf-8 keeps status") << QByteArray("printf 'ok \\377\\376'\nexit 5\n") << 5 << QString();
  }
  void outputOfBothStreamsArrivesInOrder() {
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    QFETCH(QString, output);
    const CommandResult result = run(script(QStringLiteral("tool"), body));
    QCOMPARE(result.status, status);
    QCOMPARE(result.output, output);
  }

  void argumentsArriveOneByOneWithoutShell() {
    const QString tool = script(QStringLiteral("args"), "for a in \"$@\"; do printf '<%s>' \"$a\"; done\n");
    const CommandResult result =
        run(tool, {QStringLiteral("com.quvex.Talvoren.direct"), QStringLiteral("with spaces  inside"),
                   QStringLiteral("quotes \"' and $HOME *"), QString()});
    QCOMPARE(result.status, 0);
    QCOMPARE(result.output,
             QStringLiteral("<com.quvex.Talvoren.direct><with spaces  inside><quotes \"' and $HOME *><>"));
  }

  void programsThatCannotStartGive127_data() {
    QTest::addColumn<QString>("program");
    QTest::newRow("missing") << folder_.filePath(QStringLiteral("no-such-tool"));
    QTest::newRow("directory") << folder_.path();
    QTest::newRow("not executable") << QStringLiteral("NOT_EXECUTABLE");
  }
  void programsThatCannotStartGive127() {
    QFETCH(QString, program);
    if (program == QLatin1String("NOT_EXECUTABLE")) {
      program = script(QStringLiteral("plain"), "exit 0\n");
      QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner);
    }
    const CommandResult result = run(program);
    QCOMPARE(result.status, 127);
    QVERIFY(!result.output.trimmed().isEmpty());
  }

  void aSignalGivesItsNumber() {
    const CommandResult result = run(script(QStringLiteral("killed"), "echo before\nkill -TERM $$\nsleep 5\n"));
    QCOMPARE(result.status, SIGTERM);
    QCOMPARE(result.output, QStringLiteral("before\n"));
  }

  void outputLargerThanAPipeIsReadWhole() {
    // 8 MiB through both streams, far beyond a pipe's 64 KiB buffer.
    const CommandResult result = run(script(
        QStringLiteral("flood"), "head -c 4194304 /dev/zero | tr '\\0' a\nhead -c 4194304 /dev/zero | tr '\\0' b >&2\n"));
    QCOMPARE(result.status, 0);
    QCOMPARE(result.output.size(), 8 * 1024 * 1024);
    QCOMPARE(result.output.count(QLatin1Char('a')), 4 * 1024 * 1024);
    QVERIFY(result.output.endsWith(QLatin1Char('b')));
  }

  void environmentAndWorkingFolderAreInherited() {
    qputenv("TALVOREN_RUNNER_PROBE", "inherited");
    const QString tool = script(QStringLiteral("env"), "printf '%s %s' \"$TALVOREN_RUNNER_PROBE\" \"$(pwd)\"\n");
    const QString before = QDir::currentPath();
    QDir::setCurrent(folder_.path());
    const CommandResult result = run(tool);
    QDir::setCurrent(before);
    qunsetenv("TALVOREN_RUNNER_PROBE");
    QCOMPARE(result.output, QStringLiteral("inherited ") + QDir(folder_.path()).canonicalPath());
  }
};

QTEST_MAIN(CommandRunnerTest)
#include "tst_command_runner.moc"
