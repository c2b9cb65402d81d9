// Running applications on Linux: which processes are taken for the dictation
// app, with real processes of a small program copied into a temporary ".app"
// bundle, and the identifier read from a bundle's Info.plist. How the stop
// asks, waits and forces is left to the operations and end-to-end suites.
//
// CTest runs this suite in a PID namespace of its own: stopping the app
// signals every process of this user with its identifier, and must never
// reach those of a suite running at the same time.
#include "actions/Uninstaller.h"
#include "platform/linux/InfoPlist.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/PidfdRunningApplication.h"
#include "support/Tables.h"

#include <QProcess>
#include <QTemporaryDir>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// A "Talvoren.app" bundle in a temporary folder, its Info.plist padded with
// spaces to `plistSize` bytes, and the processes started from it; any still
// running are killed when the test ends.
class Fixtures {
 public:
  explicit Fixtures(qsizetype plistSize = 0) {
    // Readable by all, so that a process started as another user can run.
    QFile::setPermissions(folder_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                                              QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    const QString contents = folder_.path() + QStringLiteral("/Talvoren.app/Contents");
    QDir().mkpath(contents + QStringLiteral("/MacOS"));
    QFile plist(contents + QStringLiteral("/Info.plist"));
    if (!plist.open(QIODevice::WriteOnly)) return;
    const QByteArray text = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                            "<string>com.quvex.Talvoren.direct</string></dict></plist>\n";
    plist.write(text + QByteArray(std::max(plistSize - text.size(), qsizetype(0)), ' '));
    if (QFile::copy(QStringLiteral(FAKE_TALVOREN), contents + QStringLiteral("/MacOS/Talvoren")))
      app_ = contents + QStringLiteral("/MacOS/Talvoren");
  }
  ~Fixtures() {
    for (auto& process : processes_) {
      process->kill();
      process->waitForFinished(5000);
    }
  }

  // Starts the app in `mode` ("quit", "ignore"), through `prefix` (such as
  // setpriv's change of user) when given, and waits for its "ready" line,
  // so that its signal handling is in place.
  QProcess* start(const QString& mode, QStringList prefix = {}) {
    auto process = std::make_unique<QProcess>();
    prefix << app_ << mode;
    process->start(prefix.takeFirst(), prefix);
    while (!process->canReadLine())
      if (!process->waitForReadyRead(10000)) return nullptr;
    if (process->readLine() != "ready\n") return nullptr;
    processes_.push_back(std::move(process));
    return processes_.back().get();
  }

 private:
  QTemporaryDir folder_;
  QString app_;
  std::vector<std::unique_ptr<QProcess>> processes_;
};

// QProcess may already have noticed the exit while the event loop ran.
bool finishes(QProcess* process, int milliseconds) {
  return process->state() == QProcess::NotRunning || process->waitForFinished(milliseconds);
}

}  // namespace

class RunningAppsLinuxTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  // Anything but a clean XML property list naming the key at its top level
  // gives nothing, so that process is never taken for the dictation app.
  void bundleIdentifier_data() { addTableRows("info-plist", "identifier"); }
  void bundleIdentifier() {
    QFETCH(QJsonObject, row);
    const std::optional<QString> expected =
        row["identifier"].isNull() ? std::nullopt : std::optional(row["identifier"].toString());
    QCOMPARE(infoPlistString(bytesOf(row["contents"]), QStringLiteral("CFBundleIdentifier")), expected);
  }

  // Which processes are the app: one whose first thread has ended while
  // another works on is; one whose Info.plist is over the read limit is not.
  void whichProcessesAreTheApp_data() { addTableRows("info-plist", "running"); }
  void whichProcessesAreTheApp() {
    QFETCH(QJsonObject, row);
    Fixtures fixtures(row["plistSize"].toInteger());
    QVERIFY(fixtures.start(row["mode"].toString()));
    LinuxPlatform platform;
    QCOMPARE(qsizetype(platform.runningApplications("com.quvex.Talvoren.direct").size()), row["count"].toInteger());
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

  // Every instance running when the stop begins is asked, and only the one
  // that ignores the request is killed. One started during the wait, and one
  // of another user (which root could signal), are left alone.
  void stoppingReachesTheInstancesOfThisUserThatWereRunning() {
    QVERIFY2(::getuid() == 0, "needs root, to start an instance as another user");
    Fixtures fixtures;
    QProcess* stranger = fixtures.start("quit", {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    QProcess* quits = fixtures.start("quit");
    QProcess* ignores = fixtures.start("ignore");
    QVERIFY(stranger && quits && ignores);
    QProcess* late = nullptr;
    // Fires only if the wait runs the event loop.
    QTimer::singleShot(300, [&] { late = fixtures.start("quit"); });
    LinuxPlatform platform;
    Uninstaller app(platform);
    Report report;
    app.terminateRunningTalvoren(report);

    QCOMPARE(report.lines, QStringList({"[OK] Asked Talvoren to quit.", "[OK] Forced Talvoren to quit."}));
    QVERIFY(finishes(quits, 5000) && quits->exitStatus() == QProcess::NormalExit);
    QVERIFY(finishes(ignores, 5000) && ignores->exitStatus() == QProcess::CrashExit);
    QVERIFY(late && !finishes(late, 200));
    QVERIFY(!finishes(stranger, 200));
  }
};

QTEST_GUILESS_MAIN(RunningAppsLinuxTest)
#include "tst_running_apps_linux.moc"
