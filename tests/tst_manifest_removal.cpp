// Manifest-driven removal on the fake platform: which components are trashed,
// passed over or reported, in which order, and how the fallback list is
// taken over by the manifest.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const QString kHome = QStringLiteral("/Users/example");
const QString kSupport = kHome + QStringLiteral("/Library/Application Support/Talvoren");
const QString kManifest = kSupport + QStringLiteral("/install-manifest.json");
const QString kLogs = kHome + QStringLiteral("/Library/Logs/Talvoren");
const QString kInputMethod = kHome + QStringLiteral("/Library/Input Methods/TalvorenInputMethod.app");
const QString kApp = QStringLiteral("/Applications/Talvoren.app");

QJsonObject component(const QString& id, const QString& group, const QString& kind, const QString& path) {
  return QJsonObject{{"id", id},          {"kind", kind},   {"path", path},
                     {"status", "ok"},    {"source", "pkg"}, {"installedByTalvoren", true},
                     {"removalGroup", group}, {"details", QJsonObject{}}};
}

QByteArray manifestOf(const QJsonArray& components) {
  return QJsonDocument(QJsonObject{{"components", components}}).toJson();
}

const std::vector<ManifestFallback> kFallback = {{kApp, QStringLiteral("Talvoren app")},
                                                 {kSupport, QStringLiteral("Application Support folder")},
                                                 {kSupport + QStringLiteral("/Models"), QStringLiteral("AI model files")},
                                                 {kInputMethod, QStringLiteral("Keyboard helper")},
                                                 {kLogs, QStringLiteral("Logs")}};

const QSet<QString> kAllGroups = {"app", "model", "app-data", "installer-helper", "manifest", "speech-engine",
                                  "input-method"};

}  // namespace

class ManifestRemovalTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void fullSequence() {
    FakePlatform platform;
    platform.addFile(kSupport + "/Models/base.bin");
    platform.addFile(kSupport + "/engine/bin");
    platform.addFile(kApp + "/Contents/MacOS/Talvoren");
    platform.addFile(kInputMethod + "/Contents/Info.plist");
    platform.addFile(kManifest,
                     manifestOf({component("path:models-folder", "model", "folder", kSupport + "/Models"),
                                 component("model:recommended", "model", "file", kSupport + "/Models/base.bin"),
                                 component("app", "app", "app-bundle", kApp),
                                 component("rt1", "app", "bundled-runtime", kApp + "/Contents/Resources/runtime"),
                                 component("rt2", "app", "bundled-runtime", kApp + "/Contents/Resources/runtime2"),
                                 component("engine", "speech-engine", "formula", kSupport + "/engine"),
                                 component("brew", "app-data", "speech-engine", "/opt/homebrew/bin/whisper"),
                                 component("dup", "app-data", "file", kSupport + "/./Models/../Models/base.bin"),
                                 component("escape", "app-data", "folder", kSupport + "/../../Preferences"),
                                 component("unasked", "extra", "folder", kLogs),
                                 component("nowhere", "app-data", "folder", "")}));
    platform.addDirectory(kLogs);
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents(kAllGroups, kFallback, report);

    QCOMPARE(report.lines,
             QStringList({
                 "[OK] AI model file: moved to Trash",
                 "[OK] AI model folder: moved to Trash",
                 "[Skipped] Speech engine: external Homebrew component left untouched (" + kSupport + "/engine)",
                 "[Skipped] Bundled speech engine: removed with Talvoren.app",
                 "[Skipped] Application Support folder: outside Talvoren uninstall scope (/Users/example/Library/"
                 "Preferences)",
                 "[Skipped] Application Support folder: external Homebrew component left untouched "
                 "(/opt/homebrew/bin/whisper)",
                 "[OK] Talvoren app: moved to Trash",
                 "[OK] Application Support folder: moved to Trash",
                 "[OK] Keyboard helper: moved to Trash",
                 // A component of a group nobody asked for does not take the fallback's place.
                 "[OK] Logs: moved to Trash",
             }));
    QVERIFY(!report.hasFailure);
    QCOMPARE(platform.journalOf("trash"),
             QStringList({"trash " + kSupport + "/Models/base.bin", "trash " + kSupport + "/Models", "trash " + kApp,
                          "trash " + kSupport, "trash " + kInputMethod, "trash " + kLogs}));
  }

  // Every way of having no usable manifest leaves the fallback list alone
  // at work, silently.
  void fallbackAlone_data() {
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QSet<QString>>("groups");
    const QByteArray listsApp = manifestOf({component("app", "app", "app-bundle", "/Applications/./Talvoren.app")});
    QTest::newRow("no manifest") << QByteArray() << kAllGroups;
    QTest::newRow("no group asked for") << listsApp << QSet<QString>{};
    QTest::newRow("one bad component") << QByteArray(listsApp).replace("\"status\"", "\"Status\"") << kAllGroups;
    QTest::newRow("not JSON") << QByteArray("\xff\xfe{") << kAllGroups;
  }
  void fallbackAlone() {
    QFETCH(QByteArray, manifest);
    QFETCH(QSet<QString>, groups);
    FakePlatform platform;
    platform.addDirectory(kApp);
    if (!manifest.isEmpty()) platform.addFile(kManifest, manifest);
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents(groups, {{kApp, "Talvoren app"}, {kLogs, "Logs"}}, report);
    QCOMPARE(report.lines, QStringList({"[OK] Talvoren app: moved to Trash", "[Skipped] Logs: not found"}));
  }

  // The manifest names the fallback's locations in other spellings: the
  // manifest's line stands, and the fallback writes nothing for them.
  void manifestTakesOverFallbackInAnySpelling() {
    FakePlatform platform;
    platform.home = QStringLiteral("/Users/Ren\u00e9");
    platform.workingDirectory = QStringLiteral("/Applications");
    const QString decomposedSupport = QStringLiteral("/Users/Rene\u0301/Library/Application Support/Talvoren");
    platform.addFile(QStringLiteral("/Users/Ren\u00e9/Library/Application Support/Talvoren/install-manifest.json"),
                     manifestOf({component("app", "app", "bundle", "Talvoren.app/"),
                                 component("data", "app-data", "folder", decomposedSupport)}));
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents({"app"}, {{kApp, "Fallback app"}, {decomposedSupport, "Application Support folder"}},
                                 report);
    QCOMPARE(report.lines, QStringList({"[Skipped] Talvoren app: not found",
                                        // Not in a requested group, so the fallback still runs for it.
                                        "[Skipped] Application Support folder: not found"}));
  }

  void failuresDoNotStopTheWalk() {
    FakePlatform platform;
    platform.addFile(kSupport + "/a");
    platform.addFile(kSupport + "/b");
    platform.addFile(kManifest, manifestOf({component("a", "app-data", "file", kSupport + "/a"),
                                            component("b", "app-data", "file", kSupport + "/b")}));
    platform.trashHandler = [&](const QString& path) {
      if (path.endsWith("/a")) return TrashOutcome{false, "busy"};
      platform.remove(path);
      return TrashOutcome{true, {}};
    };
    platform.commandHandler = [](const QString&, const QStringList&) { return CommandResult{127, {}}; };
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents({"app-data"}, {}, report);
    QCOMPARE(report.lines, QStringList({"[Needs attention] Application Support folder: could not be moved to Trash (busy)",
                                        "[OK] Application Support folder: moved to Trash"}));
    QVERIFY(report.hasFailure);
  }
};

QTEST_MAIN(ManifestRemovalTest)
#include "tst_manifest_removal.moc"
