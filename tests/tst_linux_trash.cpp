// The Linux move to the Trash on real files in a throwaway home, checked
// against the freedesktop.org Trash layout and against an independent tool
// (trash-cli). Other file systems are tmpfs mounts made inside this process's
// own mount namespace, so nothing is ever mounted on the host.
#include "app/UninstallerApp.h"
#include "platform/linux/LinuxPlatform.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool gIsolated = false;

ino_t inodeOf(const QString& path) {
  struct stat info {};
  return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

void makeFile(const QString& path, const QByteArray& contents = "x") {
  QVERIFY(QDir().mkpath(QFileInfo(path).path()));
  QFile file(path);
  QVERIFY(file.open(QIODevice::WriteOnly));
  file.write(contents);
}

QByteArray readAll(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool mountTmpfs(const QString& where) {
  return QDir().mkpath(where) && ::mount("tmpfs", QFile::encodeName(where).constData(), "tmpfs", 0, "mode=0755") == 0;
}

}  // namespace

class LinuxTrashTest : public QObject {
  Q_OBJECT

  QString home_ = QString::fromLocal8Bit(qgetenv("HOME"));
  QString dataHome_ = QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME"));
  QString trash_ = dataHome_ + QStringLiteral("/Trash");
  LinuxPlatform platform_;

  // Runs a trash-cli tool against our home, never the real one.
  QString runTrashCli(const QString& tool, const QStringList& arguments, const QByteArray& input = {}) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home_);
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome_);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home_);
    process.start(tool, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(30000)) return QStringLiteral("<timed out>");
    return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
  }

  QString infoOf(const QString& trash, const QString& name) {
    return QString::fromUtf8(readAll(trash + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo")));
  }

 private Q_SLOTS:
  void init() {
    QDir(home_).removeRecursively();
    QVERIFY(QDir().mkpath(home_));
  }

  // Nothing of the trash exists yet, not even the data folder above it.
  void homeTrashIsCreatedAndFilledByRenames() {
    const QString folder = home_ + QStringLiteral("/work/Models");
    makeFile(folder + QStringLiteral("/inner/model.bin"), "weights");
    const ino_t folderInode = inodeOf(folder);
    QVERIFY(!QFileInfo::exists(dataHome_));

    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    const TrashOutcome outcome = platform_.moveToTrash(folder);
    QVERIFY2(outcome.moved, qPrintable(outcome.error));
    QVERIFY(!QFileInfo::exists(folder));
    // The same inode: the folder was renamed as a whole, not copied.
    QCOMPARE(inodeOf(trash_ + QStringLiteral("/files/Models")), folderInode);
    QCOMPARE(readAll(trash_ + QStringLiteral("/files/Models/inner/model.bin")), QByteArray("weights"));

    const QRegularExpressionMatch info =
        QRegularExpression(QStringLiteral("^\\[Trash Info\\]\nPath=(.*)\nDeletionDate=(.*)\n$"))
            .match(infoOf(trash_, QStringLiteral("Models")));
    QVERIFY(info.hasMatch());
    QCOMPARE(info.captured(1), QString::fromLatin1(QUrl::toPercentEncoding(folder, "/")));
    const QDateTime deleted = QDateTime::fromString(info.captured(2), Qt::ISODate);
    QVERIFY(deleted >= before && deleted <= QDateTime::currentDateTime().addSecs(1));
  }

  void sameNameGetsAnotherName() {
    const QString file = home_ + QStringLiteral("/same.txt");
    QStringList contents;
    for (const QByteArray text : {"one", "two", "three"}) {
      makeFile(file, text);
      QVERIFY(platform_.moveToTrash(file).moved);
    }
    const QStringList names = QDir(trash_ + QStringLiteral("/files")).entryList(QDir::Files);
    QCOMPARE(names.size(), 3);
    for (const QString& name : names) {
      contents.append(QString::fromUtf8(readAll(trash_ + QStringLiteral("/files/") + name)));
      QVERIFY(infoOf(trash_, name).contains(QStringLiteral("Path=") + file + QLatin1Char('\n')));
    }
    contents.sort();
    QCOMPARE(contents, QStringList({"one", "three", "two"}));
  }

  void absentAndDanglingItemsAreLeftAlone() {
    const QString link = home_ + QStringLiteral("/Library/Caches/com.quvex.Talvoren.direct");
    QVERIFY(QDir().mkpath(QFileInfo(link).path()));
    QVERIFY(QFile::link(home_ + QStringLiteral("/gone"), link));
    UninstallerApp app(platform_);
    Report report;
    app.trash(link, QStringLiteral("Caches"), report);
    app.trash(home_ + QStringLiteral("/never"), QStringLiteral("Never"), report);
    QCOMPARE(report.lines, QStringList({"[Skipped] Caches: not found", "[Skipped] Never: not found"}));
    QVERIFY(QFileInfo(link).isSymLink());
    QVERIFY(!QFileInfo::exists(trash_));
  }

  // trash-cli reads what we wrote: every original path comes back in its
  // listing, however awkward, and one item is restored from it.
  void trashCliListsAndRestores() {
    const QStringList names = {"with space", "100%25 done", "it's \"quoted\"", "back\\slash", "Ren\u00e9e \u6f22\u5b57",
                               "tab\tand#hash?"};
    UninstallerApp app(platform_);
    Report report;
    for (const QString& name : names) {
      const QString path = home_ + QStringLiteral("/items/") + name;
      makeFile(path, name.toUtf8());
      app.trash(path, name, report);
    }
    QCOMPARE(report.lines.size(), names.size());
    for (const QString& line : report.lines) QVERIFY2(line.endsWith(QLatin1String(": moved to Trash")), qPrintable(line));

    const QString listing = runTrashCli(QStringLiteral("trash-list"), {});
    for (const QString& name : names) {
      const QRegularExpression entry(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d ") +
                                         QRegularExpression::escape(home_ + QStringLiteral("/items/") + name) +
                                         QLatin1Char('$'),
                                     QRegularExpression::MultilineOption);
      QVERIFY2(entry.match(listing).hasMatch(), qPrintable(name + QStringLiteral(" not in:\n") + listing));
    }

    const QString restored = home_ + QStringLiteral("/items/") + names.at(1);
    runTrashCli(QStringLiteral("trash-restore"), {restored}, "0\n");
    QCOMPARE(readAll(restored), names.at(1).toUtf8());
    QVERIFY(!runTrashCli(QStringLiteral("trash-list"), {}).contains(restored));
  }

  // A whole removal on real files: what is trashed, in which order, what is
  // left alone, the lines written, and what trash-cli then shows.
  void manifestRemovalOnRealFiles() {
    UninstallerApp app(platform_);
    const TalvorenInstall& install = app.install();
    const QString support = install.appSupportPath();
    const QString whisper = home_ + QStringLiteral("/homebrew/bin/whisper");
    const QString keep = home_ + QStringLiteral("/Documents/keep.txt");
    for (const QString& file : {support + "/Models/base.bin", support + "/Models/other.bin", support + "/notes.txt",
                                install.inputMethodPath() + "/Contents/Info.plist", whisper, keep})
      makeFile(file);
    auto component = [](const QString& id, const QString& group, const QString& kind, const QString& path) {
      return QStringLiteral(R"({"id": "%1", "removalGroup": "%2", "kind": "%3", "path": "%4", "status": "installed",
          "source": "installer", "installedByTalvoren": true, "details": {}})")
          .arg(id, group, kind, path);
    };
    const QStringList components = {
        component("path:models-folder", "model", "folder", support + "/Models"),
        component("path:installed-input-method", "input-method", "bundle", install.inputMethodPath()),
        component("model:recommended", "model", "file", support + "/Models/base.bin"),
        component("dup", "model", "file", support + "/Models/./base.bin"),
        component("engine", "speech-engine", "formula", whisper),
        component("docs", "app-data", "folder", keep),
        component("runtime", "app", "bundled-runtime", support + "/runtime"),
        component("runtime2", "app", "bundled-runtime", support + "/runtime2"),
        component("path:install-manifest", "manifest", "file", install.manifestPath())};
    makeFile(install.manifestPath(), QStringLiteral("{\"components\": [%1]}").arg(components.join(',')).toUtf8());

    Report report;
    app.removeManifestComponents({"app", "model", "app-data", "manifest", "speech-engine", "input-method"},
                                 {{support + "/Models", "AI model files"},
                                  {install.inputMethodPath(), "Keyboard helper"},
                                  {support, "Application Support folder"},
                                  {install.logsPath(), "Logs"}},
                                 report);
    QCOMPARE(report.lines,
             QStringList({"[OK] AI model file: moved to Trash", "[OK] AI model folder: moved to Trash",
                          "[OK] Install manifest: moved to Trash",
                          "[Skipped] Bundled speech engine: removed with Talvoren.app",
                          "[OK] Keyboard helper: moved to Trash",
                          "[Skipped] Speech engine: external Homebrew component left untouched (" + whisper + ")",
                          "[Skipped] Application Support folder: outside Talvoren uninstall scope (" + keep + ")",
                          "[OK] Application Support folder: moved to Trash", "[Skipped] Logs: not found"}));
    QVERIFY(!report.hasFailure);

    QStringList log = QString::fromUtf8(readAll(install.uninstallerLogPath())).split(QLatin1Char('\n'));
    log.removeLast();
    for (QString& line : log) line.remove(QRegularExpression(QStringLiteral("^\\[[^]]+\\] ")));
    QCOMPARE(log, QStringList({"AI model file: moved to Trash from " + support + "/Models/base.bin",
                               "AI model folder: moved to Trash from " + support + "/Models",
                               "Install manifest: moved to Trash from " + install.manifestPath(),
                               "Keyboard helper: moved to Trash from " + install.inputMethodPath(),
                               "Application Support folder: moved to Trash from " + support,
                               "Logs: not found at " + install.logsPath()}));

    QVERIFY(QFileInfo::exists(whisper) && QFileInfo::exists(keep));
    const QString listing = runTrashCli(QStringLiteral("trash-list"), {});
    for (const QString& path : {support + "/Models/base.bin", support + "/Models", install.manifestPath(),
                                install.inputMethodPath(), support})
      QVERIFY2(listing.contains(QLatin1Char(' ') + path + QLatin1Char('\n')), qPrintable(path + "\n" + listing));
    QCOMPARE(listing.count(QLatin1Char('\n')), 5);
  }

  void otherFileSystemUsesItsTopDirectoryTrash() {
    if (!gIsolated) QSKIP("needs a private mount namespace (root)");
    const QString volume = home_ + QStringLiteral("/volume");
    QVERIFY(mountTmpfs(volume));
    const QString uid = QString::number(::getuid());

    const QString first = volume + QStringLiteral("/deep/er/first item");
    makeFile(first + QStringLiteral("/data"));
    const ino_t inode = inodeOf(first);
    const TrashOutcome outcome = platform_.moveToTrash(first);
    QVERIFY2(outcome.moved, qPrintable(outcome.error));
    const QString ownTrash = volume + QStringLiteral("/.Trash-") + uid;
    QCOMPARE(inodeOf(ownTrash + QStringLiteral("/files/first item")), inode);
    QVERIFY(infoOf(ownTrash, QStringLiteral("first item"))
                .contains(QStringLiteral("\nPath=") + QUrl::toPercentEncoding(first, "/") + QLatin1Char('\n')));
    QVERIFY(!QFileInfo::exists(trash_));  // nothing went to, or through, the home trash
    QVERIFY2(runTrashCli(QStringLiteral("trash-list"), {}).contains(first), "trash-cli does not see it");
    makeFile(first, "again");  // the same name a second time gets a name of its own
    QVERIFY(platform_.moveToTrash(first).moved);
    QCOMPARE(QDir(ownTrash + QStringLiteral("/files")).count(), 4u);  // with "." and ".."
    QCOMPARE(QDir(ownTrash + QStringLiteral("/info")).count(), 4u);

    // A shared, sticky ".Trash" set up by the administrator is preferred...
    const QString shared = volume + QStringLiteral("/.Trash");
    QVERIFY(QDir().mkpath(shared));
    QVERIFY(::chmod(QFile::encodeName(shared).constData(), 01777) == 0);
    const QString second = volume + QStringLiteral("/second");
    makeFile(second);
    QVERIFY(platform_.moveToTrash(second).moved);
    QVERIFY(QFileInfo::exists(shared + QLatin1Char('/') + uid + QStringLiteral("/files/second")));
    QVERIFY(infoOf(shared + QLatin1Char('/') + uid, QStringLiteral("second")).contains(QStringLiteral("Path=")));

    // ...but one without the sticky bit could be a trap, and is not used.
    QVERIFY(::chmod(QFile::encodeName(shared).constData(), 0777) == 0);
    const QString third = volume + QStringLiteral("/third");
    makeFile(third);
    QVERIFY(platform_.moveToTrash(third).moved);
    QVERIFY(QFileInfo::exists(ownTrash + QStringLiteral("/files/third")));
    QVERIFY(::umount(QFile::encodeName(volume).constData()) == 0);
  }

  // Neither the trash nor the fallback can move an item on a read-only file
  // system: the item stays and the warning carries the script run's reason.
  void bothWaysFailing() {
    if (!gIsolated) QSKIP("needs a private mount namespace (root)");
    if (QFileInfo::exists(QStringLiteral("/usr/bin/osascript"))) QSKIP("a real script runner is installed here");
    const QString volume = home_ + QStringLiteral("/readonly");
    QVERIFY(mountTmpfs(volume));
    const QString item = volume + QStringLiteral("/Talvoren.app");
    makeFile(item + QStringLiteral("/Contents/Info.plist"));
    QVERIFY(::mount(nullptr, QFile::encodeName(volume).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0);

    UninstallerApp app(platform_);
    Report report;
    app.trash(item, QStringLiteral("Talvoren app"), report);
    // The script runner is missing here, so its launch error is the detail.
    const QString detail =
        platform_.runProcess(QStringLiteral("/usr/bin/osascript"), {QStringLiteral("-e"), QString()}).output.trimmed();
    QVERIFY(!detail.isEmpty());
    QCOMPARE(report.lines, QStringList{"[Needs attention] Talvoren app: could not be moved to Trash (" + detail + ")"});
    QVERIFY(report.hasFailure);
    QVERIFY(QFileInfo::exists(item + QStringLiteral("/Contents/Info.plist")));

    const QString log = QString::fromUtf8(readAll(app.install().uninstallerLogPath()));
    const QRegularExpression failure(QStringLiteral("^\\[[^]]+\\] Talvoren app: FileManager trash failed for ") +
                                         QRegularExpression::escape(item) + QStringLiteral(": \\S[^\n]*\n$"));
    QVERIFY2(failure.match(log).hasMatch(), qPrintable(log));
    QVERIFY(::umount(QFile::encodeName(volume).constData()) == 0);
  }

  // A read-only view of a folder on the home's own device: GLib's answer
  // stands, and nothing is copied anywhere.
  void readOnlyOnHomeDeviceFailsWithoutCopy() {
    if (!gIsolated) QSKIP("needs a private mount namespace (root)");
    const QString folder = home_ + QStringLiteral("/locked");
    makeFile(folder + QStringLiteral("/file"));
    const QByteArray native = QFile::encodeName(folder);
    QVERIFY(::mount(native.constData(), native.constData(), nullptr, MS_BIND, nullptr) == 0);
    QVERIFY(::mount(nullptr, native.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0);
    QVERIFY(QDir().mkpath(trash_ + QStringLiteral("/files")));

    const TrashOutcome outcome = platform_.moveToTrash(folder + QStringLiteral("/file"));
    QVERIFY(!outcome.moved);
    QVERIFY(!outcome.error.isEmpty() && !outcome.error.contains(QLatin1Char('\n')));
    QVERIFY(QDir(trash_ + QStringLiteral("/files")).isEmpty());
    QVERIFY(!QFileInfo::exists(home_ + QStringLiteral("/.Trash-") + QString::number(::getuid())));
    QVERIFY(::umount(native.constData()) == 0);
  }
};

// GLib's trash leaks a short message on one of its failure paths (the
// read-only case above). The shared suppression for GLib can only match when
// the sanitizer traces allocations through GLib's own frames, which needs its
// slower unwinder; it is the default for this suite alone.
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }

int main(int argc, char** argv) {
  // A mount namespace of our own, with nothing propagating back to the host,
  // before any thread exists.
  gIsolated = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  // GLib reads the home and data folders once per process, so they are set
  // before anything can ask.
  QTemporaryDir root;
  if (!root.isValid()) return 1;
  qputenv("HOME", QFile::encodeName(root.path() + QStringLiteral("/home")));
  qputenv("XDG_DATA_HOME", QFile::encodeName(root.path() + QStringLiteral("/home/.local/share")));
  QApplication application(argc, argv);
  LinuxTrashTest test;
  return QTest::qExec(&test, argc, argv);
}

#include "tst_linux_trash.moc"
