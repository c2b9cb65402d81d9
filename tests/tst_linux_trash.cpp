// The Linux file operations and move to the Trash on real files in a
// throwaway home, where the end-to-end cases cannot cheaply reach: names that
// are not UTF-8, reads and writes of unusual files, read-only mounts. CTest
// runs it in a mount namespace of its own, so no mount reaches the host.
#include "actions/Uninstaller.h"
#include "platform/ActionScope.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativePath.h"
#include "support/Tables.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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

QStringList entries(const QString& folder) {
  return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
}

// A trash tool's output, as the user who runs the suite.
QByteArray runTool(const QString& tool, const QStringList& arguments = {}, const QByteArray& input = {}) {
  QProcess process;
  process.start(tool, arguments);
  process.write(input);
  process.closeWriteChannel();
  return process.waitForFinished(30000) ? process.readAllStandardOutput() : QByteArray("<did not finish>");
}

// A tmpfs of its own at `where`, or a view of the folder on the same device.
bool mountAt(const QString& where, bool sameDevice = false, const char* options = "mode=0755") {
  const QByteArray path = QFile::encodeName(where);
  return QDir().mkpath(where) && (sameDevice ? ::mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr)
                                             : ::mount("tmpfs", path.constData(), "tmpfs", 0, options)) == 0;
}

QByteArray nativeContents(const QByteArray& path) {
  QFile file;
  const int fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK);
  return fd >= 0 && file.open(fd, QIODevice::ReadOnly, QFile::AutoCloseHandle) ? file.readAll() : "<missing>";
}

// Sets an environment variable for one scope; a null value unsets it.
struct ScopedVariable {
  const char* name;
  QByteArray saved;
  ScopedVariable(const char* variable, const QByteArray& value) : name(variable), saved(qgetenv(name)) { set(value); }
  ~ScopedVariable() { set(saved); }
  void set(const QByteArray& value) const { value.isNull() ? qunsetenv(name) : qputenv(name, value); }
};

}  // namespace

class LinuxTrashTest : public QObject {
  Q_OBJECT

  QString home_ = QString::fromLocal8Bit(qgetenv("HOME"));
  QString dataHome_ = QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME"));
  QString trash_ = dataHome_ + "/Trash";
  QString uid_ = QString::number(::getuid());
  LinuxPlatform platform_;

 private Q_SLOTS:
  void init() {
    QDir(home_).removeRecursively();
    QVERIFY(QDir().mkpath(home_));
  }

  // Native names that are not UTF-8 keep their exact bytes both ways; valid
  // UTF-8 reads as its characters.
  void nativeNamesRoundTrip_data() {
    QTest::addColumn<QByteArray>("native");
    QTest::addColumn<QString>("decoded");
    QTest::newRow("UTF-8, two to four bytes") << QByteArray("\xc3\xa9\xe6\xbc\xa2\xe1\x80\x80\xf0\x9f\x98\x80")
                                              << QString::fromUtf8("\xc3\xa9\xe6\xbc\xa2\xe1\x80\x80\xf0\x9f\x98\x80");
    const QByteArray edges("\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf"
                           "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf");
    QTest::newRow("UTF-8, first and last of each length and range") << edges << QString::fromUtf8(edges);
    QTest::newRow("Latin-1") << QByteArray("caf\xe9") << QString::fromUtf16(u"caf\xDCE9");
    QTest::newRow("overlong slashes") << QByteArray("\xc0\xaf\xe0\x80\xaf")
                                      << QString::fromUtf16(u"\xDCC0\xDCAF\xDCE0\xDC80\xDCAF");
    QTest::newRow("encoded surrogate") << QByteArray("\xed\xa0\x80") << QString::fromUtf16(u"\xDCED\xDCA0\xDC80");
    QTest::newRow("beyond U+10FFFF") << QByteArray("\xf4\x90\x80\x80")
                                     << QString::fromUtf16(u"\xDCF4\xDC90\xDC80\xDC80");
    QTest::newRow("cut short, then ASCII") << QByteArray("\xe2\x82/a") << QString::fromUtf16(u"\xDCE2\xDC82/a");
  }
  void nativeNamesRoundTrip() {
    QFETCH(QByteArray, native);
    QFETCH(QString, decoded);
    QCOMPARE(decodeNativePath(native), decoded);
    QCOMPARE(encodeNativePath(decoded), std::optional<QByteArray>(native));
  }

