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

// A tmpfs of its own at `where`, or a view of the folder on the same device.
bool mountAt(const QString& where, bool sameDevice = false) {
  const QByteArray path = QFile::encodeName(where);
  return QDir().mkpath(where) && (sameDevice ? ::mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr)
                                             : ::mount("tmpfs", path.constData(), "tmpfs", 0, "mode=0755")) == 0;
}

}  // namespace

class LinuxTrashTest : public QObject {
  Q_OBJECT

  QString home_ = QString::fromLocal8Bit(qgetenv("HOME"));
  QString dataHome_ = QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME"));
  QString trash_ = dataHome_ + "/Trash";
  LinuxPlatform platform_;

  // Runs a trash-cli tool against our home, never the real one.
  QString runTrashCli(const QString& tool, const QStringList& arguments = {}, const QByteArray& input = {}) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home_);
    environment.insert("XDG_DATA_HOME", dataHome_);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home_);
    process.start(tool, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(30000)) return "<timed out>";
    return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
  }

 private Q_SLOTS:
  void init() {
    QDir(home_).removeRecursively();
    QVERIFY(QDir().mkpath(home_));
  }

  // Into a home trash of which nothing exists yet, not even the data folder
  // above it. A dangling link counts as absent and stays; each folder moves
  // whole, by a rename; a second item of one name gets a name of its own; and
  // trash-cli lists every original path, however awkward, and restores one.
  void homeTrashReadByTrashCli() {
    const QString items = home_ + "/items/";
    QVERIFY(QDir().mkpath(items) && QFile::link(home_ + "/gone", items + "dangling"));
    UninstallerApp app(platform_);
    Report report;
    app.trash(items + "dangling", "Caches", report);
    QCOMPARE(report.lines, QStringList{"[Skipped] Caches: not found"});
    QVERIFY(QFileInfo(items + "dangling").isSymLink() && !QFileInfo::exists(dataHome_));

    const QStringList names = {"with space", "100%25 done", "it's \"quoted\"", "back\\slash",
                               "Ren\u00e9e \u6f22\u5b57", "tab\tand#hash?"};
    QList<ino_t> inodes;
    for (const QString& name : names + QStringList{names.first()}) {
      makeFile(items + name + "/inner", name.toUtf8());
      inodes.append(inodeOf(items + name));
      app.trash(items + name, name, report);
      QCOMPARE(report.lines.constLast(), "[OK] " + name + ": moved to Trash");
    }
    QList<ino_t> stored;
    for (const QFileInfo& entry : QDir(trash_ + "/files").entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot))
      stored.append(inodeOf(entry.filePath()));
    std::sort(inodes.begin(), inodes.end());
    std::sort(stored.begin(), stored.end());
    QCOMPARE(stored, inodes);

    // Each line is a date trash-cli read from our info file, then the path.
    const QString listing = runTrashCli("trash-list");
    const QRegularExpression dated("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d " + QRegularExpression::escape(items),
                                   QRegularExpression::MultilineOption);
    QCOMPARE(listing.count(dated), names.size() + 1);
    for (const QString& name : names)
      QVERIFY2(listing.count(' ' + items + name + '\n') == (name == names.first() ? 2 : 1), qPrintable(listing));

    const QString restored = items + names.at(1);
    runTrashCli("trash-restore", {restored}, "0\n");
    QCOMPARE(readAll(restored + "/inner"), names.at(1).toUtf8());
    QVERIFY(!runTrashCli("trash-list").contains(restored));
  }

  void otherFileSystemUsesItsTopDirectoryTrash() {
    if (!gIsolated) QSKIP("needs a private mount namespace (root)");
    const QString volume = home_ + "/volume";
    QVERIFY(mountAt(volume));
    const QString uid = QString::number(::getuid());

    const QString first = volume + "/deep/er/first item";
    makeFile(first + "/data");
    const ino_t inode = inodeOf(first);
    const TrashOutcome outcome = platform_.moveToTrash(first);
    QVERIFY2(outcome.moved, qPrintable(outcome.error));
    const QString ownTrash = volume + "/.Trash-" + uid;
    QCOMPARE(inodeOf(ownTrash + "/files/first item"), inode);
    QVERIFY(!QFileInfo::exists(trash_));  // nothing went to, or through, the home trash
    QVERIFY2(runTrashCli("trash-list").contains(QLatin1Char(' ') + first + QLatin1Char('\n')),
             "trash-cli does not see it");
    makeFile(first, "again");  // the same name a second time gets a name of its own
    QVERIFY(platform_.moveToTrash(first).moved);
    QCOMPARE(QDir(ownTrash + "/files").count(), 4u);  // with "." and ".."
    QCOMPARE(QDir(ownTrash + "/info").count(), 4u);

    // A shared, sticky ".Trash" set up by the administrator is preferred...
    const QString shared = volume + "/.Trash";
    QVERIFY(QDir().mkpath(shared));
    QVERIFY(::chmod(QFile::encodeName(shared).constData(), 01777) == 0);
    makeFile(volume + "/second");
    QVERIFY(platform_.moveToTrash(volume + "/second").moved);
    QVERIFY(QFileInfo::exists(shared + QLatin1Char('/') + uid + "/files/second"));

    // ...but one without the sticky bit could be a trap, and is not used.
    QVERIFY(::chmod(QFile::encodeName(shared).constData(), 0777) == 0);
    makeFile(volume + "/third");
    QVERIFY(platform_.moveToTrash(volume + "/third").moved);
    QVERIFY(QFileInfo::exists(ownTrash + "/files/third"));
    QVERIFY(::umount(QFile::encodeName(volume).constData()) == 0);
  }

  // Neither the trash nor the fallback can move an item on a read-only mount,
  // whether a file system of its own or a view of the home's own device (where
  // GLib's answer must stand, with no copy and no other trash tried).
  void bothWaysFailing_data() {
    QTest::addColumn<bool>("homeDevice");
    QTest::newRow("read-only file system") << false;
    QTest::newRow("read-only view on the home's device") << true;
  }
  void bothWaysFailing() {
    QFETCH(bool, homeDevice);
    if (!gIsolated) QSKIP("needs a private mount namespace (root)");
    if (QFileInfo::exists("/usr/bin/osascript")) QSKIP("a real script runner is installed here");
    const QString volume = home_ + "/locked";
    const QByteArray native = QFile::encodeName(volume);
    const QString item = volume + "/Talvoren.app";
    QVERIFY(mountAt(volume, homeDevice));
    makeFile(item + "/Contents/Info.plist");
    QVERIFY(::mount(nullptr, native.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0);

    UninstallerApp app(platform_);
    Report report;
    app.trash(item, "Talvoren app", report);
    // The script runner is missing here, so its launch error is the detail.
    const QString detail = platform_.runProcess("/usr/bin/osascript", {"-e", QString()}).output.trimmed();
    QVERIFY(!detail.isEmpty());
    QCOMPARE(report.lines, QStringList{"[Needs attention] Talvoren app: could not be moved to Trash (" + detail + ")"});
    QVERIFY(report.hasFailure);
    QVERIFY(QFileInfo::exists(item + "/Contents/Info.plist"));
    QVERIFY(QDir(trash_ + "/files").isEmpty());
    const QString log = QString::fromUtf8(readAll(app.install().uninstallerLogPath()));
    const QRegularExpression failure("^\\[[^]]+\\] Talvoren app: FileManager trash failed for " +
                                     QRegularExpression::escape(item) + ": \\S[^\n]*\n$");
    QVERIFY2(failure.match(log).hasMatch(), qPrintable(log));
    QVERIFY(::umount(native.constData()) == 0);
  }
};

// GLib's trash leaks a short message on one of its failure paths (the
// read-only cases above); the shared suppression only matches with the slower
// unwinder, which is the default for this suite alone.
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }

int main(int argc, char** argv) {
  // A mount namespace of our own, with nothing propagating back to the host,
  // before any thread exists.
  gIsolated = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  // GLib reads the home and data folders once per process, so they are set
  // before anything can ask.
  QTemporaryDir root;
  if (!root.isValid()) return 1;
  qputenv("HOME", QFile::encodeName(root.path() + "/home"));
  qputenv("XDG_DATA_HOME", QFile::encodeName(root.path() + "/home/.local/share"));
  QApplication application(argc, argv);
  LinuxTrashTest test;
  return QTest::qExec(&test, argc, argv);
}

#include "tst_linux_trash.moc"
