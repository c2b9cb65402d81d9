// Strict decoding of the install manifest beside the lenient count that the
// summary makes of the same bytes.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kManifest = "/Users/example/Library/Application Support/Talvoren/install-manifest.json";
const QByteArray kGood = R"({"id": "path:app", "kind": "app", "path": "/Applications/Talvoren.app",
    "status": "installed", "source": "dmg", "installedByTalvoren": true, "removalGroup": "app",
    "details": {"version": "2.1"}})";

// The good component with one piece of its text replaced.
QByteArray changed(const QByteArray& from, const QByteArray& to) {
  if (!kGood.contains(from)) qFatal("no %s in the good component", from.constData());
  return QByteArray(kGood).replace(from, to);
}

QByteArray manifestOf(const QByteArrayList& components) { return "{\"components\": [" + components.join(',') + "]}"; }

}  // namespace

class ManifestDecodingTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void decodingAndSummary_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("decoded");  // components, or -1 for a failure
    QTest::addColumn<QString>("summary");

    const QString bare = kManifest;
    auto counted = [](int n) { return QString::number(n) + " recorded components at " + kManifest; };

    QTest::newRow("two good components") << manifestOf({kGood, kGood}) << 2 << counted(2);
    QTest::newRow("empty list") << QByteArray(R"({"components": []})") << 0 << counted(0);
    QTest::newRow("unknown keys ignored")
        << R"({"version": 3, "components": [)" + changed(R"("kind")", R"("extra": [1, {"x": null}], "kind")") + "]}"
        << 1 << counted(1);
    QTest::newRow("byte order mark") << "\xef\xbb\xbf" + manifestOf({kGood}) << 1 << counted(1);
    QTest::newRow("a long text") << manifestOf({changed("/Applications", QByteArray(8 << 20, 'x'))}) << 1
                                 << counted(1);
    // One bad component spoils the whole manifest for removal, yet the
    // summary, which only counts objects, still sees all of them.
    QTest::newRow("one lacks details") << manifestOf({kGood, changed("\"details\"", "\"Details\"")}) << -1
                                       << counted(2);
    QTest::newRow("one lacks status") << manifestOf({changed("\"status\"", "\"Status\""), kGood}) << -1
                                      << counted(2);
    QTest::newRow("flag as text") << manifestOf({changed("true", R"("true")")}) << -1 << counted(1);
    QTest::newRow("id as number") << manifestOf({changed(R"("path:app")", "7")}) << -1 << counted(1);
    QTest::newRow("nested details") << manifestOf({changed(R"("2.1")", R"({"b": "c"})")}) << -1 << counted(1);
    // Without an array of objects there is nothing to count.
    QTest::newRow("a non-object element") << manifestOf({kGood, "\"text\""}) << -1 << bare;
    QTest::newRow("components not an array") << QByteArray(R"({"components": {}})") << -1 << bare;
    QTest::newRow("no components key") << QByteArray(R"({"Components": []})") << -1 << bare;
    QTest::newRow("top-level array") << "[" + kGood + "]" << -1 << bare;
    QTest::newRow("empty file") << QByteArray() << -1 << bare;
    QTest::newRow("truncated") << manifestOf({kGood}).chopped(2) << -1 << bare;
    QTest::newRow("invalid UTF-8 in a text") << manifestOf({changed("path:app", "\xff\xfe")}) << -1 << bare;
    QTest::newRow("deep nesting") << R"({"components": [], "x": )" + QByteArray(100000, '[') << -1 << bare;
    // Text that is not JSON spoils the manifest wherever it stands, even
    // where nothing is read.
    QTest::newRow("a tab inside details") << manifestOf({changed("2.1", "2\t1")}) << -1 << bare;
    QTest::newRow("a bad number nobody reads") << manifestOf({changed("\"kind\"", "\"x\": [2.e3], \"kind\"")}) << -1
                                               << bare;
    // What the JSON standard leaves open, as decided for this reader.
    QTest::newRow("lone surrogate") << manifestOf({changed("path:app", "\\udc00")}) << -1 << bare;
    QTest::newRow("integer beyond 64 bits") << manifestOf({changed("\"kind\"", "\"x\": 1234567890123456789012, \"kind\"")})
                                            << 1 << counted(1);
    QTest::newRow("number beyond a double") << manifestOf({changed("\"kind\"", "\"x\": -1e400, \"kind\"")}) << -1
                                            << bare;
    QTest::newRow("a field named twice") << manifestOf({changed("\"kind\"", "\"kind\": \"app\", \"kind\"")}) << -1
                                         << counted(1);
    QTest::newRow("components named twice") << R"({"components": [], "components": [)" + kGood + "]}" << -1 << bare;

    // The JSON conformance cases, each as the value of a key that the
    // manifest does not use: y_ texts are JSON, n_ texts are not.
    const QFileInfoList cases =
        QDir(QStringLiteral(TALVOREN_TEST_DATA "/json-conformance")).entryInfoList({"*.json"}, QDir::Files);
    QCOMPARE(cases.size(), 95 + 188);
    for (const QFileInfo& file : cases) {
      QFile text(file.filePath());
      QVERIFY(text.open(QIODevice::ReadOnly));
      const bool valid = file.fileName().startsWith("y_");
      QTest::newRow(qPrintable(file.fileName())) << R"({"components": [], "case": )" + text.readAll() + "}"
                                                 << (valid ? 0 : -1) << (valid ? counted(0) : bare);
    }
  }
  void decodingAndSummary() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, decoded);
    QFETCH(QString, summary);

    const std::optional<InstallManifest> manifest = decodeInstallManifest(bytes);
    QCOMPARE(manifest ? int(manifest->components.size()) : -1, decoded);
    FakePlatform platform;
    platform.addFile(kManifest, bytes);
    QCOMPARE(UninstallerApp(platform).manifestSummary(), summary);
  }

  void summaryOfMissingOrUnreadableFile() {
    FakePlatform platform;
    UninstallerApp app(platform);
    QCOMPARE(app.manifestSummary(), "not found");
    platform.addDirectory(kManifest);  // exists, but a folder cannot be read
    QCOMPARE(app.manifestSummary(), kManifest);
  }
};

QTEST_MAIN(ManifestDecodingTest)
#include "tst_manifest_decoding.moc"
