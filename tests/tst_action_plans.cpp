// The plans that stop the app, through the fake platform: which operations run
// and in which order, also when every step fails, and the full uninstall's
// preferences step both ways. Each button running its plan, and every plan's
// report block on a working system, are checked end to end (tests/e2e).
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kDirect = QStringLiteral("com.quvex.Talvoren.direct");
const QString kLib = QStringLiteral("/Users/example/Library");
const QString kApp = QStringLiteral("/Applications/Talvoren.app");
const QString kSupport = kLib + "/Application Support/Talvoren";
const QString kModels = kSupport + "/Models";
const QString kHelper = kLib + "/Input Methods/TalvorenInputMethod.app";
const QString kLogs = kLib + "/Logs/Talvoren";
const QString kPrefs = kLib + "/Preferences/com.quvex.Talvoren.direct.plist";
const QString kCache = kLib + "/Caches/com.quvex.Talvoren.direct";
const QString kSaved = kLib + "/Saved Application State/com.quvex.Talvoren.direct.savedState";
const QString kDomainDelete = QStringLiteral("/usr/bin/defaults delete com.quvex.Talvoren.direct");

const QStringList kPermissionRuns = {"run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.direct",
                                     "run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.direct",
                                     "run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.dev",
                                     "run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.dev",
                                     "run /usr/bin/defaults read com.quvex.Talvoren.direct setupCompleted"};
const QString kMarkerDelete = "run /usr/bin/defaults delete com.quvex.Talvoren.direct setupCompleted";
const QStringList kStopAndDisable = {"list com.quvex.Talvoren.direct", "terminate Talvoren", "select ABC",
                                     "disable Helper", "list com.quvex.Talvoren.direct.InputMethod"};

QStringList trashes(const QStringList& paths) {
  QStringList lines;
  for (const QString& path : paths) lines << "trash " + path;
  return lines;
}

// Everything installed and willing: the app quits when asked, the helper's
// input source is selected and enabled, and every command succeeds, except
// that the preferences-domain delete answers `domainStatus` and may take
// the preferences file with it.
void install(FakePlatform& platform, int domainStatus = 0, bool domainTakesFile = false) {
  for (const QString& folder : {kApp, kModels, kHelper, kLogs, kCache, kSaved}) platform.addDirectory(folder);
  platform.addFile(kPrefs);
  platform.addApplication(kDirect, "Talvoren");
  platform.inputSourcesById.insert(kDirect + ".InputMethod",
                                   InputSourceList{std::make_shared<FakeInputSource>("Helper", true, true)});
  platform.commandHandler = [&platform, domainStatus, domainTakesFile](const QString& program,
                                                                       const QStringList& arguments) {
    if (program + ' ' + arguments.join(' ') != kDomainDelete) return CommandResult{0, {}};
    if (domainTakesFile) platform.remove(kPrefs);
    return CommandResult{domainStatus, "Domain does not exist"};
  };
}

}  // namespace

class ActionPlansTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void planRunsItsStepsInOrder_data() {
    QTest::addColumn<bool>("full");  // else remove app only
    QTest::addColumn<int>("domainStatus");
    QTest::addColumn<bool>("domainTakesFile");
    QTest::addColumn<QStringList>("journal");
    QTest::addColumn<QStringList>("preferencesLines");

    // The input source goes before its helper is trashed.
    QTest::newRow("remove app") << false << 0 << false
                                << kStopAndDisable + trashes({kApp, kHelper}) + kPermissionRuns +
                                       QStringList{kMarkerDelete}
                                << QStringList{};

    // The domain delete's answer never reaches the report; only whether the
    // preferences file is still there afterwards decides its line.
    const QStringList beforePrefs = kStopAndDisable + trashes({kApp, kSupport, kHelper, kLogs}) +
                                    QStringList{"run " + kDomainDelete};
    const QStringList afterPrefs = trashes({kCache, kSaved}) + kPermissionRuns + QStringList{kMarkerDelete};
    for (int status : {0, 1}) {
      QTest::addRow("full, prefs left behind, domain status %d", status)
          << true << status << false << beforePrefs + trashes({kPrefs}) + afterPrefs
          << QStringList{"[OK] Preferences: moved to Trash"};
      QTest::addRow("full, prefs gone with the domain, status %d", status)
          << true << status << true << beforePrefs + afterPrefs << QStringList{"[OK] Preferences removed."};
    }
  }

  void planRunsItsStepsInOrder() {
    QFETCH(bool, full);
    QFETCH(int, domainStatus);
    QFETCH(bool, domainTakesFile);
    QFETCH(QStringList, journal);
    QFETCH(QStringList, preferencesLines);
    FakePlatform platform;
    install(platform, domainStatus, domainTakesFile);
    UninstallerApp app(platform);

    const Report report = full ? app.fullUninstallPlan() : app.removeAppOnlyPlan();

    QCOMPARE(platform.journal, journal);
    QCOMPARE(report.lines.filter("Preferences"), preferencesLines);
    QVERIFY(!report.hasFailure);
  }

  // Nothing cooperates: the app must be forced, the input source will not
  // disable, nothing moves to the Trash and no permission resets. Every step
  // still runs, in the same order, each reporting its own failure.
  void fullUninstallWhenEverythingFails() {
    FakePlatform platform;
    install(platform);
    platform.applications[kDirect].front()->quitsAfterSeconds = std::nullopt;
    platform.disableStatus = -50;
    platform.trashHandler = [](const QString&) { return TrashOutcome{false, "Permission denied"}; };
    platform.commandHandler = [](const QString&, const QStringList&) { return CommandResult{1, "refused"}; };
    UninstallerApp app(platform);

    const Report report = app.fullUninstallPlan();

    QStringList journal = platform.journal;
    QCOMPARE(journal.removeIf([](const QString& line) { return line.contains("/usr/bin/osascript"); }), 7);
    QStringList expected = kStopAndDisable;
    expected.insert(2, "force Talvoren");
    expected += trashes({kApp, kSupport, kHelper, kLogs}) + QStringList{"run " + kDomainDelete} +
                trashes({kPrefs, kCache, kSaved}) + kPermissionRuns;
    QCOMPARE(journal, expected);

    QStringList failed;
    for (const char* label : {"Talvoren app", "Application Support folder", "Keyboard helper", "Logs",
                              "Preferences", "Caches", "Saved window state"})
      failed << QStringLiteral("[Needs attention] %1: could not be moved to Trash (refused)").arg(label);
    const QStringList lines =
        QStringList{"[Skipped] Install manifest: not found", "[OK] Asked Talvoren to quit.", "[OK] Forced Talvoren to quit.",
                    "[Needs attention] Keyboard helper input source may remain listed until you log out"} +
        failed +
        QStringList{"[Needs attention] macOS permissions: Microphone/com.quvex.Talvoren.direct: refused; "
                    "Accessibility/com.quvex.Talvoren.direct: refused; Microphone/com.quvex.Talvoren.dev: "
                    "refused; Accessibility/com.quvex.Talvoren.dev: refused",
                    "[Skipped] First-run setup marker: not found"};
    QCOMPARE(report.lines, lines);
    QVERIFY(report.hasFailure);
  }
};

QTEST_MAIN(ActionPlansTest)
#include "tst_action_plans.moc"
