// The Linux side of the window: its dialogs, the mirror between Qt's screen
// coordinates and the desktop's, and the program's bundle resources. Runs on
// Qt's offscreen platform; every dialog is answered by a timer.
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/MessageBoxes.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace {

// Acts on the modal box as soon as one is up, from inside its event loop.
void whenModalBoxOpens(std::function<void(QMessageBox&)> act) {
  auto* timer = new QTimer;
  timer->setInterval(10);
  QObject::connect(timer, &QTimer::timeout, [timer, act] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box || !box->isVisible()) return;
    timer->stop();
    timer->deleteLater();
    act(*box);
  });
  timer->start();
}

QAbstractButton* buttonTitled(QMessageBox& box, const QString& title) {
  for (QAbstractButton* button : box.buttons())
    if (button->text() == title) return button;
  return nullptr;
}

}  // namespace

class WindowLinuxTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void confirmationBoxIsAWarningWithDefaultAndEscape() {
    const auto box = makeConfirmationBox("Remove?", "It goes to the Trash.", "Remove", "Cancel");
    QCOMPARE(box->icon(), QMessageBox::Warning);
    QCOMPARE(box->text(), QStringLiteral("Remove?"));
    QCOMPARE(box->informativeText(), QStringLiteral("It goes to the Trash."));
    QCOMPARE(box->buttons().size(), 2);
    QCOMPARE(box->defaultButton()->text(), QStringLiteral("Remove"));
    QCOMPARE(box->escapeButton()->text(), QStringLiteral("Cancel"));
    QCOMPARE(box->windowModality(), Qt::ApplicationModal);
    QVERIFY(!box->parentWidget());
  }

  void confirmAnswers_data() {
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("confirmed");
    QTest::newRow("confirming button") << "Remove" << true;
    QTest::newRow("Return takes the default") << "Return" << true;
    QTest::newRow("Cancel button") << "Cancel" << false;
    QTest::newRow("Escape") << "Escape" << false;
  }

  void confirmAnswers() {
    QFETCH(QString, answer);
    QFETCH(bool, confirmed);
    LinuxPlatform platform;
    whenModalBoxOpens([answer](QMessageBox& box) {
      if (answer == QLatin1String("Return")) return QTest::keyClick(&box, Qt::Key_Return);
      if (answer == QLatin1String("Escape")) return QTest::keyClick(&box, Qt::Key_Escape);
      buttonTitled(box, answer)->click();
    });
    QCOMPARE(platform.confirm("Remove?", "It goes to the Trash.", "Remove", "Cancel"), confirmed);
  }

  void completionBox_data() {
    QTest::addColumn<bool>("warning");
    QTest::newRow("informational") << false;
    QTest::newRow("warning") << true;
  }

  void completionBox() {
    QFETCH(bool, warning);
    QWidget window;
    const auto box = makeCompletionBox(&window, warning, "Done", "[OK] a\n[OK] b", "OK");
    QCOMPARE(box->icon(), warning ? QMessageBox::Warning : QMessageBox::Information);
    QCOMPARE(box->text(), QStringLiteral("Done"));
    QCOMPARE(box->informativeText(), QStringLiteral("[OK] a\n[OK] b"));
    QCOMPARE(box->buttons().size(), 1);
    QCOMPARE(box->buttons().first()->text(), QStringLiteral("OK"));
    QCOMPARE(box->parentWidget(), &window);
    QCOMPARE(box->windowModality(), Qt::WindowModal);
  }

  // On a window the dialog returns at once and cleans up after itself.
  void completionOnWindowDoesNotBlock() {
    LinuxPlatform platform;
    QWidget window;
    window.show();
    platform.showCompletion(&window, false, "Done", "report", "OK");

    auto* box = window.findChild<QMessageBox*>();
    QVERIFY(box);
    QVERIFY(box->isVisible());
    QPointer<QMessageBox> watched(box);
    box->buttons().first()->click();
    QTRY_VERIFY(watched.isNull());
  }

  void completionWithoutWindowWaitsForOk() {
    LinuxPlatform platform;
    bool answered = false;
    whenModalBoxOpens([&answered](QMessageBox& box) {
      QCOMPARE(box.windowModality(), Qt::ApplicationModal);
      answered = true;
      box.buttons().first()->click();
    });
    platform.showCompletion(nullptr, true, "Done", "report", "OK");
    QVERIFY(answered);
  }

  // The offscreen screen sits at Qt's (0, 0): mirroring y about its bottom
  // edge takes a desktop frame to Qt's top-left position and back.
  void framesMirrorAboutTheFirstScreen() {
    LinuxPlatform platform;
    const QRect qtScreen = QGuiApplication::screens().first()->geometry();
    const double height = qtScreen.height();

    const std::vector<ScreenGeometry> screens = platform.screens();
    QCOMPARE(screens.size(), std::size_t(QGuiApplication::screens().size()));
    QCOMPARE(screens[0].frame, QRectF(qtScreen));  // the first screen is its own mirror
    QCOMPARE(platform.mainScreenIndex(), std::optional<std::size_t>(0));

    QWidget window;
    window.resize(200, 100);
    platform.setWindowFrame(window, QRectF(30, 50, 200, 100));
    QCOMPARE(window.pos(), QPoint(30, int(height) - 50 - 100));
    QCOMPARE(platform.windowFrame(window), QRectF(30, 50, 200, 100));

    platform.setWindowOrigin(window, QPointF(120, 120));
    QCOMPARE(window.pos(), QPoint(120, int(height) - 120 - 100));
    QCOMPARE(platform.windowFrame(window).topLeft(), QPointF(120, 120));
  }

  void bundleResources() {
    LinuxPlatform platform;
    QCOMPARE(platform.bundlePath(), QCoreApplication::applicationDirPath());
    QVERIFY(!platform.bundleResourcePath(QStringLiteral("NoSuchIcon"), QStringLiteral("png")));

    // The icon the program ships is a real picture that loads.
    const QString shipped = QFINDTESTDATA("../TalvorenUninstaller/resources/OstrelIcon.png");
    QVERIFY(!shipped.isEmpty());
    const QImage icon = platform.loadImage(shipped);
    QVERIFY(icon.width() >= 64 && icon.height() >= 64);
    QVERIFY(platform.loadImage(QCoreApplication::applicationFilePath()).isNull());
  }
};

QTEST_MAIN(WindowLinuxTest)
#include "tst_window_linux.moc"
