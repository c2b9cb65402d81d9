// Running applications on Linux, with real processes: a small program copied
// into temporary ".app" bundles, started and stopped by the test itself.
//
// Stopping the app signals every process of this user that carries its bundle
// identifier, so the suite re-runs itself in a PID namespace of its own: it
// sees only the processes it started, and never those of another suite that
// runs at the same time.
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
const QString kHelper = QStringLiteral("com.quvex.Talvoren.direct.InputMethod");
const QString kAsked = QStringLiteral("[OK] Asked Talvoren to quit.");
const QString kForced = QStringLiteral("[OK] Forced Talvoren to quit.");
constexpr uid_t kNobody = 65534;

QByteArray infoPlist(const QString& identifier) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n"
         "<key>CFBundleExecutable</key><string>Talvoren</string>\n"
         "<key>CFBundleIdentifier</key><string>" +
         identifier.toUtf8() + "</string>\n</dict></plist>\n";
}

// Bundles in a temporary folder, and the processes started from them; every
// process still running is killed when the test ends.
class Fixtures {
 public:
  Fixtures() {
    // Readable by all, so that a process started as another user can run.
    QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                              QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
  }
  ~Fixtures() {
    for (auto& process : processes_) {
      process->kill();
      process->waitForFinished(5000);
    }
  }

  // Builds "<name>/Contents/MacOS/Talvoren", with `plist` as its Info.plist
  // unless that is empty; returns the executable's path.
  QString bundle(const QString& name, const QByteArray& plist) {
    const QString root = folder_.path() + QLatin1Char('/') + name;
    const QString executable = root + QStringLiteral("/Contents/MacOS/Talvoren");
    if (QFile::exists(executable)) return executable;
    QDir().mkpath(root + QStringLiteral("/Contents/MacOS"));
    if (!plist.isEmpty()) {
      QFile file(root + QStringLiteral("/Contents/Info.plist"));
      if (!file.open(QIODevice::WriteOnly) || file.write(plist) != plist.size()) return {};
    }
    return QFile::copy(QStringLiteral(FAKE_TALVOREN), executable) ? executable : QString();
  }
  QString app() { return bundle(QStringLiteral("Talvoren.app"), infoPlist(kApp)); }

  // Starts the program and waits until its signal handling is in place.
  QProcess* start(const QString& executable, const QStringList& arguments, const QStringList& asUser = {}) {
    auto process = std::make_unique<QProcess>();
    if (asUser.isEmpty()) {
      process->start(executable, arguments);
    } else {
      process->start(QStringLiteral("/usr/bin/setpriv"), asUser + QStringList{QStringLiteral("--"), executable} +
                                                             arguments);
    }
    while (!process->canReadLine())
      if (!process->waitForReadyRead(10000)) return nullptr;
    if (process->readLine() != "ready\n") return nullptr;
    processes_.push_back(std::move(process));
    return processes_.back().get();
  }

 private:
  QTemporaryDir folder_;
  std::vector<std::unique_ptr<QProcess>> processes_;
};

// QProcess notices an exit while the event loop runs, so a process may be
// known to have finished before the test asks.
bool finishes(QProcess* process, int milliseconds) {
  return process->state() == QProcess::NotRunning || process->waitForFinished(milliseconds);
}

bool stillRunning(QProcess* process) { return !finishes(process, 200); }

// Ended by its own reaction to the quit request, not by the forced quit.
bool quitOnItsOwn(QProcess* process) {
  return finishes(process, 5000) && process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
}

bool killed(QProcess* process) { return finishes(process, 5000) && process->exitStatus() == QProcess::CrashExit; }

}  // namespace

class RunningAppsLinuxTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void initTestCase() { QVERIFY(qEnvironmentVariableIsSet(kIsolatedMarker)); }

  // Only a process whose executable lies in a bundle naming the identifier
  // is listed; the handle reaches that process and no other.
  void listsOnlyProcessesOfBundlesWithTheIdentifier() {
    Fixtures fixtures;
    const QStringList ignore{QStringLiteral("ignore")};
    QProcess* ours = fixtures.start(fixtures.app(), {QStringLiteral("quit")});
    QVERIFY(ours);
    const std::vector<std::pair<QString, QByteArray>> strangers = {
        {QStringLiteral("Other.app"), infoPlist(QStringLiteral("com.quvex.Talvoren.dev"))},
        {QStringLiteral("Broken.app"), infoPlist(kApp).chopped(9)},
        {QStringLiteral("Binary.app"), QByteArray("bplist00") + infoPlist(kApp)},
        {QStringLiteral("NoPlist.app"), QByteArray()},
        {QStringLiteral("NotABundle"), infoPlist(kApp)},
    };
    std::vector<QProcess*> others;
    for (const auto& [name, plist] : strangers) {
      others.push_back(fixtures.start(fixtures.bundle(name, plist), ignore));
      QVERIFY2(others.back(), qPrintable(name));
    }
    // Inside a bundle only through the innermost one that has an Info.plist.
    others.push_back(fixtures.start(fixtures.bundle(QStringLiteral("Talvoren.app/Contents/Helpers/Other.app"),
                                                    infoPlist(QStringLiteral("com.example.other"))),
                                    ignore));
    QVERIFY(others.back());

    LinuxPlatform platform;
    const RunningApplicationList listed = platform.runningApplications(kApp);
    QCOMPARE(listed.size(), std::size_t{1});
    QVERIFY(!listed.front()->isTerminated());
    listed.front()->terminate();
    QVERIFY(quitOnItsOwn(ours));
    QVERIFY(listed.front()->isTerminated());
    for (QProcess* other : others) QVERIFY(stillRunning(other));
  }

  void processOfAnotherUserIsNeitherListedNorSignalled() {
    if (::getuid() != 0) QSKIP("needs root to start a process as another user");
    Fixtures fixtures;
    const QStringList asNobody{QStringLiteral("--reuid=%1").arg(kNobody), QStringLiteral("--regid=%1").arg(kNobody),
                               QStringLiteral("--clear-groups")};
    QProcess* theirs = fixtures.start(fixtures.app(), {QStringLiteral("quit")}, asNobody);
    QVERIFY(theirs);
    QProcess* ours = fixtures.start(fixtures.app(), {QStringLiteral("quit")});
    QVERIFY(ours);

    LinuxPlatform platform;
    QCOMPARE(platform.runningApplications(kApp).size(), std::size_t{1});
    UninstallerApp app(platform);
    Report report;
    app.terminateRunningTalvoren(report);
    QCOMPARE(report.lines, QStringList{kAsked});
    QVERIFY(quitOnItsOwn(ours));
    QVERIFY(stillRunning(theirs));
  }

  // A process that ends, and is reaped, between listing and signalling is no
  // error, and its handle reads as terminated.
  void vanishedProcessIsHarmless() {
    Fixtures fixtures;
    QProcess* process = fixtures.start(fixtures.app(), {QStringLiteral("ignore")});
    QVERIFY(process);
    LinuxPlatform platform;
    const RunningApplicationList listed = platform.runningApplications(kApp);
    QCOMPARE(listed.size(), std::size_t{1});
    process->kill();
    QVERIFY(process->waitForFinished(5000));
    listed.front()->terminate();
    listed.front()->forceTerminate();
    QVERIFY(listed.front()->isTerminated());
  }

  // A process that has exited but not been reaped yet has quit.
  void zombieCountsAsTerminated() {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    QVERIFY(child > 0);
    const std::unique_ptr<PidfdRunningApplication> handle = PidfdRunningApplication::open(child);
    QVERIFY(handle);
    QTRY_VERIFY_WITH_TIMEOUT(handle->isTerminated(), 5000);
    QFile stat(QStringLiteral("/proc/%1/stat").arg(child));
    QVERIFY(stat.open(QIODevice::ReadOnly));
    QVERIFY(stat.readAll().contains(") Z "));
    QCOMPARE(::waitpid(child, nullptr, 0), child);
  }

  void stopping_data() {
    QTest::addColumn<QStringList>("modes");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("minimumMs");
    QTest::addColumn<int>("maximumMs");

    QTest::newRow("not running") << QStringList{}
                                 << QStringList{QStringLiteral("[Skipped] Talvoren is not running.")} << 0 << 500;
    QTest::newRow("quits at once") << QStringList{QStringLiteral("quit")} << QStringList{kAsked} << 0 << 1500;
    QTest::newRow("quits after 1 s, well before the 3 s wait ends")
        << QStringList{QStringLiteral("delay 1")} << QStringList{kAsked} << 900 << 2500;
    QTest::newRow("one quits, one ignores the request")
        << QStringList{QStringLiteral("quit"), QStringLiteral("ignore")} << QStringList{kAsked, kForced} << 2900
        << 5500;
  }

  // Each "ignore" instance must end by the forced quit, every other one on
  // its own.
  void stopping() {
    QFETCH(QStringList, modes);
    QFETCH(QStringList, lines);
    QFETCH(int, minimumMs);
    QFETCH(int, maximumMs);

    Fixtures fixtures;
    std::vector<QProcess*> processes;
    for (const QString& mode : modes) {
      processes.push_back(fixtures.start(fixtures.app(), mode.split(QLatin1Char(' '))));
      QVERIFY(processes.back());
    }
    LinuxPlatform platform;
    UninstallerApp app(platform);
    Report report;
    QElapsedTimer clock;
    clock.start();
    app.terminateRunningTalvoren(report);
    const qint64 elapsed = clock.elapsed();

    QCOMPARE(report.lines, lines);
    QVERIFY2(elapsed >= minimumMs && elapsed <= maximumMs, qPrintable(QString::number(elapsed)));
    for (std::size_t i = 0; i < processes.size(); ++i) {
      if (modes[qsizetype(i)] == QLatin1String("ignore")) {
        QVERIFY(killed(processes[i]));
      } else {
        QVERIFY(quitOnItsOwn(processes[i]));
      }
    }
  }

  void instanceStartedDuringTheWaitIsLeftAlone() {
    Fixtures fixtures;
    QVERIFY(fixtures.start(fixtures.app(), {QStringLiteral("delay"), QStringLiteral("1")}));
    QProcess* late = nullptr;
    QTimer::singleShot(300, [&] { late = fixtures.start(fixtures.app(), {QStringLiteral("quit")}); });

    LinuxPlatform platform;
    UninstallerApp app(platform);
    Report report;
    app.terminateRunningTalvoren(report);

    QCOMPARE(report.lines, QStringList{kAsked});
    QVERIFY(late);
    QVERIFY(stillRunning(late));
  }

  // Linux has no input source for the keyboard helper, so the operation ends
  // before it would end the helper's process.
  void inputSourceDisablingLeavesTheHelperRunning() {
    Fixtures fixtures;
    QProcess* helper = fixtures.start(fixtures.bundle(QStringLiteral("TalvorenKeyboard.app"), infoPlist(kHelper)),
                                      {QStringLiteral("quit")});
    QVERIFY(helper);
    LinuxPlatform platform;
    QCOMPARE(platform.runningApplications(kHelper).size(), std::size_t{1});
    UninstallerApp app(platform);
    Report report;
    app.disableTalvorenInputSource(report);
    QVERIFY(report.lines.isEmpty());
    QVERIFY(stillRunning(helper));
  }
};

namespace {

// Runs this same program again, with its arguments, as the first process of
// a new PID namespace with a /proc of its own.
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
