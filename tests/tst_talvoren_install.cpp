// The install locations, computed from the home that the platform reports.
#include "fakes/FakePlatform.h"
#include "manifest/TalvorenInstall.h"
#include "platform/linux/LinuxPlatform.h"

#include <QtTest>

#include <pwd.h>
#include <unistd.h>

class TalvorenInstallTest : public QObject {
  Q_OBJECT

  QByteArray savedHome_ = qgetenv("HOME");

 private Q_SLOTS:
  void cleanup() { qputenv("HOME", savedHome_); }

  // Plain concatenations: nothing in a home with spaces and accents is
  // escaped, normalised or resolved.
  void everyLocationUnderAHomeWithSpacesAndAccents() {
    FakePlatform platform;
    platform.home = "/Users/Zo\u00eb M\u00fcller Hern\u00e1ndez";
    const TalvorenInstall install(platform);
    const QString library = platform.home + "/Library";
    QCOMPARE(QStringList({install.home(), install.appSupportPath(), install.modelsPath(), install.manifestPath(),
                          install.logsPath(), install.uninstallerLogPath(), install.preferencesPath(),
                          install.cachePath(), install.savedStatePath(), install.inputMethodPath()}),
             QStringList({platform.home, library + "/Application Support/Talvoren",
                          library + "/Application Support/Talvoren/Models",
                          library + "/Application Support/Talvoren/install-manifest.json", library + "/Logs/Talvoren",
                          library + "/Logs/Talvoren-Uninstaller.log",
                          library + "/Preferences/com.quvex.Talvoren.direct.plist",
                          library + "/Caches/com.quvex.Talvoren.direct",
                          library + "/Saved Application State/com.quvex.Talvoren.direct.savedState",
                          library + "/Input Methods/TalvorenInputMethod.app"}));
  }

  // The home is read once: neither a computed location nor one first asked
  // for later moves when the home changes.
  void homeIsFixedOnFirstUse() {
    FakePlatform platform;
    const TalvorenInstall install(platform);
    const QString manifest = install.manifestPath();
    platform.home = "/Users/someone-else";
    QCOMPARE(install.manifestPath(), manifest);
    QCOMPARE(install.cachePath(), "/Users/example/Library/Caches/com.quvex.Talvoren.direct");
  }

  void linuxHomeComesFromHomeVariableOrAccount_data() {
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QString>("expected");  // empty: the account's home
    QTest::newRow("absolute") << QByteArray("/tmp/h\xc3\xa9 me") << "/tmp/h\u00e9 me";
    QTest::newRow("trailing slashes") << QByteArray("/tmp/home//") << "/tmp/home";
    QTest::newRow("root") << QByteArray("/") << "/";
    QTest::newRow("relative") << QByteArray("relative/home") << QString();
    QTest::newRow("empty") << QByteArray("") << QString();
    QTest::newRow("unset") << QByteArray() << QString();
  }
  void linuxHomeComesFromHomeVariableOrAccount() {
    QFETCH(QByteArray, variable);
    QFETCH(QString, expected);
    if (variable.isNull()) qunsetenv("HOME");
    else qputenv("HOME", variable);
    if (expected.isEmpty()) {
      expected = QFile::decodeName(::getpwuid(::getuid())->pw_dir);
      while (expected.size() > 1 && expected.endsWith(QLatin1Char('/'))) expected.chop(1);
    }
    QCOMPARE(LinuxPlatform().homeDirectory(), expected);
  }
};

QTEST_MAIN(TalvorenInstallTest)
#include "tst_talvoren_install.moc"
