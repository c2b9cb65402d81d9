// Manifest-driven removal on the fake platform: when the fallback list works
// alone, and how the manifest takes its locations over. The whole walk on real
// files is in tst_linux_trash.cpp.
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
const QString kApp = QStringLiteral("/Applications/Talvoren.app");

QJsonObject component(const QString& id, const QString& group, const QString& kind, const QString& path) {
  return QJsonObject{{"id", id},          {"kind", kind},   {"path", path},
                     {"status", "ok"},    {"source", "pkg"}, {"installedByTalvoren", true},
                     {"removalGroup", group}, {"details", QJsonObject{}}};
}

QByteArray manifestOf(const QJsonArray& components) {
  return QJsonDocument(QJsonObject{{"components", components}}).toJson();
}

const QSet<QString> kAllGroups = {"app", "model", "app-data", "installer-helper", "manifest", "speech-engine",
                                  "input-method"};

}  // namespace

class ManifestRemovalTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
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
};

QTEST_MAIN(ManifestRemovalTest)
#include "tst_manifest_removal.moc"
