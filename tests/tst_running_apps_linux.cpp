// Running applications on Linux with real processes: a small program copied
// into a temporary ".app" bundle, started and stopped by the test itself. What
// the end-to-end cases see (which processes count, asked or forced) is left to
// them; here: how long the stop waits, and what it sees during the wait.
//
// Stopping the app signals every process of this user with its identifier, so
// the suite re-runs itself in a PID namespace of its own and never sees the
// processes of a suite that runs at the same time.
#include "app/UninstallerApp.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/PidfdRunningApplication.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

const char kIsolatedMarker[] = "TALVOREN_TEST_OWN_PID_NAMESPACE";
const QString kApp = QStringLiteral("com.quvex.Talvoren.direct");
const QString kAsked = QStringLiteral("[OK] Asked Talvoren to quit.");
const QString kForced = QStringLiteral("[OK] Forced Talvoren to quit.");

// A "Talvoren.app" bundle in a temporary folder and the processes started
// from it; any still running are killed when the test ends.
class Fixtures {
 public:
  Fixtures() {
    // Readable by all, so that a process started as another user can run.
    QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                              QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    const QString contents = folder_.path() + QStringLiteral("/Talvoren.app/Contents");
    QDir().mkpath(contents + QStringLiteral("/MacOS"));
    QFile plist(contents + QStringLiteral("/Info.plist"));
    if (!plist.open(QIODevice::WriteOnly)) return;
    plist.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" +
                kApp.toUtf8() + "</string></dict></plist>\n");
    if (QFile::copy(QStringLiteral(FAKE_TALVOREN), contents + QStringLiteral("/MacOS/Talvoren")))
      app = contents + QStringLiteral("/MacOS/Talvoren");
  }
  ~Fixtures() {
    for (auto& process : processes_) {
      process->kill();
      process->waitForFinished(5000);
    }
  }

  // Starts the app in `mode` ("quit", "ignore", "delay 1"), as another user
  // when `asUser` holds setpriv's options, and waits for its "ready" line, so
  // that its signal handling is in place.
  QProcess* start(const QString& mode, const QStringList& asUser = {}) {
    auto process = std::make_unique<QProcess>();
    if (asUser.isEmpty()) process->start(app, mode.split(QLatin1Char(' ')));
    if (!asUser.isEmpty()) process->start(QStringLiteral("/usr/bin/setpriv"), asUser + QStringList{app, mode});
    while (!process->canReadLine())
      if (!process->waitForReadyRead(10000)) return nullptr;
    if (process->readLine() != "ready\n") return nullptr;
    processes_.push_back(std::move(process));
    return processes_.back().get();
  }

  QString app;

 private:
  QTemporaryDir folder_;
  std::vector<std::unique_ptr<QProcess>> processes_;
};

// QProcess may already have noticed the exit while the event loop ran.
bool finishes(QProcess* process, int milliseconds) {
  return process->state() == QProcess::NotRunning || process->waitForFinished(milliseconds);
}
bool stillRunning(QProcess* process) { return !finishes(process, 200); }

}  // namespace

class RunningAppsLinuxTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void initTestCase() {
    QVERIFY(qEnvironmentVariableIsSet(kIsolatedMarker));
    if (::getuid() != 0) qWarning("not root: a process of another user is not tried");
  }

  // A zombie has exited; once reaped, signalling it is harmless, as for a
  // process that ends between listing and signalling.
  void endedProcessReadsAsTerminated() {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    QVERIFY(child > 0);
    const std::unique_ptr<PidfdRunningApplication> handle = PidfdRunningApplication::open(child);
    QVERIFY(handle);
    QTRY_VERIFY_WITH_TIMEOUT(handle->isTerminated(), 5000);
    QCOMPARE(::waitpid(child, nullptr, 0), child);  // so it was a zombie, not yet reaped
    handle->terminate();
    handle->forceTerminate();
    QVERIFY(handle->isTerminated());
  }

  void stopping_data() {
    QTest::addColumn<QStringList>("modes");
    QTest::addColumn<bool>("startOneDuringTheWait");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("minimumMs");
    QTest::addColumn<int>("maximumMs");

    // The late instance also shows that the wait runs the event loop: the timer that starts it fires.
    // Root could signal another user's instance; it is left alone all the same.
    QTest::newRow("only another user's instance running")
        << QStringList{} << false << QStringList{QStringLiteral("[Skipped] Talvoren is not running.")} << 0 << 500;
    QTest::newRow("quits after 1 s: returns well before the 3 s wait ends, one started meanwhile left alone")
        << QStringList{QStringLiteral("delay 1")} << true << QStringList{kAsked} << 900 << 2500;
    QTest::newRow("one quits, one ignores: only that one is forced")
        << QStringList{QStringLiteral("quit"), QStringLiteral("ignore")} << false << QStringList{kAsked, kForced}
        << 2900 << 5500;
  }

  void stopping() {
    QFETCH(QStringList, modes);
    QFETCH(bool, startOneDuringTheWait);
    QFETCH(QStringList, lines);
    QFETCH(int, minimumMs);
    QFETCH(int, maximumMs);

    Fixtures fixtures;
    QProcess* stranger = ::getuid() != 0 ? nullptr
                                         : fixtures.start(QStringLiteral("quit"), {QStringLiteral("--reuid=65534"),
                                                                                   QStringLiteral("--regid=65534"),
                                                                                   QStringLiteral("--clear-groups")});
    std::vector<QProcess*> processes;
    for (const QString& mode : modes) {
      processes.push_back(fixtures.start(mode));
      QVERIFY(processes.back());
    }
    QProcess* late = nullptr;
    if (startOneDuringTheWait)
      QTimer::singleShot(300, [&] { late = fixtures.start(QStringLiteral("quit")); });
    LinuxPlatform platform;
    UninstallerApp app(platform);
    Report report;
    QElapsedTimer clock;
    clock.start();
    app.terminateRunningTalvoren(report);
    const qint64 elapsed = clock.elapsed();

    QCOMPARE(report.lines, lines);
    QVERIFY2(elapsed >= minimumMs && elapsed <= maximumMs, qPrintable(QString::number(elapsed)));
    // Only an instance that ignores the request is killed; the others quit on their own.
    for (std::size_t i = 0; i < processes.size(); ++i) {
      QVERIFY(finishes(processes[i], 5000));
      QCOMPARE(processes[i]->exitStatus() == QProcess::CrashExit, modes[qsizetype(i)] == QLatin1String("ignore"));
    }
    if (startOneDuringTheWait) QVERIFY(late && stillRunning(late));
    if (stranger) QVERIFY(stillRunning(stranger));
  }
};

namespace {

// Runs this program again, with its arguments, as the first process of a new
// PID namespace with a /proc of its own.
int runInOwnPidNamespace(char** argv) {
  char self[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return 1;
  self[length] = '\0';
  std::vector<char*> arguments;
  for (const char* argument : {"bwrap", "--dev-bind", "/", "/", "--unshare-pid", "--proc", "/proc",
                               "--die-with-parent", "--setenv", kIsolatedMarker, "1", "--", static_cast<const char*>(self)})
    arguments.push_back(const_cast<char*>(argument));
  for (char** rest = argv + 1; *rest; ++rest) arguments.push_back(*rest);
  arguments.push_back(nullptr);
  ::execvp("bwrap", arguments.data());
  std::perror("bwrap (package bubblewrap) is needed to run this suite");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet(kIsolatedMarker)) return runInOwnPidNamespace(argv);
  QApplication application(argc, argv);
  RunningAppsLinuxTest test;
  return QTest::qExec(&test, argc, argv);
}

#include "tst_running_apps_linux.moc"
