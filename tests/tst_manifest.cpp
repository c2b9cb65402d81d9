// The install's locations, the manifest's paths (normalised form, safety rule,
// removal order) and its strict decoding beside the summary's lenient count.
#include "actions/Uninstaller.h"
#include "fakes/FakePlatform.h"
#include "manifest/ManifestJson.h"
#include "manifest/ManifestPath.h"
#include "base/TalvorenInstall.h"
#include "platform/linux/LinuxPlatform.h"
#include "support/Tables.h"

#include <pwd.h>
#include <unistd.h>

static const QString kManifest = "/Users/example/Library/Application Support/Talvoren/install-manifest.json";

class ManifestTest : public QObject {
  Q_OBJECT

  QByteArray savedHome_ = qgetenv("HOME");

 private Q_SLOTS:
  void cleanup() { qputenv("HOME", savedHome_); }

  void locations_data() { addTableRows("manifest", "locations"); }
  void locations() {
    QFETCH(QJsonObject, row);
    FakePlatform platform;
    platform.home = row["home"].toString();
    const TalvorenInstall install(platform);
    QCOMPARE(QStringList({install.home(), install.appSupportPath(), install.modelsPath(), install.manifestPath(),
                          install.logsPath(), install.uninstallerLogPath(), install.preferencesPath(),
                          install.cachePath(), install.savedStatePath(), install.inputMethodPath()}),
             stringsOf(row["paths"]));
  }

  // Neither a location computed before the home changes nor one first asked
  // for after it moves.
  void homeIsFixedOnFirstUse() {
    FakePlatform platform;
    const TalvorenInstall install(platform);
    const QString manifest = install.manifestPath();
    platform.home = "/Users/someone-else";
    QCOMPARE(install.manifestPath(), manifest);
    QCOMPARE(install.cachePath(), "/Users/example/Library/Caches/com.quvex.Talvoren.direct");
  }

  void linuxHome_data() { addTableRows("manifest", "linuxHome"); }
  void linuxHome() {
    QFETCH(QJsonObject, row);
    if (row["variable"].isNull()) qunsetenv("HOME");
    else qputenv("HOME", bytesOf(row["variable"]));
    QString expected = row["home"].toString();
    if (row["home"].isNull()) {
      expected = QFile::decodeName(::getpwuid(::getuid())->pw_dir);
      while (expected.size() > 1 && expected.endsWith(QLatin1Char('/'))) expected.chop(1);
    }
    QCOMPARE(LinuxPlatform().homeDirectory(), expected);
  }

  void normalise_data() { addTableRows("manifest", "normalise"); }
  void normalise() {
    QFETCH(QJsonObject, row);
    const ManifestPath result = normaliseManifestPath(row["path"].toString(), "/work/dir");
    QCOMPARE(result.path, row["normalised"].toString());
    QCOMPARE(result.depth, row["depth"].toInt());
    // A path in ASCII is normalised straight from its bytes, to the same.
    std::string fromBytes;
    const std::optional<int> depth = appendNormalisedAsciiPath(row["path"].toString().toStdString(), "/work/dir", fromBytes);
    if (depth) QCOMPARE(QString::fromStdString(fromBytes) + ' ' + QString::number(*depth), result.path + ' ' + QString::number(result.depth));
  }

  void safety_data() { addTableRows("manifest", "safety"); }
  void safety() {
    QFETCH(QJsonObject, row);
    const QString path = row["path"].toString();
    FakePlatform platform;
    platform.home = row["home"].toString("/Users/Ren\u00e9");
    Uninstaller app(platform);
    const QString normalised = normaliseManifestPath(path, platform.workingDirectory).path;
    QCOMPARE(app.isSafeManifestRemovalPath(path.isEmpty() || path.startsWith('/') ? normalised : path),
             row["safe"].toBool());
    QVERIFY(platform.journal.isEmpty());
  }

  void order_data() { addTableRows("manifest", "order"); }
  void order() {
    QFETCH(QJsonObject, row);
    const auto at = [](const QJsonValue& path) { ManifestComponent c; c.path = path.toString(); return c; };
    FakePlatform platform;
    Uninstaller app(platform);
    QCOMPARE(app.manifestRemovalOrder(at(row["a"]), at(row["b"])), row["aFirst"].toBool());
    QCOMPARE(app.manifestRemovalOrder(at(row["b"]), at(row["a"])), row["bFirst"].toBool());
  }

  // The JSON conformance cases come after the table, each as the value of a
  // key that the manifest does not use after a list of two components: y_
  // texts are JSON, n_ texts are not. Every row is also read in pieces cut
  // between any two components, which must give the same answers.
  void decoding_data() {
    addTableRows("manifest", "decoding");
    const QFileInfoList cases =
        QDir(QStringLiteral(TALVOREN_TEST_DATA "/json-conformance")).entryInfoList({"*.json"}, QDir::Files);
    QCOMPARE(cases.size(), 95 + 188);
    for (const QFileInfo& file : cases) {
      QFile text(file.filePath());
      QVERIFY(text.open(QIODevice::ReadOnly));
      const int valid = file.fileName().startsWith("y_") ? 2 : -1;
      const QString component = R"({"id": "c", "kind": "file", "path": "/p", "status": "installed", "source": "s",)"
                                R"( "installedByTalvoren": true, "removalGroup": "model", "details": {}})";
      QString bytes = R"({"components": [)" + component + ',' + component + R"(], "case": )";
      for (const char byte : text.readAll()) bytes += QString::asprintf("\\x%02x", uchar(byte));
      bytes += '}';
      QTest::newRow(qPrintable(file.fileName())) << QJsonObject{{"bytes", bytes}, {"decoded", valid}, {"counted", valid}};
    }
  }
  void decoding() {
    QFETCH(QJsonObject, row);
    const QByteArray bytes = bytesOf(row["bytes"]);
    const std::optional<InstallManifest> manifest = decodeInstallManifest(bytes);
    QCOMPARE(manifest ? int(manifest->components.size()) : -1, row["decoded"].toInt());
    // What an unusable manifest handed on before its fault was found is of
    // no account.
    const auto handedOver = [&bytes](size_t pieceBytes) {
      QStringList handed;
      const bool read = readManifestComponents(
          bytes, [&](const ComponentView& component) { handed << textOf(component.path); }, pieceBytes);
      return read ? handed : QStringList{"unusable"};
    };
    QCOMPARE(handedOver(/*pieceBytes=*/1), handedOver(kManifestPieceBytes));
    QCOMPARE(countManifestComponents(bytes, /*pieceBytes=*/1), countManifestComponents(bytes));
    FakePlatform platform;
    platform.addFile(kManifest, bytes);
    const int counted = row["counted"].toInt();
    QCOMPARE(Uninstaller(platform).manifestSummary(),
             counted < 0 ? kManifest : QString::number(counted) + " recorded components at " + kManifest);
  }
};

QTEST_GUILESS_MAIN(ManifestTest)
#include "tst_manifest.moc"
