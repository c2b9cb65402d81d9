// Manifest-driven removal on the fake platform: the fallback list alone, and
// what the end-to-end walk on real files does not show (one path in several
// spellings, several bundled runtimes). Each item's lines are tst_trash's.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const QString kManifest = "/Users/example/Library/Application Support/Talvoren/install-manifest.json";
const QString kApp = "/Applications/Talvoren.app";

// A manifest of components, each given as {id, removalGroup, kind, path}.
QByteArray manifestOf(const QList<QStringList>& components) {
  QJsonArray list;
  for (const QStringList& c : components)
    list.append(QJsonObject{{"id", c[0]}, {"removalGroup", c[1]}, {"kind", c[2]}, {"path", c[3]}, {"status", "ok"},
                            {"source", "pkg"}, {"installedByTalvoren", true}, {"details", QJsonObject{}}});
  return QJsonDocument(QJsonObject{{"components", list}}).toJson();
}

}  // namespace

class ManifestRemovalTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  // Every way of having no usable manifest leaves the fallback list alone
  // at work, silently (the manifest would name the app "Talvoren app").
  void fallbackAlone_data() {
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QSet<QString>>("groups");
    const QByteArray listsApp = manifestOf({{"app", "app", "app-bundle", "/Applications/./Talvoren.app"}});
    QTest::newRow("no group asked for") << listsApp << QSet<QString>{};
    QTest::newRow("one bad component") << QByteArray(listsApp).replace("\"status\"", "\"Status\"")
                                       << QSet<QString>{"app"};
    QTest::newRow("not JSON") << QByteArray("\xff\xfe{") << QSet<QString>{"app"};
  }
  void fallbackAlone() {
    QFETCH(QByteArray, manifest);
    QFETCH(QSet<QString>, groups);
    FakePlatform platform;
    platform.addDirectory(kApp);
    platform.addFile(kManifest, manifest);
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents(groups, {{kApp, "Fallback app"}, {"/Users/example/Library/Logs/Talvoren", "Logs"}},
                                 report);
    QCOMPARE(report.lines, QStringList({"[OK] Fallback app: moved to Trash", "[Skipped] Logs: not found"}));
  }

  // Relative, dotted and differently composed spellings of a path are one
  // path, handled once, deepest first; a fallback that the manifest handled
  // writes nothing; any number of bundled runtimes make one line.
  void eachPathOnceInAnySpelling() {
    FakePlatform platform;
    platform.home = "/Users/Ren\u00e9";
    platform.workingDirectory = "/Applications";
    const QString support = platform.home + "/Library/Application Support/Talvoren";
    const QString decomposedSupport = "/Users/Rene\u0301/Library/Application Support/Talvoren";
    platform.addFile(support + "/Models/base.bin");
    platform.addFile(support + "/install-manifest.json",
                     manifestOf({{"app", "app", "bundle", "Talvoren.app/"},
                                 {"rt", "app", "bundled-runtime", kApp + "/Contents/rt"},
                                 {"model:recommended", "model", "file", support + "/Models/base.bin"},
                                 {"again", "model", "file", decomposedSupport + "/Models/x/../base.bin"},
                                 {"rt2", "app", "bundled-runtime", kApp + "/Contents/rt2"},
                                 {"data", "app-data", "folder", decomposedSupport}}));
    UninstallerApp app(platform);
    Report report;
    app.removeManifestComponents({"app", "model"},
                                 {{kApp, "Fallback app"},
                                  {support + "/Models/./base.bin", "Fallback model"},
                                  {decomposedSupport, "Application Support folder"}},
                                 report);
    QCOMPARE(report.lines, QStringList({"[OK] AI model file: moved to Trash",
                                        "[Skipped] Bundled speech engine: removed with Talvoren.app",
                                        "[Skipped] Talvoren app: not found",
                                        // Not in a requested group, so the fallback still runs for it.
                                        "[Skipped] Application Support folder: not found"}));
    QCOMPARE(platform.journalOf("trash"), QStringList{"trash " + support + "/Models/base.bin"});
  }
};

QTEST_MAIN(ManifestRemovalTest)
#include "tst_manifest_removal.moc"
