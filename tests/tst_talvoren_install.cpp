// The install locations, computed from the home that the platform reports.
#include "fakes/FakePlatform.h"
#include "manifest/TalvorenInstall.h"
#include "platform/linux/LinuxPlatform.h"

#include <QtTest>

#include <pwd.h>
#include <thread>
#include <unistd.h>


class TalvorenInstallTest : public QObject {
  Q_OBJECT

  QByteArray savedHome_;

 private Q_SLOTS:
  void initTestCase() { savedHome_ = qgetenv("HOME"); }
  void cleanup() { qputenv("HOME", savedHome_); }

  void everyLocationUnderAHomeWithSpacesAndAccents() {
    FakePlatform platform;
    platform.home = QStringLiteral("/Users/Zo\u00eb M\u00fcller Hern\u00e1ndez");
    TalvorenInstall install(platform);
    const QString home = platform.home;
    QCOMPARE(install.home(), home);
    QCOMPARE(install.appSupportPath(), home + "/Library/Application Support/Talvoren");
    QCOMPARE(install.modelsPath(), home + "/Library/Application Support/Talvoren/Models");
    QCOMPARE(install.manifestPath(), home + "/Library/Application Support/Talvoren/install-manifest.json");
    QCOMPARE(install.logsPath(), home + "/Library/Logs/Talvoren");
    QCOMPARE(install.uninstallerLogPath(), home + "/Library/Logs/Talvoren-Uninstaller.log");
    QCOMPARE(install.preferencesPath(), home + "/Library/Preferences/com.quvex.Talvoren.direct.plist");
    QCOMPARE(install.cachePath(), home + "/Library/Caches/com.quvex.Talvoren.direct");
    QCOMPARE(install.savedStatePath(),
             home + "/Library/Saved Application State/com.quvex.Talvoren.direct.savedState");
    QCOMPARE(install.inputMethodPath(), home + "/Library/Input Methods/TalvorenInputMethod.app");
  }

  void valuesAreFixedOnFirstUseWhateverTheOrder() {
    FakePlatform platform;
    TalvorenInstall manifestFirst(platform);
    const QString manifest = manifestFirst.manifestPath();
    platform.home = QStringLiteral("/Users/someone-else");
    // Already computed values do not move with the home...
    QCOMPARE(manifestFirst.manifestPath(), manifest);
    QCOMPARE(manifestFirst.appSupportPath(), QStringLiteral("/Users/example/Library/Application Support/Talvoren"));
    // ...and a location first asked for later still uses the home read first.
    QCOMPARE(manifestFirst.cachePath(), QStringLiteral("/Users/example/Library/Caches/com.quvex.Talvoren.direct"));
  }

  void concurrentFirstUseSeesOneValue() {
    FakePlatform platform;
    TalvorenInstall install(platform);
    std::vector<std::thread> threads;
    std::vector<const QString*> seen(8);
    for (std::size_t i = 0; i < seen.size(); ++i)
      threads.emplace_back([&, i] { seen[i] = &install.savedStatePath(); });
    for (auto& thread : threads) thread.join();
    for (const QString* value : seen) QCOMPARE(value, seen.front());
    QVERIFY(seen.front()->endsWith(QLatin1String(".savedState")));
  }

  void linuxHomeComesFromHomeVariableOrAccount_data() {
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<bool>("useAccount");
    QTest::addColumn<QString>("expected");
    QTest::newRow("absolute") << QByteArray("/tmp/h\xc3\xa9 me") << false << QStringLiteral("/tmp/h\u00e9 me");
    QTest::newRow("trailing slashes") << QByteArray("/tmp/home//") << false << QStringLiteral("/tmp/home");
    QTest::newRow("root") << QByteArray("/") << false << QStringLiteral("/");
    QTest::newRow("relative") << QByteArray("relative/home") << true << QString();
    QTest::newRow("empty") << QByteArray("") << true << QString();
    QTest::newRow("unset") << QByteArray() << true << QString();
  }
  void linuxHomeComesFromHomeVariableOrAccount() {
    QFETCH(QByteArray, variable);
    QFETCH(bool, useAccount);
    QFETCH(QString, expected);
    if (variable.isNull())
      qunsetenv("HOME");
    else
      qputenv("HOME", variable);
    if (useAccount) {
      expected = QFile::decodeName(::getpwuid(::getuid())->pw_dir);
      while (expected.size() > 1 && expected.endsWith(QLatin1Char('/'))) expected.chop(1);
    }
    LinuxPlatform platform;
    QCOMPARE(platform.homeDirectory(), expected);
  }
};

QTEST_MAIN(TalvorenInstallTest)
#include "tst_talvoren_install.moc"
