// The move to the Trash and its Finder fallback, on the fake platform, where
// the file manager's and the script's answers are chosen row by row.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kLog = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");
const QString kItem = QStringLiteral("/Users/example/Library/Caches/com.quvex.Talvoren.direct");
const QString kPrefix = QStringLiteral("tell application \"Finder\" to delete POSIX file \"");

QStringList logLines(const FakePlatform& platform) {
  QStringList lines = QString::fromUtf8(platform.files.value(kLog)).split(QLatin1Char('\n'));
  lines.removeLast();
  for (QString& line : lines) line.remove(0, 23);  // "[2026-11-16T15:54:07Z] "
  return lines;
}

// What the fake's script run does to the item.
enum class Script { Removes, LeavesItem, CannotStart };

}  // namespace

Q_DECLARE_METATYPE(Script)

class TrashTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void outcomes_data() {
    QTest::addColumn<bool>("exists");
    QTest::addColumn<bool>("fileManagerMoves");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("scriptOutput");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<bool>("gone");

    const QString failed = QStringLiteral("Caches: FileManager trash failed for ") + kItem +
                           QStringLiteral(": Permission denied");
    QTest::newRow("absent") << false << true << Script::Removes << QString()
                            << QStringLiteral("[Skipped] Caches: not found")
                            << QStringList{QStringLiteral("Caches: not found at ") + kItem} << true;
    QTest::newRow("file manager moves it")
        << true << true << Script::CannotStart << QString() << QStringLiteral("[OK] Caches: moved to Trash")
        << QStringList{QStringLiteral("Caches: moved to Trash from ") + kItem} << true;
    QTest::newRow("Finder moves it")
        << true << false << Script::Removes << QStringLiteral("ignored output")
        << QStringLiteral("[OK] Caches: moved to Trash (Finder Trash fallback used)")
        << QStringList{failed, QStringLiteral("Caches: Finder Trash fallback used succeeded for ") + kItem} << true;
    QTest::newRow("script ran silently, item still there")
        << true << false << Script::LeavesItem << QStringLiteral(" \n")
        << QStringLiteral("[Needs attention] Caches: could not be moved to Trash (Permission denied)")
        << QStringList{failed} << false;
    QTest::newRow("script ran and talked, item still there")
        << true << false << Script::LeavesItem << QStringLiteral("\n  Finder got an error: locked\n")
        << QStringLiteral("[Needs attention] Caches: could not be moved to Trash (Finder got an error: locked)")
        << QStringList{failed} << false;
    QTest::newRow("script failed with a message")
        << true << false << Script::CannotStart << QStringLiteral("  execution error: -1743\n")
        << QStringLiteral("[Needs attention] Caches: could not be moved to Trash (execution error: -1743)")
        << QStringList{failed} << false;
  }
  void outcomes() {
    QFETCH(bool, exists);
    QFETCH(bool, fileManagerMoves);
    QFETCH(Script, script);
    QFETCH(QString, scriptOutput);
    QFETCH(QString, line);
    QFETCH(QStringList, log);
    QFETCH(bool, gone);

    FakePlatform platform;
    if (exists) platform.addFile(kItem + QStringLiteral("/cache.db"));
    platform.trashHandler = [&](const QString& path) {
      if (!fileManagerMoves) return TrashOutcome{false, QStringLiteral("Permission denied")};
      platform.remove(path);
      return TrashOutcome{true, {}};
    };
    platform.commandHandler = [&](const QString&, const QStringList& arguments) {
      if (script == Script::Removes) platform.remove(arguments.value(1).mid(kPrefix.size()).chopped(1));
      return CommandResult{script == Script::CannotStart ? 1 : 0, scriptOutput};
    };
    UninstallerApp app(platform);
    Report report;
    report.ok(QStringLiteral("earlier"));
    app.trash(kItem, QStringLiteral("Caches"), report);

    QCOMPARE(report.lines, QStringList({QStringLiteral("[OK] earlier"), line}));
    QCOMPARE(report.hasFailure, line.startsWith(QLatin1String("[Needs attention]")));
    QCOMPARE(logLines(platform), log);
    QCOMPARE(platform.fileExists(kItem), !gone);
    // The fallback runs only after the file manager failed, and exactly once.
    const int expectedRuns = exists && !fileManagerMoves ? 1 : 0;
    QCOMPARE(platform.journalOf(QStringLiteral("run")).size(), expectedRuns);
    QCOMPARE(platform.journalOf(QStringLiteral("trash")).size(), exists ? 1 : 0);
  }

  void scriptEscapesBackslashesThenQuotes_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("escaped");
    QTest::newRow("plain") << QStringLiteral("/Applications/X.app") << QStringLiteral("/Applications/X.app");
    QTest::newRow("quote and backslash") << QStringLiteral("/tmp/a\"b\\c") << QStringLiteral("/tmp/a\\\"b\\\\c");
    QTest::newRow("backslash before quote") << QStringLiteral("/tmp/\\\"") << QStringLiteral("/tmp/\\\\\\\"");
    QTest::newRow("nothing else escaped") << QStringLiteral("/tmp/it's $HOME é\t")
                                          << QStringLiteral("/tmp/it's $HOME é\t");
  }
  void scriptEscapesBackslashesThenQuotes() {
    QFETCH(QString, path);
    QFETCH(QString, escaped);
    FakePlatform platform;
    platform.addFile(path);
    platform.trashHandler = [](const QString&) { return TrashOutcome{false, QStringLiteral("no")}; };
    QStringList seen;
    platform.commandHandler = [&](const QString& program, const QStringList& arguments) {
      seen = QStringList{program} + arguments;
      return CommandResult{127, QStringLiteral("launch failed")};
    };
    UninstallerApp app(platform);
    Report report;
    app.trash(path, QStringLiteral("Item"), report);
    QCOMPARE(seen, QStringList({QStringLiteral("/usr/bin/osascript"), QStringLiteral("-e"),
                                kPrefix + escaped + QLatin1Char('"')}));
    QCOMPARE(report.lines, QStringList{QStringLiteral("[Needs attention] Item: could not be moved to Trash (launch failed)")});
  }
};

QTEST_MAIN(TrashTest)
#include "tst_trash.moc"
