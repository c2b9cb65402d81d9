// The Linux file operations and move to the Trash on real files in a
// throwaway home, where the end-to-end cases cannot cheaply reach: names that
// are not UTF-8, reads and writes of unusual files, read-only mounts. CTest
// runs it in a mount namespace of its own, so no mount reaches the host.
#include "actions/Uninstaller.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativePath.h"
#include "support/Tables.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
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

// A tmpfs of its own at `where`, or a view of the folder on the same device.
bool mountAt(const QString& where, bool sameDevice = false) {
  const QByteArray path = QFile::encodeName(where);
  return QDir().mkpath(where) && (sameDevice ? ::mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr)
                                             : ::mount("tmpfs", path.constData(), "tmpfs", 0, "mode=0755")) == 0;
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

  // Neither the trash nor the fallback can move an item on a read-only mount,
  // whether a file system of its own or a view of the home's own device (where
  // the home trash's answer must stand, with no copy and no other trash tried).
  void bothWaysFailing_data() {
    QTest::addColumn<bool>("homeDevice");
    QTest::addColumn<QString>("answer");  // the trash's own answer
    QTest::newRow("read-only file system")
        << false << "No usable trash folder on the volume at {volume}: " + QString::fromLocal8Bit(std::strerror(EROFS));
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
    const QString detail = platform_.runProcess("/usr/bin/osascript", {"-e", QString()}, CommandEffect::ChangesSystem).output.trimmed();
    QVERIFY(!detail.isEmpty());
    QCOMPARE(report.lines, QStringList{"[Needs attention] Talvoren app: could not be moved to Trash (" + detail + ")"});
    QVERIFY(report.hasFailure);
    QVERIFY(QFileInfo::exists(item + "/Contents/Info.plist"));
    QVERIFY(QDir(trash_ + "/files").isEmpty());
    const QString log = QString::fromUtf8(readAll(app.install().uninstallerLogPath()));
    const QRegularExpression failure("^\\[[^]]+\\] Talvoren app: FileManager trash failed for " +
                                     QRegularExpression::escape(item) + ": " +
                                     QRegularExpression::escape(answer.replace("{volume}", volume)) + "\n$");
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
  QCoreApplication application(argc, argv);
  LinuxTrashTest test;
  return QTest::qExec(&test, argc, argv);
}

#include "tst_linux_trash.moc"
