// The recording platform over the fake one: reads reach the system, changes
// are recorded in order and not made, and what was moved is gone to every
// later read; and the preview of an action built on it.
#include "actions/Preview.h"
#include "fakes/FakePlatform.h"

#include <QtTest>

class PreviewTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void recordsChangesAndMakesNone() {
    FakePlatform system;
    system.addFile("/Users/example/a/b/file", "x");
    system.addFile("/Users/example/ab", "y");
    auto app = system.addApplication("app.id", "App");
    app->quitsAfterSeconds = std::nullopt;
    app->pid = 4242;
    system.inputSourcesById.insert("source.id", InputSourceList{std::make_shared<FakePlatform::Source>("S", true, true)});
    system.commandHandler = [](const QString&, const QStringList&) { return CommandResult{3, "asked"}; };
    const auto filesBefore = system.files;
    RecordingPlatform recorder(system);

    QVERIFY(recorder.moveToTrash("/Users/example/a/", "A").moved);
    // Gone with everything below it, however the path is spelt; a sibling
    // that merely shares the prefix stays.
    QVERIFY(!recorder.fileExists("/Users/example/a") && !recorder.fileExists("/Users/example/a/b/file"));
    QVERIFY(!recorder.readFile("/Users/example/a/b/file"));
    QCOMPARE(recorder.readFile("/Users/example/ab"), std::optional<QByteArray>("y"));
    QVERIFY(recorder.createDirectories("/Users/example/new/") && recorder.fileExists("/Users/example/new"));
    QVERIFY(recorder.appendToFile(kFakeLogPath, "line\n") && recorder.writeFile("/Users/example/w", "w"));
    // A program that only asks runs; one that changes something does not.
    QCOMPARE(recorder.runProcess("/bin/ask", {"q"}, CommandEffect::OnlyAsks).output, QStringLiteral("asked"));
    const CommandResult changed = recorder.runProcess("/bin/change", {"c", "d"}, CommandEffect::ChangesSystem);
    QCOMPARE(changed.status, 0);
    QVERIFY(changed.output.isEmpty());
    // A wait takes no time, yet the clock moves on.
    const QDateTime start = recorder.currentTime();
    recorder.runEventLoop(3.0);
    QCOMPARE(start.msecsTo(recorder.currentTime()), 3000);
    QCOMPARE(system.now, QDateTime(QDate(2026, 11, 16), QTime(15, 54, 7), QTimeZone::utc()));
    // An app that would never quit counts as ended once asked.
    const RunningApplicationList running = recorder.runningApplications("app.id");
    QCOMPARE(running.size(), std::size_t(1));
    running[0]->terminate();
    QVERIFY(running[0]->isTerminated() && !app->isTerminated());
    running[0]->forceTerminate();
    const auto source = recorder.inputSources("source.id")->front();
    QCOMPARE(recorder.selectInputSource(source), 0);
    QCOMPARE(recorder.disableInputSource(source), 0);
    QVERIFY(source->isEnabled());

    QCOMPARE(system.files, filesBefore);
    QCOMPARE(system.journal, (QStringList{"run /bin/ask q", "list app.id"}));
    QCOMPARE(changeLines(recorder.changes()),
             (QStringList{"trash: /Users/example/a/ (A)", "run: /bin/change c d", "quit: pid 4242", "force-quit: pid 4242",
                          "select-input-source: S", "disable-input-source: S"}));
    QCOMPARE(recorder.changes().size(), std::size_t(9));
  }

  // Once stopped, the system reads as empty, so what still runs on it ends at
  // once; nothing more reaches the system.
  void aStoppedRecorderSeesNothing() {
    FakePlatform system;
    system.addFile("/Users/example/file", "x");
    system.addApplication("app.id", "App");
    system.inputSourcesById.insert("source.id", InputSourceList{});
    std::stop_source stop;
    RecordingPlatform recorder(system, stop.get_token());
    QVERIFY(recorder.fileExists("/Users/example/file"));
    stop.request_stop();
    QVERIFY(!recorder.fileExists("/Users/example/file") && !recorder.readFile("/Users/example/file"));
    QVERIFY(recorder.runningApplications("app.id").empty() && !recorder.inputSources("source.id"));
    QCOMPARE(recorder.runProcess("/bin/ask", {}, CommandEffect::OnlyAsks).status, 127);
    QCOMPARE(system.journal, QStringList{});
  }

  // The preview of the full uninstall on an installation where everything
  // succeeds names what the action then moves, in the same order, and says
  // in its details what goes, what stays and why, and the system steps.
  void previewOfAnActionIsItsPlan() {
    FakePlatform system;
    const QString support = "/Users/example/Library/Application Support/Talvoren";
    system.addFile(support + "/install-manifest.json", R"({"components": [
        {"id": "path:x", "kind": "folder", "path": "/opt/homebrew/engine", "status": "installed",
         "source": "brew", "installedByTalvoren": false, "removalGroup": "speech-engine", "details": {}},
        {"id": "path:y", "kind": "folder", "path": "/Users/example/Documents/mine", "status": "installed",
         "source": "app", "installedByTalvoren": true, "removalGroup": "app-data", "details": {}}]})");
    system.addFile(support + "/Models/model.bin");
    system.addFile("/Users/example/Library/Caches/com.quvex.Talvoren.direct/c");
    system.addApplication("com.quvex.Talvoren.direct", "Talvoren")->pid = 77;
    system.commandHandler = [](const QString&, const QStringList&) { return CommandResult{0, {}}; };
    const auto filesBefore = system.files;

    const ActionPreview preview = previewAction(system, definitionOf(Action::FullUninstall));
    QCOMPARE(system.files, filesBefore);
    QCOMPARE(system.journalOf("trash") + system.journalOf("terminate"), QStringList());

    Uninstaller real(system);
    const Report report = (real.*definitionOf(Action::FullUninstall).plan)();
    QStringList previewed;
    for (const QString& line : changeLines(preview.changes))
      if (line.startsWith("trash: ")) previewed << "trash " + line.mid(7).section(" (", 0, 0);
    QCOMPARE(previewed, system.journalOf("trash"));
    QCOMPARE(preview.report.lines, report.lines);

    const QStringList details = previewDetails(preview);
    QCOMPARE(details.first(), previewAssumption());
    QCOMPARE(details.mid(1, 4), (QStringList{"", "Will be moved to the Trash:",
                                             "  Application Support folder: " + support,
                                             "  Caches: /Users/example/Library/Caches/com.quvex.Talvoren.direct"}));
    QCOMPARE(details.mid(5, 4),
             (QStringList{"", "Will be left alone:",
                          "  Application Support folder: outside Talvoren uninstall scope "
                          "(/Users/example/Documents/mine)",
                          "  Speech engine: external Homebrew component left untouched (/opt/homebrew/engine)"}));
    QCOMPARE(details.mid(9, 4), (QStringList{"", "System steps:", "  Ask process 77 to quit",
                                             "  Run /usr/bin/defaults delete com.quvex.Talvoren.direct"}));
  }
};

QTEST_GUILESS_MAIN(PreviewTest)
#include "tst_preview.moc"