  // A path the file system cannot hold exactly names nothing, whatever its
  // cut or re-encoded form would name: no operation reaches that item.
  void pathsWithoutAnExactNativeFormNameNothing_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("bystander");  // what the path would be taken for
    QTest::newRow("NUL inside a name") << QStringLiteral("Talvoren.app.bak\0.app") << "Talvoren.app.bak";
    QTest::newRow("NUL as the last name") << QStringLiteral("Support/\0") << "Support";
    QTest::newRow("escapes spelling UTF-8") << QString::fromUtf16(u"Ren\xDCC3\xDCA9" u"e") << "Ren\u00e9e";
    QTest::newRow("unpaired surrogate") << QString::fromUtf16(u"x\xD800") << "x?";
  }
  void pathsWithoutAnExactNativeFormNameNothing() {
    QFETCH(QString, path);
    QFETCH(QString, bystander);
    path.prepend(home_ + "/");
    makeFile(home_ + "/" + bystander + "/inner", "kept");
    QVERIFY(!platform_.fileExists(path));
    QVERIFY(!platform_.readFile(path));
    QVERIFY(!platform_.appendToFile(path, "x") && !platform_.writeFile(path, "x"));
    QVERIFY(!platform_.createDirectories(path + "/deeper"));
    Uninstaller app(platform_);
    Report report;
    app.trash(path, "Item", report);
    QCOMPARE(report.lines, QStringList{"[Skipped] Item: not found"});
    QVERIFY(!platform_.moveToTrash(path, "item").moved);
    QCOMPARE(readAll(home_ + "/" + bystander + "/inner"), QByteArray("kept"));
    QCOMPARE(QDir(home_ + "/" + bystander).count(), 3u);
  }

  // Opening never waits for a partner, only regular files are read or
  // written, no read goes past the limit, and none is taken for a folder.
  void nothingWaitsNorRunsAway_data() { addTableRows("linux-trash", "unusual files"); }
  void nothingWaitsNorRunsAway() {
    QFETCH(QJsonObject, row);
    const QString kind = row["kind"].toString();
    const bool readable = row["readable"].toBool();
    const int writes = row["writes"].toInt();
    const QString path = home_ + "/subject";
    const QByteArray native = QFile::encodeName(path);
    int partner = -1;
    if (kind.startsWith("fifo")) QVERIFY(::mkfifo(native.constData(), 0600) == 0);
    if (kind == "fifo+partner") QVERIFY((partner = ::open(native.constData(), O_RDWR | O_NONBLOCK)) >= 0);
    if (kind == "sparse") makeFile(path);
    if (kind == "sparse") QVERIFY(::truncate(native.constData(), kReadFileLimit + 1) == 0);
    if (kind == "pagemap") QVERIFY(QFile::link("/proc/self/pagemap", path));
    if (kind == "regular") makeFile(path, QByteArray(100, 'r'));

    ::alarm(20);  // a wait for a partner ends the suite instead of hanging it
    const std::optional<QByteArray> contents = platform_.readFile(path);
    QCOMPARE(contents.has_value(), readable);
    if (readable) {
      QCOMPARE(*contents, QByteArray(100, 'r'));
      QVERIFY(contents->capacity() - contents->size() >= kReadFilePadding);
    }
    if (writes >= 0) {
      QCOMPARE(platform_.appendToFile(path, "a"), bool(writes));
      QCOMPARE(platform_.writeFile(path, "w"), bool(writes));
    }
    QVERIFY(!platform_.createDirectories(path));  // a folder cannot stand where something else does
    ::alarm(0);
    if (partner >= 0) {
      char byte = 0;
      QCOMPARE(::read(partner, &byte, 1), ssize_t(-1));  // nothing was written into the pipe
      ::close(partner);
    }
    if (writes == 1) QCOMPARE(readAll(path), QByteArray("w"));
  }

  // An append that fails, because the file reached the size limit or its
  // file system filled up in the middle of the line, raises no signal and
  // leaves the file as it was, so the next append starts a line of its own.
  void failedAppendLeavesTheFileAsItWas_data() {
    QTest::addColumn<bool>("sizeLimit");
    QTest::newRow("file-size limit") << true;
    QTest::newRow("file system full") << false;
  }
  void failedAppendLeavesTheFileAsItWas() {
    QFETCH(bool, sizeLimit);
    const QString volume = home_ + "/small", log = volume + "/log";
    const QByteArray filler = QFile::encodeName(volume + "/filler");
    QVERIFY(mountAt(volume, false, "size=64k"));
    makeFile(log, "before\n");
    if (!sizeLimit) {
      const int fd = ::open(filler.constData(), O_WRONLY | O_CREAT, 0600);
      while (::write(fd, QByteArray(4096, 'f').constData(), 4096) > 0) {
      }
      ::close(fd);
    }
    rlimit saved{};
    QVERIFY(::getrlimit(RLIMIT_FSIZE, &saved) == 0);
    const rlimit limited{sizeLimit ? 10 : saved.rlim_cur, saved.rlim_max};
    QVERIFY(::setrlimit(RLIMIT_FSIZE, &limited) == 0);
    const bool appended = platform_.appendToFile(log, QByteArray(8192, 'x') + '\n');
    QVERIFY(::setrlimit(RLIMIT_FSIZE, &saved) == 0 && ::unlink(filler.constData()) == (sizeLimit ? -1 : 0));
    QVERIFY(!appended);
    QVERIFY(platform_.appendToFile(log, "next\n"));
    QCOMPARE(readAll(log), QByteArray("before\nnext\n"));
    QVERIFY(::umount(QFile::encodeName(volume).constData()) == 0);
  }

  // A $HOME that is not UTF-8: the locations, the log and the trash are all
  // in that very folder, and the restore information names its exact bytes.
  // (An empty or relative $HOME: the end-to-end cases home_empty, home_relative.)
  void everythingHappensInAHomeThatIsNotUtf8() {
    const QByteArray home = QFile::encodeName(home_) + "/h\xff\xfe";
    QVERIFY(::mkdir(home.constData(), 0700) == 0);
    const ScopedVariable homeVariable("HOME", home);
    const ScopedVariable dataHome("XDG_DATA_HOME", QByteArray());
    LinuxPlatform platform;
    Uninstaller app(platform);
    const QString item = platform.homeDirectory() + "/Library/item";
    QVERIFY(platform.createDirectories(item) && platform.writeFile(item + "/data", "d"));
    Report report;
    app.trash(item, "Item", report);
    QCOMPARE(report.lines, QStringList{"[OK] Item: moved to Trash"});

    const QByteArray trash = home + "/.local/share/Trash";
    QCOMPARE(nativeContents(trash + "/files/item/data"), QByteArray("d"));
    const QByteArray info = nativeContents(trash + "/info/item.trashinfo");
    QVERIFY2(info.contains("\nPath=" + (home + "/Library/item").toPercentEncoding("/") + '\n'), info.constData());
    QVERIFY(nativeContents(home + "/Library/Logs/Talvoren-Uninstaller.log").contains("Item: moved to Trash from "));
    QVERIFY(!QFileInfo::exists(QFile::decodeName(home)));  // no second, re-encoded home beside the real one
    QCOMPARE(std::system("rm -rf -- '" + home_.toUtf8() + "/h'*"), 0);  // Qt cannot remove what it cannot name
  }

  // A home Trash that cannot be made says where and why, and nothing moves.
  void unusableHomeTrashSaysWhere() {
    makeFile(trash_, "a file where the Trash should be");
    makeFile(home_ + "/item");
    const TrashOutcome outcome = platform_.moveToTrash(home_ + "/item", "item");
    QVERIFY(!outcome.moved);
    QVERIFY2(QRegularExpression("^No usable trash folder at " + QRegularExpression::escape(trash_) + ": \\S")
                 .match(outcome.error)
                 .hasMatch(),
             qPrintable(outcome.error));
    QVERIFY(QFileInfo::exists(home_ + "/item"));
  }

  // Which trash folder takes an item, as the freedesktop.org rules choose it,
  // and what the information file records (the path below the top folder on
  // a volume of its own); a folder refused says what is wrong with it.
  void trashFolders_data() { addTableRows("linux-trash", "trash folders"); }
  void trashFolders() {
    QFETCH(QJsonObject, row);
    const QString top = row["volume"].toBool() ? home_ + "/volume" : dataHome_;
    QVERIFY(row["volume"].toBool() ? mountAt(top) : QDir().mkpath(top));
    const auto expand = [&](QString text) { return text.replace("{uid}", uid_).replace("{top}", top); };
    for (const QJsonValue& entry : row["make"].toArray()) {
      const QStringList made = stringsOf(entry);
      const QByteArray path = QFile::encodeName(top + '/' + expand(made[0]));
      if (made[1] == "link") QVERIFY(::symlink(made[2].toUtf8().constData(), path.constData()) == 0);
      if (made[1] == "file") makeFile(QFile::decodeName(path));
      if (made[1] == "folder") QVERIFY(::mkdir(path.constData(), 0) == 0 && ::chmod(path.constData(), made[2].toUInt(nullptr, 8)) == 0);
      if (made.size() > 3) QVERIFY(::lchown(path.constData(), 65534, 65534) == 0);
    }
    makeFile(top + "/item");
    const TrashOutcome outcome = platform_.moveToTrash(top + "/item", "item");
    QCOMPARE(outcome.error, expand(row["error"].toString()));
    QCOMPARE(outcome.moved, row["error"].toString().isEmpty());
    QCOMPARE(QFileInfo::exists(top + "/item"), !outcome.moved);
    if (outcome.moved) {
      const QString trash = top + '/' + expand(row["trash"].toString());
      QVERIFY(QFileInfo::exists(trash + "/files/item"));
      const QByteArray info = readAll(trash + "/info/item.trashinfo");
      QVERIFY(info.contains("\nPath=" + expand(row["recorded"].toString()).toUtf8() + '\n'));
      // In local time, which here is 14 hours ahead of UTC.
      const QDateTime deleted = QDateTime::fromString(info.mid(info.indexOf("DeletionDate=") + 13, 19), Qt::ISODate);
      QVERIFY2(qAbs(deleted.secsTo(QDateTime::currentDateTime())) < 60, info.constData());
    }
    if (row["volume"].toBool()) QVERIFY(::umount(QFile::encodeName(top).constData()) == 0);
  }

  // The trash that was checked is the one used: within one action, the
  // trash checked for the first item takes every later one, even after its
  // folder was swapped for a link to another (as an account that may rename
  // entries at the top of a shared volume could); the next action checks
  // afresh, and refuses the link.
  void anActionUsesTheTrashItChecked() {
    const QString volume = home_ + "/volume";
    const QString checked = volume + "/.Trash-" + uid_;
    QVERIFY(mountAt(volume));
    for (const QString name : {"first", "second", "third"}) makeFile(volume + '/' + name);
    {
      const ActionScope action(platform_);
      QVERIFY(platform_.moveToTrash(volume + "/first", "item").moved);
      QVERIFY(QDir().rename(checked, volume + "/checked"));
      QVERIFY(QDir().mkpath(volume + "/decoy/files") && QDir().mkpath(volume + "/decoy/info"));
      QVERIFY(QFile::link(volume + "/decoy", checked));
      QVERIFY(platform_.moveToTrash(volume + "/second", "item").moved);
    }  // the action's trash folders are closed, so the volume can be unmounted
    {
      const ActionScope next(platform_);
      const TrashOutcome refused = platform_.moveToTrash(volume + "/third", "item");
      QVERIFY2(!refused.moved && refused.error.endsWith("is a symbolic link"), qPrintable(refused.error));
    }
    QCOMPARE(entries(volume + "/checked/files"), QStringList({"first", "second"}));
    QCOMPARE(entries(volume + "/decoy/files") + entries(volume + "/decoy/info"), QStringList());
    QVERIFY(::umount(QFile::encodeName(volume).constData()) == 0);
  }

  // An information file is complete or absent: a move stopped while writing
  // it, killed (by the file-size limit's signal) or refused (by its error),
  // leaves no information file, on an error nothing written at all, and the
  // item where it was.
  void informationIsCompleteOrAbsent_data() {
    QTest::addColumn<bool>("killed");
    QTest::newRow("killed while writing") << true;
    QTest::newRow("refused while writing") << false;
  }
  void informationIsCompleteOrAbsent() {
    QFETCH(bool, killed);
    makeFile(home_ + "/item");
    const pid_t child = ::fork();
    if (child == 0) {
      const rlimit limit{16, RLIM_INFINITY};
      ::signal(SIGXFSZ, killed ? SIG_DFL : SIG_IGN);
      ::_exit(::setrlimit(RLIMIT_FSIZE, &limit) == 0 && platform_.moveToTrash(home_ + "/item", "item").moved ? 0 : 1);
    }
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QCOMPARE(killed ? WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ : WIFEXITED(status) && WEXITSTATUS(status) == 1, true);
    QVERIFY(QFileInfo::exists(home_ + "/item"));
    QCOMPARE(QDir(trash_ + "/info").entryList({"*.trashinfo"}, QDir::AllEntries | QDir::Hidden), QStringList());
    if (!killed) QCOMPARE(entries(trash_ + "/info"), QStringList());
  }

  // trash-list and trash-restore read back what was moved: an item of a
  // volume now mounted elsewhere, and items whose names leave no room for
  // their information file's suffix (cut short in the trash, on a character
  // boundary).
  void trashToolsReadItBack_data() {
    QTest::addColumn<bool>("remount");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("volume mounted elsewhere") << true << QByteArray("item");
    QTest::newRow("name of NAME_MAX bytes") << false << QByteArray(NAME_MAX, 'n');
    QTest::newRow("two-byte characters, NAME_MAX - 1 bytes") << false << QString(NAME_MAX / 2, u'\u00e9').toUtf8();
  }
  void trashToolsReadItBack() {
    QFETCH(bool, remount);
    QFETCH(QByteArray, name);
    QString top = home_ + "/volume";
    QVERIFY(mountAt(top));
    makeFile(top + "/folder/" + QFile::decodeName(name), "kept");
    QVERIFY(platform_.moveToTrash(top + "/folder/" + QFile::decodeName(name), "item").moved);
    for (const QString& entry : entries(top + "/.Trash-" + uid_ + "/files"))
      QVERIFY2(entry.toUtf8().size() + qsizetype(strlen(".trashinfo")) <= NAME_MAX && !entry.contains(QChar::ReplacementCharacter),
               qPrintable(entry));
    if (remount) {
      const QString moved = home_ + "/moved";
      QVERIFY(QDir().mkpath(moved));
      QVERIFY(::mount(QFile::encodeName(top).constData(), QFile::encodeName(moved).constData(), nullptr, MS_MOVE, nullptr) == 0);
      top = moved;
    }
    const QByteArray original = QFile::encodeName(top) + "/folder/" + name;
    const QByteArray listed = runTool("trash-list");
    QVERIFY2(listed.contains(' ' + original + '\n'), listed.constData());
    runTool("trash-restore", {QFile::decodeName(original)}, "0\n");
    QCOMPARE(nativeContents(original), QByteArray("kept"));
    QVERIFY(::umount(QFile::encodeName(top).constData()) == 0);
  }

  // Neither the trash nor the fallback can move an item on a read-only mount,
  // whether a file system of its own or a view of the home's own device (where
  // the home trash's answer must stand, with no copy and no other trash tried).
  void bothWaysFailing_data() {
    QTest::addColumn<bool>("homeDevice");
    QTest::addColumn<QString>("answer");  // the trash's own answer
    QTest::newRow("read-only file system")
        << false << "No usable trash folder on the volume at {volume}: .Trash-{uid}: " + QString::fromLocal8Bit(std::strerror(EROFS));
    QTest::newRow("read-only view on the home's device")
        << true << "Cannot move the item to the trash: " + QString::fromLocal8Bit(std::strerror(EXDEV));
  }
  void bothWaysFailing() {
    QFETCH(bool, homeDevice);
    QFETCH(QString, answer);
    if (QFileInfo::exists("/usr/bin/osascript")) QSKIP("a real script runner is installed here");
    const QString volume = home_ + "/locked";
    const QByteArray native = QFile::encodeName(volume);
    const QString item = volume + "/Talvoren.app";
    QVERIFY(mountAt(volume, homeDevice));
    makeFile(item + "/Contents/Info.plist");
    QVERIFY(::mount(nullptr, native.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0);

    Uninstaller app(platform_);
    Report report;
    app.trash(item, "Talvoren app", report);
    // The script runner is missing here, so its launch error is the detail.
    const QString detail = "The program /usr/bin/osascript could not be started: " + QString::fromLocal8Bit(std::strerror(ENOENT)) + '.';
    QCOMPARE(report.lines, QStringList{"[Needs attention] Talvoren app: could not be moved to Trash (" + detail + ")"});
    QVERIFY(report.hasFailure);
    QVERIFY(QFileInfo::exists(item + "/Contents/Info.plist"));
    QVERIFY(QDir(trash_ + "/files").isEmpty());
    const QString log = QString::fromUtf8(readAll(app.install().uninstallerLogPath()));
    const QRegularExpression failure("^\\[[^]]+\\] Talvoren app: FileManager trash failed for " +
                                     QRegularExpression::escape(item) + ": " +
                                     QRegularExpression::escape(answer.replace("{volume}", volume).replace("{uid}", uid_)) + "\n$");
    QVERIFY2(failure.match(log).hasMatch(), qPrintable(log));
    QVERIFY(::umount(native.constData()) == 0);
  }
};

int main(int argc, char** argv) {
  // The home and data folders are set before anything can ask. The data
  // folder is not the default one, so that a trash that ignored it would show.
  QTemporaryDir root;
  if (!root.isValid()) return 1;
  qputenv("HOME", QFile::encodeName(root.path() + "/home"));
  qputenv("XDG_DATA_HOME", QFile::encodeName(root.path() + "/home/data"));
  qputenv("TZ", "Pacific/Kiritimati");
  QCoreApplication application(argc, argv);
  LinuxTrashTest test;
  return QTest::qExec(&test, argc, argv);
}

#include "tst_linux_trash.moc"
