// The four plans through the fake platform: which operations run, in which
// order, with which report lines, also when earlier steps fail.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QPushButton>
#include <QtTest>

namespace {

const QString kDirect = QStringLiteral("com.quvex.Talvoren.direct");
const QString kHelperId = QStringLiteral("com.quvex.Talvoren.direct.InputMethod");
const QString kLib = QStringLiteral("/Users/example/Library");
const QString kApp = QStringLiteral("/Applications/Talvoren.app");
const QString kSupport = kLib + QStringLiteral("/Application Support/Talvoren");
const QString kModels = kSupport + QStringLiteral("/Models");
const QString kHelper = kLib + QStringLiteral("/Input Methods/TalvorenInputMethod.app");
const QString kLogs = kLib + QStringLiteral("/Logs/Talvoren");
const QString kPrefs = kLib + QStringLiteral("/Preferences/com.quvex.Talvoren.direct.plist");
const QString kCache = kLib + QStringLiteral("/Caches/com.quvex.Talvoren.direct");
const QString kSaved = kLib + QStringLiteral("/Saved Application State/com.quvex.Talvoren.direct.savedState");

const QString kDomainDelete = QStringLiteral("/usr/bin/defaults delete com.quvex.Talvoren.direct");
const QStringList kPermissionRuns = {
    "run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.direct",
    "run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.direct",
    "run /usr/bin/tccutil reset Microphone com.quvex.Talvoren.dev",
    "run /usr/bin/tccutil reset Accessibility com.quvex.Talvoren.dev",
    "run /usr/bin/defaults read com.quvex.Talvoren.direct setupCompleted",
    "run /usr/bin/defaults delete com.quvex.Talvoren.direct setupCompleted"};
const QStringList kStopAndDisable = {"list com.quvex.Talvoren.direct", "terminate Talvoren", "select ABC",
                                     "disable Helper", "list com.quvex.Talvoren.direct.InputMethod"};
const QString kPermissionsOk =
    QStringLiteral("[OK] Permission categories were reset; unavailable categories were skipped by macOS.");

// Everything installed and every program willing: the app runs and quits
// when asked, the helper's input source is selected and enabled, and every
// command succeeds. `domainDeleteStatus` answers the preferences-domain
// delete, which may also remove the preferences file.
struct Installed {
  FakePlatform platform;
  int domainDeleteStatus = 0;
  bool domainDeleteRemovesFile = false;

  Installed() {
    for (const QString& folder : {kApp, kModels, kHelper, kLogs, kCache, kSaved}) platform.addDirectory(folder);
    platform.addFile(kPrefs);
    platform.addApplication(kDirect, QStringLiteral("Talvoren"));
    platform.inputSourcesById.insert(
        kHelperId, InputSourceList{std::make_shared<FakeInputSource>(QStringLiteral("Helper"), true, true)});
    platform.commandHandler = [this](const QString& program, const QStringList& arguments) {
      const QString command = program + QLatin1Char(' ') + arguments.join(QLatin1Char(' '));
      if (command != kDomainDelete) return CommandResult{0, {}};
      if (domainDeleteRemovesFile) platform.remove(kPrefs);
      return CommandResult{domainDeleteStatus, QStringLiteral("Domain com.quvex.Talvoren.direct does not exist")};
    };
  }
};

// The journal without the Finder fallback's script runs, which are checked
// on their own where they matter.
QStringList operations(const FakePlatform& platform) {
  QStringList lines = platform.journal;
  lines.removeIf([](const QString& line) { return line.startsWith(QStringLiteral("run /usr/bin/osascript")); });
  return lines;
}

// The plan that the button at `index` (layout order) should run.
Report planOfButton(UninstallerApp& app, int index) {
  switch (index) {
    case 0: return app.resetPermissionsPlan();
    case 1: return app.removeModelPlan();
    case 2: return app.removeAppOnlyPlan();
    default: return app.fullUninstallPlan();
  }
}

}  // namespace

class ActionPlansTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void resetPermissionsOnly() {
    Installed installed;
    UninstallerApp app(installed.platform);

