// Disabling the keyboard helper's input source through the fake platform; the
// journal shows select, disable and force in the order the operation asked.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kHelper = QStringLiteral("com.quvex.Talvoren.direct.InputMethod");
const QString kDisabled = QStringLiteral("[OK] Keyboard helper input source disabled");
const QString kMayRemain =
    QStringLiteral("[Needs attention] Keyboard helper input source may remain listed until you log out");

// Sources "first", "second", ... in order; nothing: the system gave no list.
struct Source {
  bool selected;
  bool enabled;
};
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
    QTest::addColumn<QStringList>("calls");  // before the helper's process is listed and forced
    QTest::addColumn<QStringList>("lines");

    const QString select = QStringLiteral("select ABC");
    const QString disable = QStringLiteral("disable first");
    QTest::newRow("not installed: no list") << Sources{} << 0 << true << QStringList{} << QStringList{};
    QTest::newRow("not installed: empty list") << Sources{QList<Source>{}} << 0 << true << QStringList{}
                                               << QStringList{};
    QTest::newRow("installed, disabled: process still ended")
        << Sources{{{false, false}}} << 0 << true << QStringList{} << QStringList{};
    QTest::newRow("enabled and selected: switch, then disable")
        << Sources{{{true, true}}} << 0 << true << QStringList{select, disable} << QStringList{kDisabled};
    QTest::newRow("enabled, not selected: no switch")
        << Sources{{{false, true}}} << 0 << true << QStringList{disable} << QStringList{kDisabled};
    QTest::newRow("selected but disabled: switch only")
        << Sources{{{true, false}}} << 0 << true << QStringList{select} << QStringList{};
    QTest::newRow("disabling fails: warning") << Sources{{{false, true}}} << -50 << true << QStringList{disable}
                                              << QStringList{kMayRemain};
    QTest::newRow("two matches: only the first is acted on")
        << Sources{{{true, true}, {true, true}}} << 0 << true << QStringList{select, disable}
        << QStringList{kDisabled};
    QTest::newRow("selected, no ASCII-capable source: disabled without a switch")
        << Sources{{{true, true}}} << 0 << false << QStringList{disable} << QStringList{kDisabled};
  }

  void outcomes() {
    QFETCH(Sources, sources);
    QFETCH(int, disableStatus);
    QFETCH(bool, asciiSourceOffered);
    QFETCH(QStringList, calls);
    QFETCH(QStringList, lines);

    FakePlatform platform;
    if (sources) {
      InputSourceList list;
      const QStringList names{QStringLiteral("first"), QStringLiteral("second")};
      for (qsizetype i = 0; i < sources->size(); ++i)
        list.push_back(std::make_shared<FakeInputSource>(names[i], sources->at(i).selected, sources->at(i).enabled));
      platform.inputSourcesById.insert(kHelper, list);
    }
    platform.disableStatus = disableStatus;
    if (!asciiSourceOffered) platform.asciiSource = nullptr;
    auto helper = platform.addApplication(kHelper, QStringLiteral("helper"));
    helper->quitsAfterSeconds = std::nullopt;  // only a forced quit ends it
    UninstallerApp app(platform);
    Report report;
    app.disableTalvorenInputSource(report);

    // Once the source is found, the helper's process is ended whatever else happened.
    const bool installed = sources && !sources->isEmpty();
    if (installed) calls << QStringLiteral("list ") + kHelper << QStringLiteral("force helper");
    QCOMPARE(platform.journal, calls);
    QCOMPARE(report.lines, lines);
    QCOMPARE(report.hasFailure, lines.contains(kMayRemain));
    QCOMPARE(helper->terminated, installed);
  }
};

QTEST_MAIN(InputSourceDisablingTest)
#include "tst_input_source_disabling.moc"
