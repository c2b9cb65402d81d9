// A bundle's identifier from its Info.plist: anything but a clean XML property
// list naming the key at its top level gives nothing, so that process is never
// taken for the dictation app.
#include "platform/linux/InfoPlist.h"

#include <QtTest>

namespace {

QByteArray plist(const QByteArray& dictionary) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + dictionary +
         "\n</dict>\n</plist>\n";
}

}  // namespace

class InfoPlistTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void identifier_data() {
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<std::optional<QString>>("identifier");

    const QByteArray ours = "<key>CFBundleIdentifier</key><string>com.quvex.Talvoren.direct</string>";
    const QByteArray nested = "<key>Nested</key><dict><key>CFBundleIdentifier</key><string>inner</string></dict>";
    const std::optional<QString> found = QStringLiteral("com.quvex.Talvoren.direct");
    const std::optional<QString> none;
    QTest::newRow("after other keys and a nested dictionary")
        << plist("<key>CFBundleName</key><string>Talvoren</string>\n<key>LSUIElement</key><true/>\n" + nested + ours)
        << found;
    QTest::newRow("with a document type")
        << "<?xml version=\"1.0\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\"><dict>" + ours + "</dict></plist>"
        << found;

    QTest::newRow("key only in a nested dictionary") << plist(nested) << none;
    QTest::newRow("value not a string") << plist("<key>CFBundleIdentifier</key><integer>7</integer>") << none;
    QTest::newRow("value without a key") << plist("<string>com.quvex.Talvoren.direct</string>") << none;
    QTest::newRow("broken after the value") << plist(ours + "<key>x</oops>") << none;
    QTest::newRow("root is not a property list") << "<dict>" + ours + "</dict>" << none;
    QTest::newRow("binary property list")
        << QByteArray("bplist00\xd1\x01\x02_\x10\x12" "CFBundleIdentifier_\x10\x19" "com.quvex.Talvoren.direct")
        << none;
  }

  void identifier() {
    QFETCH(QByteArray, contents);
    QFETCH(std::optional<QString>, identifier);
    QCOMPARE(infoPlistString(contents, QStringLiteral("CFBundleIdentifier")), identifier);
  }
};

QTEST_GUILESS_MAIN(InfoPlistTest)
#include "tst_running_apps_linux_plist.moc"