    const Report report = app.resetPermissionsPlan();

    QCOMPARE(installed.platform.journal, kPermissionRuns);
    QCOMPARE(report.lines, (QStringList{"[Skipped] Install manifest: not found", kPermissionsOk,
                                        "[OK] First-run setup marker removed."}));
    QVERIFY(!report.hasFailure);
  }

  void removeAppOnly() {
    Installed installed;
    UninstallerApp app(installed.platform);

    const Report report = app.removeAppOnlyPlan();

    const QStringList expected = kStopAndDisable + QStringList{"trash " + kApp, "trash " + kHelper} + kPermissionRuns;
    QCOMPARE(installed.platform.journal, expected);
    QCOMPARE(report.lines,
             (QStringList{"[Skipped] Install manifest: not found", "[OK] Asked Talvoren to quit.",
                          "[OK] Keyboard helper input source disabled", "[OK] Talvoren app: moved to Trash",
                          "[OK] Keyboard helper: moved to Trash", kPermissionsOk,
                          "[OK] First-run setup marker removed."}));
    // The model and the user's data stay.
    QVERIFY(installed.platform.fileExists(kModels));
    QVERIFY(installed.platform.fileExists(kPrefs));
  }

  // Only the summary and the removal itself: no app stopped, no input
  // source touched, no permission reset.
  void removeModel() {
    Installed installed;
    UninstallerApp app(installed.platform);

    const Report report = app.removeModelPlan();

    QCOMPARE(installed.platform.journal, QStringList{"trash " + kModels});
    QCOMPARE(report.lines,
             (QStringList{"[Skipped] Install manifest: not found", "[OK] AI model files: moved to Trash"}));
  }

  void fullUninstall_data() {
    QTest::addColumn<int>("domainDeleteStatus");
    QTest::addColumn<bool>("domainDeleteRemovesFile");
    QTest::newRow("preferences file left behind") << 0 << false;
    QTest::newRow("preferences gone with the domain") << 0 << true;
    QTest::newRow("domain delete fails, file stays") << 1 << false;
    QTest::newRow("domain delete fails, file already gone") << 1 << true;
  }

  // The domain delete's answer never reaches the report; only whether the
  // preferences file still exists afterwards decides the preferences line.
  void fullUninstall() {
    QFETCH(int, domainDeleteStatus);
    QFETCH(bool, domainDeleteRemovesFile);
    Installed installed;
    installed.domainDeleteStatus = domainDeleteStatus;
    installed.domainDeleteRemovesFile = domainDeleteRemovesFile;
    UninstallerApp app(installed.platform);

    const Report report = app.fullUninstallPlan();

    const QStringList preferencesStep =
        domainDeleteRemovesFile ? QStringList{} : QStringList{"trash " + kPrefs};
    const QStringList expected =
        kStopAndDisable +
        QStringList{"trash " + kApp, "trash " + kSupport, "trash " + kHelper, "trash " + kLogs,
                    "run " + kDomainDelete} +
        preferencesStep + QStringList{"trash " + kCache, "trash " + kSaved} + kPermissionRuns;
    QCOMPARE(installed.platform.journal, expected);
    QCOMPARE(report.lines,
             (QStringList{"[Skipped] Install manifest: not found", "[OK] Asked Talvoren to quit.",
                          "[OK] Keyboard helper input source disabled", "[OK] Talvoren app: moved to Trash",
                          "[OK] Application Support folder: moved to Trash", "[OK] Keyboard helper: moved to Trash",
                          "[OK] Logs: moved to Trash",
                          domainDeleteRemovesFile ? "[OK] Preferences removed." : "[OK] Preferences: moved to Trash",
                          "[OK] Caches: moved to Trash", "[OK] Saved window state: moved to Trash", kPermissionsOk,
                          "[OK] First-run setup marker removed."}));
    QVERIFY(!report.hasFailure);
    // The uninstaller's own log sits beside the app's logs folder and stays.
    QVERIFY(installed.platform.fileExists(kLib + QStringLiteral("/Logs/Talvoren-Uninstaller.log")));
  }

  // Nothing cooperates: the app must be forced, the input source will not
  // disable, nothing moves to the Trash and no permission resets. Every step
  // still runs, in the same order, each reporting its own failure.
  void fullUninstallWhenEverythingFails() {
    Installed installed;
    FakePlatform& platform = installed.platform;
    platform.applications[kDirect].front()->quitsAfterSeconds = std::nullopt;
    platform.disableStatus = -50;
    platform.trashHandler = [](const QString&) { return TrashOutcome{false, QStringLiteral("Permission denied")}; };
    platform.commandHandler = [](const QString&, const QStringList&) {
      return CommandResult{1, QStringLiteral("refused")};
    };
    UninstallerApp app(platform);

    const Report report = app.fullUninstallPlan();

    const QStringList trashed = {kApp, kSupport, kHelper, kLogs};
    QStringList expected = {"list com.quvex.Talvoren.direct", "terminate Talvoren", "force Talvoren",
                            "select ABC", "disable Helper", "list com.quvex.Talvoren.direct.InputMethod"};
    for (const QString& path : trashed) expected << "trash " + path;
    expected << "run " + kDomainDelete << "trash " + kPrefs << "trash " + kCache << "trash " + kSaved
             << kPermissionRuns.mid(0, 5);  // the marker is not deleted when it cannot be read
    QCOMPARE(operations(platform), expected);
    QCOMPARE(platform.journalOf("run").filter("/usr/bin/osascript").size(), 7);  // one Finder try per item

    QVERIFY(report.hasFailure);
    const auto notMoved = [](const char* label) {
      return QStringLiteral("[Needs attention] ") + QLatin1String(label) +
             QStringLiteral(": could not be moved to Trash (refused)");
    };
    QCOMPARE(report.lines,
             (QStringList{"[Skipped] Install manifest: not found", "[OK] Asked Talvoren to quit.",
                          "[OK] Forced Talvoren to quit.",
                          "[Needs attention] Keyboard helper input source may remain listed until you log out",
                          notMoved("Talvoren app"), notMoved("Application Support folder"),
                          notMoved("Keyboard helper"), notMoved("Logs"), notMoved("Preferences"),
                          notMoved("Caches"), notMoved("Saved window state"),
                          "[Needs attention] macOS permissions: Microphone/com.quvex.Talvoren.direct: refused; "
                          "Accessibility/com.quvex.Talvoren.direct: refused; Microphone/com.quvex.Talvoren.dev: "
                          "refused; Accessibility/com.quvex.Talvoren.dev: refused",
                          "[Skipped] First-run setup marker: not found"}));
  }

  void buttonRunsItsPlan_data() {
    QTest::addColumn<int>("button");
    QTest::newRow("reset") << 0;
    QTest::newRow("remove model") << 1;
    QTest::newRow("remove app") << 2;
    QTest::newRow("full") << 3;
  }

  // A confirmed button runs the same plan as calling it directly, and its
  // report reaches the completion dialog.
  void buttonRunsItsPlan() {
    QFETCH(int, button);
    Installed direct;
    UninstallerApp directApp(direct.platform);
    const Report expected = planOfButton(directApp, button);

    Installed clicked;
    UninstallerApp app(clicked.platform);
    app.show();
    clicked.platform.journal.clear();
    clicked.platform.confirmAnswers = {true};
    app.buttons.at(std::size_t(button))->click();
    QTRY_COMPARE(clicked.platform.completions.size(), std::size_t(1));

    QStringList journal = clicked.platform.journal;
    QVERIFY(journal.first().startsWith(QStringLiteral("confirm ")));
    QCOMPARE(journal.last(), QStringLiteral("completion Done"));
    QCOMPARE(journal.mid(1, journal.size() - 2), direct.platform.journal);
    QVERIFY(clicked.platform.completions[0].informativeText.startsWith(expected.lines.join(QLatin1Char('\n'))));
  }
};

QTEST_MAIN(ActionPlansTest)
#include "tst_action_plans.moc"
