// The move to the Trash and its Finder fallback, on the fake platform, where
// the file manager's and the script's answers are chosen row by row.
#include "app/UninstallerApp.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

namespace {

const QString kItem = "/Users/example/Library/Caches/com.quvex.Talvoren.direct";
const QString kPrefix = "tell application \"Finder\" to delete POSIX file \"";

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

    const QString failed = "Caches: FileManager trash failed for " + kItem + ": Permission denied";
    QTest::newRow("absent") << false << true << Script::Removes << QString() << "[Skipped] Caches: not found"
                            << QStringList{"Caches: not found at " + kItem};
    QTest::newRow("file manager moves it") << true << true << Script::CannotStart << QString()
                                           << "[OK] Caches: moved to Trash"
                                           << QStringList{"Caches: moved to Trash from " + kItem};
    QTest::newRow("Finder moves it")
        << true << false << Script::Removes << "ignored output"
        << "[OK] Caches: moved to Trash (Finder Trash fallback used)"
        << QStringList{failed, "Caches: Finder Trash fallback used succeeded for " + kItem};
    QTest::newRow("script ran silently, item still there")
        << true << false << Script::LeavesItem << " \n"
        << "[Needs attention] Caches: could not be moved to Trash (Permission denied)" << QStringList{failed};
    QTest::newRow("script ran and talked, item still there")
        << true << false << Script::LeavesItem << "\n  Finder got an error: locked\n"
        << "[Needs attention] Caches: could not be moved to Trash (Finder got an error: locked)" << QStringList{failed};
    QTest::newRow("script failed with a message")
        << true << false << Script::CannotStart << "  execution error: -1743\n"
        << "[Needs attention] Caches: could not be moved to Trash (execution error: -1743)" << QStringList{failed};
  }
  void outcomes() {
    QFETCH(bool, exists);
    QFETCH(bool, fileManagerMoves);
    QFETCH(Script, script);
    QFETCH(QString, scriptOutput);
    QFETCH(QString, line);
    QFETCH(QStringList, log);

    FakePlatform platform;
    if (exists) platform.addFile(kItem + "/cache.db");
    platform.trashHandler = [&](const QString& path) {
      if (!fileManagerMoves) return TrashOutcome{false, "Permission denied"};
      platform.remove(path);
      return TrashOutcome{true, {}};
    };
    platform.commandHandler = [&](const QString&, const QStringList& arguments) {
      if (script == Script::Removes) platform.remove(arguments.value(1).mid(kPrefix.size()).chopped(1));
      return CommandResult{script == Script::CannotStart ? 1 : 0, scriptOutput};
    };
    UninstallerApp app(platform);
    Report report;
    report.ok("earlier");
    app.trash(kItem, "Caches", report);

    const bool failed = line.startsWith(QLatin1String("[Needs attention]"));
    QCOMPARE(report.lines, QStringList({"[OK] earlier", line}));
    QCOMPARE(report.hasFailure, failed);
    QCOMPARE(platform.fileExists(kItem), failed);
    QByteArray logged;
    for (const QString& entry : log) logged += "[2026-11-16T15:54:07Z] " + entry.toUtf8() + '\n';
    QCOMPARE(platform.files.value(kFakeLogPath), logged);
    // The fallback runs only after the file manager failed, and exactly once.
    QCOMPARE(platform.journalOf("run").size(), exists && !fileManagerMoves ? 1 : 0);
    QCOMPARE(platform.journalOf("trash").size(), exists ? 1 : 0);
  }

  // Backslashes are doubled before quotes are escaped, and nothing else is.
  void scriptEscaping_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("escaped");
    QTest::newRow("quote and backslash") << "/tmp/a\"b\\c" << "/tmp/a\\\"b\\\\c";
    QTest::newRow("backslash before quote") << "/tmp/\\\"" << "/tmp/\\\\\\\"";
    QTest::newRow("nothing else") << "/tmp/it's $HOME é\t" << "/tmp/it's $HOME é\t";
  }
  void scriptEscaping() {
    QFETCH(QString, path);
    QFETCH(QString, escaped);
    FakePlatform platform;
    platform.addFile(path);
    platform.trashHandler = [](const QString&) { return TrashOutcome{false, "no"}; };
    UninstallerApp app(platform);
    Report report;
    app.trash(path, "Item", report);
    QCOMPARE(platform.journalOf("run"), QStringList{"run /usr/bin/osascript -e " + kPrefix + escaped + '"'});
  }
};

QTEST_MAIN(TrashTest)
#include "tst_trash.moc"
