// Running applications on Linux with real processes: a small program copied
// into temporary ".app" bundles, started and stopped by the test itself.
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
constexpr uid_t kNobody = 65534;

QByteArray infoPlist(const QString& identifier) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n"
         "<key>CFBundleIdentifier</key><string>" +
         identifier.toUtf8() + "</string>\n</dict></plist>\n";
}

// Bundles in a temporary folder and the processes started from them; any still
// running are killed when the test ends.
class Fixtures {
 public:
  Fixtures() {
    // Readable by all, so that a process started as another user can run.
    QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                              QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    app = bundle(QStringLiteral("Talvoren.app"), infoPlist(kApp));
  }
  ~Fixtures() {
    for (auto& process : processes_) {
      process->kill();
      process->waitForFinished(5000);
    }
  }

  // "<name>/Contents/MacOS/Talvoren", with `plist` as its Info.plist unless empty.
  QString bundle(const QString& name, const QByteArray& plist) {
    const QString root = folder_.path() + QLatin1Char('/') + name;
    QDir().mkpath(root + QStringLiteral("/Contents/MacOS"));
    if (!plist.isEmpty()) {
      QFile file(root + QStringLiteral("/Contents/Info.plist"));
      if (!file.open(QIODevice::WriteOnly) || file.write(plist) != plist.size()) return {};
    }
    const QString executable = root + QStringLiteral("/Contents/MacOS/Talvoren");
    return QFile::copy(QStringLiteral(FAKE_TALVOREN), executable) ? executable : QString();
  }

  // Starts the program in `mode` ("quit", "ignore", "delay 1") and waits for
  // its "ready" line, so that its signal handling is in place.
  QProcess* start(const QString& mode, const QString& executable = {}, const QStringList& asUser = {}) {
    QStringList command;
    if (!asUser.isEmpty()) command << QStringLiteral("/usr/bin/setpriv") << asUser << QStringLiteral("--");
    command << (executable.isEmpty() ? app : executable) << mode.split(QLatin1Char(' '));
    auto process = std::make_unique<QProcess>();
    process->start(command.first(), command.mid(1));
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

// Besides ours, processes that must be neither listed nor signalled: other
// identifiers, no Info.plist, no ".app" folder, a nested bundle (only the
// innermost counts) and, as root, our very app run by another user.
// Malformed and binary property lists: running_apps_linux_plist.
std::vector<QProcess*> startStrangers(Fixtures& fixtures) {
  std::vector<QProcess*> strangers;
  const std::vector<std::pair<QString, QByteArray>> bundles = {
      {QStringLiteral("Other.app"), infoPlist(QStringLiteral("com.quvex.Talvoren.dev"))},
      {QStringLiteral("NoPlist.app"), QByteArray()},
      {QStringLiteral("NotABundle"), infoPlist(kApp)},
      {QStringLiteral("Talvoren.app/Contents/Helpers/Other.app"), infoPlist(QStringLiteral("com.example.other"))},
  };
  for (const auto& [name, plist] : bundles)
    strangers.push_back(fixtures.start(QStringLiteral("quit"), fixtures.bundle(name, plist)));
  if (::getuid() == 0) {
    strangers.push_back(fixtures.start(QStringLiteral("quit"), fixtures.app,
                                       {QStringLiteral("--reuid=%1").arg(kNobody),
                                        QStringLiteral("--regid=%1").arg(kNobody), QStringLiteral("--clear-groups")}));
  }
  return strangers;
}

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

    QTest::newRow("only strangers running")
        << QStringList{} << false << QStringList{QStringLiteral("[Skipped] Talvoren is not running.")} << 0 << 500;
    // The late instance also shows that the wait runs the event loop: the timer that starts it fires.
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
    const std::vector<QProcess*> strangers = startStrangers(fixtures);
    std::vector<QProcess*> processes;
    for (QProcess* stranger : strangers) QVERIFY(stranger);
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
    for (QProcess* stranger : strangers) QVERIFY(stillRunning(stranger));
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
