// Strict decoding of the install manifest beside the lenient count that the
// summary makes of the same bytes.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kManifest =
    QStringLiteral("/Users/example/Library/Application Support/Talvoren/install-manifest.json");

// A valid component with some fields replaced by raw JSON, left out (an
// empty value) or added.
using Changes = QList<QPair<QByteArray, QByteArray>>;

QByteArray component(const Changes& changes = {}) {
  Changes fields = {{"id", R"("path:app")"},     {"kind", R"("app")"},
                    {"path", R"("/Applications/Talvoren.app")"},
                    {"status", R"("installed")"}, {"source", R"("dmg")"},
                    {"installedByTalvoren", "true"}, {"removalGroup", R"("app")"},
                    {"details", R"({"version": "2.1"})"}};
  for (const auto& [key, value] : changes) {
    auto same = std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return field.first == key; });
    if (same == fields.end()) fields.append({key, value});
    else same->second = value;
  }
  QByteArrayList members;
  for (const auto& [key, value] : fields)
    if (!value.isEmpty()) members.append("\"" + key + "\": " + value);
  return "{" + members.join(", ") + "}";
}

QByteArray manifestOf(const QByteArrayList& components) { return "{\"components\": [" + components.join(',') + "]}"; }

QByteArray without(const QByteArray& key) { return component({{key, {}}}); }

}  // namespace

class ManifestDecodingTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void decodingAndSummary_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("decoded");  // components, or -1 for a failure
    QTest::addColumn<QString>("summary");

    const QString bare = kManifest;
    auto counted = [](int n) { return QString::number(n) + QStringLiteral(" recorded components at ") + kManifest; };

    QTest::newRow("two good components") << manifestOf({component(), component()}) << 2 << counted(2);
    QTest::newRow("empty list") << QByteArray(R"({"components": []})") << 0 << counted(0);
    QTest::newRow("unknown keys ignored") << QByteArray(R"({"version": 3, "components": [)" +
                                                        component({{"extra", R"([1, {"x": null}])"}}) + "]}")
                                          << 1 << counted(1);
    QTest::newRow("details may be empty")
        << manifestOf({component({{"details", "{}"}})}) << 1 << counted(1);
    // One bad component spoils the whole manifest for removal, yet the
    // summary, which only counts objects, still sees all of them.
    QTest::newRow("one lacks details") << manifestOf({component(), without("details")}) << -1 << counted(2);
    QTest::newRow("one lacks status") << manifestOf({without("status"), component()}) << -1 << counted(2);
    QTest::newRow("one lacks source") << manifestOf({without("source")}) << -1 << counted(1);
    QTest::newRow("flag as text") << manifestOf({component({{"installedByTalvoren", R"("true")"}})}) << -1
                                  << counted(1);
    QTest::newRow("id as number") << manifestOf({component({{"id", "7"}})}) << -1 << counted(1);
    QTest::newRow("path null") << manifestOf({component({{"path", "null"}})}) << -1 << counted(1);
    QTest::newRow("nested details") << manifestOf({component({{"details", R"({"a": {"b": "c"}})"}})}) << -1
                                    << counted(1);
    QTest::newRow("details value a number") << manifestOf({component({{"details", R"({"a": 1})"}})}) << -1
                                            << counted(1);
    QTest::newRow("keys are case-sensitive") << manifestOf({component({{"kind", {}}, {"Kind", R"("app")"}})})
                                             << -1 << counted(1);
    QTest::newRow("a non-object element") << manifestOf({component(), "\"text\""}) << -1 << bare;
    QTest::newRow("components not an array") << QByteArray(R"({"components": {}})") << -1 << bare;
    QTest::newRow("no components key") << QByteArray(R"({"Components": []})") << -1 << bare;
    QTest::newRow("top-level array") << QByteArray("[" + component() + "]") << -1 << bare;
    QTest::newRow("empty file") << QByteArray() << -1 << bare;
    QTest::newRow("not JSON") << QByteArray("components: []") << -1 << bare;
    QTest::newRow("truncated") << manifestOf({component()}).chopped(2) << -1 << bare;
    QTest::newRow("invalid UTF-8 in a text") << manifestOf({component({{"id", "\"\xff\xfe\""}})}) << -1 << bare;
    QTest::newRow("byte order mark") << "\xef\xbb\xbf" + manifestOf({component()}) << 1 << counted(1);
    QTest::newRow("a long text") << manifestOf({component({{"path", '"' + QByteArray(8 << 20, 'x') + '"'}})}) << 1
                                 << counted(1);
    QTest::newRow("deep nesting") << QByteArray(R"({"components": [], "x": )") + QByteArray(100000, '[') << -1
                                  << bare;
  }
  void decodingAndSummary() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, decoded);
    QFETCH(QString, summary);

    const std::optional<InstallManifest> manifest = decodeInstallManifest(bytes);
    QCOMPARE(manifest ? int(manifest->components.size()) : -1, decoded);

    FakePlatform platform;
    platform.addFile(kManifest, bytes);
    UninstallerApp app(platform);
    QCOMPARE(app.manifestSummary(), summary);
  }

  void decodesEveryFieldInFileOrder() {
    const std::optional<InstallManifest> manifest = decodeInstallManifest(manifestOf(
        {component(), R"({"details": {"k": "v", "é": ""}, "removalGroup": "model", "installedByTalvoren": false,
           "source": "s", "status": "st", "path": "p", "kind": "k", "id": "second"})"}));
    QVERIFY(manifest);
    QCOMPARE(manifest->components.size(), size_t(2));
    const ManifestComponent& first = manifest->components[0];
    QCOMPARE(first.id, QStringLiteral("path:app"));
    QVERIFY(first.installedByTalvoren);
    QCOMPARE(first.details, (QMap<QString, QString>{{QStringLiteral("version"), QStringLiteral("2.1")}}));
    const ManifestComponent& second = manifest->components[1];
    QCOMPARE(QStringList({second.id, second.kind, second.path, second.status, second.source, second.removalGroup}),
             QStringList({"second", "k", "p", "st", "s", "model"}));
    QVERIFY(!second.installedByTalvoren);
    QCOMPARE(second.details.value(QStringLiteral("é")), QString(""));
  }

  void summaryOfMissingOrUnreadableFile() {
    FakePlatform platform;
    UninstallerApp app(platform);
    QCOMPARE(app.manifestSummary(), QStringLiteral("not found"));
    platform.addDirectory(kManifest);  // exists, but a folder cannot be read
    QCOMPARE(app.manifestSummary(), kManifest);
  }
};

QTEST_MAIN(ManifestDecodingTest)
#include "tst_manifest_decoding.moc"
