// A bundle's identifier from its Info.plist: anything but a clean XML property
// list naming the key at its top level gives nothing, so that process is never
// taken for the dictation app.
#include "platform/linux/InfoPlist.h"
#include "support/Tables.h"

class InfoPlistTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void identifier_data() { addTableRows("info-plist", "identifier"); }
  void identifier() {
    QFETCH(QJsonObject, row);
    const std::optional<QString> expected =
        row["identifier"].isNull() ? std::nullopt : std::optional(row["identifier"].toString());
    QCOMPARE(infoPlistString(bytesOf(row["contents"]), QStringLiteral("CFBundleIdentifier")), expected);
  }
};

QTEST_GUILESS_MAIN(InfoPlistTest)
#include "tst_running_apps_linux_plist.moc"
