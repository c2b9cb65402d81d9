// The normalised form of manifest paths, the safety rule that judges them and
// the order in which components are handled. None of it touches a disk.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"
#include "manifest/ManifestPath.h"

#include <QtTest>

namespace {

// A home with a composed letter; some rows spell it decomposed.
const QString kHome = "/Users/Ren\u00e9";
const QString kSupport = kHome + "/Library/Application Support/Talvoren";
const QString kPrefs = kHome + "/Library/Preferences/com.quvex.Talvoren.direct.plist";
const QString kInputMethod = kHome + "/Library/Input Methods/TalvorenInputMethod.app";
const QString kComposedE = "\u00e9";
const QString kDecomposedE = "e\u0301";

ManifestComponent at(const QString& path) {
  ManifestComponent component;
  component.path = path;
  return component;
}

}  // namespace

class ManifestPathsTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void normalise_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("normalised");
    QTest::addColumn<int>("depth");
    QTest::newRow("root") << "/" << "/" << 0;
    QTest::newRow("empty stays empty") << "" << "" << 0;
    QTest::newRow("relative") << "Models/a.bin" << "/work/dir/Models/a.bin" << 4;
    QTest::newRow("dot parts") << "/a/./b/." << "/a/b" << 2;
    QTest::newRow("dot-dot") << "/a/b/../c" << "/a/c" << 2;
    QTest::newRow("dot-dot above root") << "/../../etc" << "/etc" << 1;
    QTest::newRow("trailing slashes") << "/a/b//" << "/a/b" << 2;
    QTest::newRow("doubled slash kept") << "/a//b" << "/a//b" << 2;
    QTest::newRow("dot-dot removes the empty part of a doubled slash") << "/a//../b" << "/a/b" << 2;
    QTest::newRow("dot-dot after doubled slash keeps the folder") << "/a/b//../c" << "/a/b/c" << 3;
    QTest::newRow("dot-dot-dot is a name") << "/a/.../b" << "/a/.../b" << 3;
    QTest::newRow("composition kept") << "/x/" + kDecomposedE + "/." << "/x/" + kDecomposedE << 2;
  }
  void normalise() {
    QFETCH(QString, path);
    QFETCH(QString, normalised);
    QFETCH(int, depth);
    const ManifestPath result = normaliseManifestPath(path, "/work/dir");
    QCOMPARE(result.path, normalised);
    QCOMPARE(result.depth, depth);
  }

  void safety_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("safe");
    QTest::newRow("support folder") << kSupport << true;
    QTest::newRow("inside support") << kSupport + "/Models/a.bin" << true;
    QTest::newRow("support with doubled slash inside") << kSupport + "//Models" << true;
    QTest::newRow("support -old sibling") << kSupport + "-old" << false;
    QTest::newRow("support, home decomposed") << "/Users/Rene\u0301/Library/Application Support/Talvoren/x" << true;
    QTest::newRow("support climbed out") << kSupport + "/../Other" << false;
    QTest::newRow("logs") << kHome + "/Library/Logs/Talvoren/today.log" << true;
    QTest::newRow("uninstaller's own log") << kHome + "/Library/Logs/Talvoren-Uninstaller.log" << false;
    QTest::newRow("caches") << kHome + "/Library/Caches/com.quvex.Talvoren.direct/x" << true;
    QTest::newRow("saved state") << kHome + "/Library/Saved Application State/com.quvex.Talvoren.direct.savedState"
                                 << true;
    QTest::newRow("preferences file") << kPrefs << true;
    QTest::newRow("inside preferences file") << kPrefs + "/x" << false;
    QTest::newRow("input method") << kInputMethod << true;
    QTest::newRow("inside input method") << kInputMethod + "/Contents/Info.plist" << false;
    QTest::newRow("system app") << "/Applications/Talvoren.app" << true;
    QTest::newRow("other Talvoren app") << "/Applications/Talvoren Beta.app" << true;
    QTest::newRow("inside system app") << "/Applications/Talvoren.app/Contents/MacOS/Talvoren" << true;
    QTest::newRow("app backup") << "/Applications/Talvoren.app.bak" << false;
    QTest::newRow("user's own Applications") << kHome + "/Applications/Talvoren.app" << false;
    QTest::newRow("app below a deeper Applications") << "/Volumes/X/Applications/Talvoren.app" << false;
    QTest::newRow("case differs") << "/applications/Talvoren.app" << false;
    QTest::newRow("root") << "/" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("relative") << "Applications/Talvoren.app" << false;
  }
  void safety() {
    QFETCH(QString, path);
    QFETCH(bool, safe);
    FakePlatform platform;
    platform.home = kHome;
    UninstallerApp app(platform);
    const QString normalised = normaliseManifestPath(path, platform.workingDirectory).path;
    QCOMPARE(app.isSafeManifestRemovalPath(path.isEmpty() || path.startsWith('/') ? normalised : path), safe);
    QVERIFY(platform.journal.isEmpty());
  }

  void order_data() {
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("aFirst");
    QTest::addColumn<bool>("bFirst");
    QTest::newRow("deeper first") << "/z/y/x" << "/a/b" << true << false;
    QTest::newRow("depth counts parts, not length") << "/a/b/c" << "/abcdefgh/ijklmnop" << true << false;
    QTest::newRow("same path") << "/a/b" << "/a/./b" << false << false;
    QTest::newRow("composition only") << "/" + kComposedE << "/" + kDecomposedE << false << false;
    QTest::newRow("doubled slash is not deeper") << "/a//b" << "/a/b" << true << false;
    QTest::newRow("case: upper before lower") << "/B" << "/a" << true << false;
    // U+1F600 is above every BMP letter, though its UTF-16 surrogates sort below U+FF21.
    QTest::newRow("scalar values, not UTF-16 units") << "/\uFF21" << "/\U0001F600" << true << false;
    QTest::newRow("composed before sorting") << "/" + kDecomposedE + "z" << "/" + kComposedE + "a" << false << true;
  }
  void order() {
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, aFirst);
    QFETCH(bool, bFirst);
    FakePlatform platform;
    UninstallerApp app(platform);
    QCOMPARE(app.manifestRemovalOrder(at(a), at(b)), aFirst);
    QCOMPARE(app.manifestRemovalOrder(at(b), at(a)), bFirst);
  }
};

QTEST_MAIN(ManifestPathsTest)
#include "tst_manifest_paths.moc"
