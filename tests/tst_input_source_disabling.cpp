// Disabling the keyboard helper's input source, through the fake platform's
// input sources; the journal shows select, disable and force in the order the
// operation asked for them.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kHelper = QStringLiteral("com.quvex.Talvoren.direct.InputMethod");
const QString kDisabled = QStringLiteral("[OK] Keyboard helper input source disabled");
const QString kMayRemain =
    QStringLiteral("[Needs attention] Keyboard helper input source may remain listed until you log out");
const QString kListHelper = QStringLiteral("list ") + kHelper;
const QString kForceHelper = QStringLiteral("force helper");

struct Source {
  QString name;
  bool selected;
  bool enabled;
};
// Nothing: the system returned no list at all.
using Sources = std::optional<QList<Source>>;

}  // namespace

Q_DECLARE_METATYPE(Sources)

class InputSourceDisablingTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void outcomes_data() {
    QTest::addColumn<Sources>("sources");
    QTest::addColumn<int>("disableStatus");
    QTest::addColumn<bool>("asciiSourceOffered");
    QTest::addColumn<QStringList>("journal");
    QTest::addColumn<QStringList>("lines");

    const QString selectAscii = QStringLiteral("select ABC");
    const QString disableFirst = QStringLiteral("disable first");
    QTest::newRow("not installed: no list") << Sources{} << 0 << true << QStringList{} << QStringList{};
    QTest::newRow("not installed: empty list") << Sources{QList<Source>{}} << 0 << true << QStringList{}
                                               << QStringList{};
    QTest::newRow("installed, disabled: process still ended")
        << Sources{{{QStringLiteral("first"), false, false}}} << 0 << true << QStringList{kListHelper, kForceHelper}
        << QStringList{};
    QTest::newRow("enabled and selected: switch, disable, end process")
        << Sources{{{QStringLiteral("first"), true, true}}} << 0 << true
        << QStringList{selectAscii, disableFirst, kListHelper, kForceHelper} << QStringList{kDisabled};
    QTest::newRow("enabled, not selected: no switch")
        << Sources{{{QStringLiteral("first"), false, true}}} << 0 << true
        << QStringList{disableFirst, kListHelper, kForceHelper} << QStringList{kDisabled};
    QTest::newRow("selected but disabled: switch only")
        << Sources{{{QStringLiteral("first"), true, false}}} << 0 << true
        << QStringList{selectAscii, kListHelper, kForceHelper} << QStringList{};
    QTest::newRow("disabling fails: warning, process still ended")
        << Sources{{{QStringLiteral("first"), false, true}}} << -50 << true
        << QStringList{disableFirst, kListHelper, kForceHelper} << QStringList{kMayRemain};
    QTest::newRow("two matches: only the first is acted on")
        << Sources{{{QStringLiteral("first"), true, true}, {QStringLiteral("second"), true, true}}} << 0 << true
        << QStringList{selectAscii, disableFirst, kListHelper, kForceHelper} << QStringList{kDisabled};
    QTest::newRow("selected with no ASCII-capable source: disabled without a switch")
        << Sources{{{QStringLiteral("first"), true, true}}} << 0 << false
        << QStringList{disableFirst, kListHelper, kForceHelper} << QStringList{kDisabled};
  }

  void outcomes() {
    QFETCH(Sources, sources);
    QFETCH(int, disableStatus);
    QFETCH(bool, asciiSourceOffered);
    QFETCH(QStringList, journal);
    QFETCH(QStringList, lines);

    FakePlatform platform;
    if (sources) {
      InputSourceList list;
      for (const Source& source : *sources)
        list.push_back(std::make_shared<FakeInputSource>(source.name, source.selected, source.enabled));
      platform.inputSourcesById.insert(kHelper, list);
    }
    platform.disableStatus = disableStatus;
    if (!asciiSourceOffered) platform.asciiSource = nullptr;
    auto helper = platform.addApplication(kHelper, QStringLiteral("helper"));
    helper->quitsAfterSeconds = std::nullopt;  // only a forced quit ends it
    UninstallerApp app(platform);
    Report report;
    app.disableTalvorenInputSource(report);

    QCOMPARE(platform.journal, journal);
    QCOMPARE(report.lines, lines);
    QCOMPARE(report.hasFailure, lines.contains(kMayRemain));
    QCOMPARE(helper->terminated, journal.contains(kForceHelper));
  }
};

QTEST_MAIN(InputSourceDisablingTest)
#include "tst_input_source_disabling.moc"
