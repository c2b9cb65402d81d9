// Stopping the running app through the fake platform, whose clock moves only
// while the operation lets the event loop run: the waits' lengths, the moment
// the operation returns and an instance that survives even the forced quit
// can be set up exactly here. Real processes are stopped in
// tst_running_apps_linux.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kApp = QStringLiteral("com.quvex.Talvoren.direct");
const QString kAsked = QStringLiteral("[OK] Asked Talvoren to quit.");
const QString kForced = QStringLiteral("[OK] Forced Talvoren to quit.");
const QString kStillRunning =
    QStringLiteral("[Needs attention] Talvoren is still running. Quit it manually if removal fails.");

struct Instance {
  QString name;
  std::optional<double> quitsAfterSeconds;
  bool survivesForce = false;
};
using Instances = QList<Instance>;

}  // namespace

Q_DECLARE_METATYPE(Instances)

class TerminateRunningAppTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void outcomes_data() {
    QTest::addColumn<Instances>("instances");
    QTest::addColumn<QStringList>("journal");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("elapsedMs");

    const QString list = QStringLiteral("list ") + kApp;
    QTest::newRow("quits after 1 s, returns then and not after 3 s")
        << Instances{{QStringLiteral("a"), 1.0}} << QStringList{list, QStringLiteral("terminate a")}
        << QStringList{kAsked} << 1000;
    QTest::newRow("exits exactly as the first wait ends: not forced")
        << Instances{{QStringLiteral("a"), 3.0}} << QStringList{list, QStringLiteral("terminate a")}
        << QStringList{kAsked} << 3000;
    QTest::newRow("one quits, one refuses: only the refusing one is forced")
        << Instances{{QStringLiteral("a"), 0.0}, {QStringLiteral("b"), std::nullopt}}
        << QStringList{list, QStringLiteral("terminate a"), QStringLiteral("terminate b"), QStringLiteral("force b")}
        << QStringList{kAsked, kForced} << 3000;
    QTest::newRow("quits during the second wait on its own")
        << Instances{{QStringLiteral("a"), 4.5, true}}
        << QStringList{list, QStringLiteral("terminate a"), QStringLiteral("force a")} << QStringList{kAsked, kForced}
        << 4500;
    QTest::newRow("survives both waits: one warning for two survivors")
        << Instances{{QStringLiteral("a"), std::nullopt, true}, {QStringLiteral("b"), std::nullopt, true}}
        << QStringList{list, QStringLiteral("terminate a"), QStringLiteral("terminate b"), QStringLiteral("force a"),
                       QStringLiteral("force b")}
        << QStringList{kAsked, kForced, kStillRunning} << 6000;
  }

  void outcomes() {
    QFETCH(Instances, instances);
    QFETCH(QStringList, journal);
    QFETCH(QStringList, lines);
    QFETCH(int, elapsedMs);

    FakePlatform platform;
    for (const Instance& instance : instances) {
      auto application = platform.addApplication(kApp, instance.name);
      application->quitsAfterSeconds = instance.quitsAfterSeconds;
      application->survivesForce = instance.survivesForce;
    }
    UninstallerApp app(platform);
    Report report;
    const QDateTime start = platform.now;
    app.terminateRunningTalvoren(report);

    QCOMPARE(platform.journal, journal);
    QCOMPARE(report.lines, lines);
    QCOMPARE(report.hasFailure, lines.contains(kStillRunning));
    // Within one poll interval of the moment the outcome was settled.
    const qint64 elapsed = start.msecsTo(platform.now);
    QVERIFY2(elapsed >= elapsedMs && elapsed <= elapsedMs + 100, qPrintable(QString::number(elapsed)));
  }
};

QTEST_MAIN(TerminateRunningAppTest)
#include "tst_terminate_running_app.moc"
