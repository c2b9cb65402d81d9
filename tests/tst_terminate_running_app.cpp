// Stopping the running app through the fake platform, whose clock moves only
// while the operation runs the event loop: exact wait boundaries, the moment
// the operation returns, and an instance that survives even the forced quit.
// Real processes: tst_running_apps_linux.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kApp = QStringLiteral("com.quvex.Talvoren.direct");
const QString kAsked = QStringLiteral("[OK] Asked Talvoren to quit.");
const QString kForced = QStringLiteral("[OK] Forced Talvoren to quit.");
const QString kStillRunning =
    QStringLiteral("[Needs attention] Talvoren is still running. Quit it manually if removal fails.");

// Instances "a", "b", ... in order: seconds until it quits when asked (never
// when empty), and whether even a forced quit leaves it running.
struct Instance {
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
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("elapsedMs");

    QTest::newRow("quits after 1 s: returns then, not after 3 s")
        << Instances{{1.0}} << "terminate a" << QStringList{kAsked} << 1000;
    QTest::newRow("exits exactly as the first wait ends: not forced")
        << Instances{{3.0}} << "terminate a" << QStringList{kAsked} << 3000;
    QTest::newRow("one quits, one refuses: all asked first, only the refusing one forced")
        << Instances{{0.0}, {std::nullopt}} << "terminate a, terminate b, force b" << QStringList{kAsked, kForced}
        << 3000;
    QTest::newRow("quits on its own during the second wait")
        << Instances{{4.5, true}} << "terminate a, force a" << QStringList{kAsked, kForced} << 4500;
    QTest::newRow("two survive both waits: one warning")
        << Instances{{std::nullopt, true}, {std::nullopt, true}} << "terminate a, terminate b, force a, force b"
        << QStringList{kAsked, kForced, kStillRunning} << 6000;
  }

  void outcomes() {
    QFETCH(Instances, instances);
    QFETCH(QString, calls);
    QFETCH(QStringList, lines);
    QFETCH(int, elapsedMs);

    FakePlatform platform;
    for (qsizetype i = 0; i < instances.size(); ++i) {
      auto application = platform.addApplication(kApp, QString(QLatin1Char('a' + char(i))));
      application->quitsAfterSeconds = instances[i].quitsAfterSeconds;
      application->survivesForce = instances[i].survivesForce;
    }
    UninstallerApp app(platform);
    Report report;
    const QDateTime start = platform.now;
    app.terminateRunningTalvoren(report);

    QCOMPARE(platform.journal, QStringList{QStringLiteral("list ") + kApp} + calls.split(QStringLiteral(", ")));
    QCOMPARE(report.lines, lines);
    QCOMPARE(report.hasFailure, lines.contains(kStillRunning));
    // Within one poll interval of the moment the outcome was settled.
    const qint64 elapsed = start.msecsTo(platform.now);
    QVERIFY2(elapsed >= elapsedMs && elapsed <= elapsedMs + 100, qPrintable(QString::number(elapsed)));
  }
};

QTEST_MAIN(TerminateRunningAppTest)
#include "tst_terminate_running_app.moc"
