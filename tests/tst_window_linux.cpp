// The Linux side of the window: its dialogs, answered by a timer, and the
// mirror between Qt's screen coordinates and the desktop's. Runs on Qt's
// offscreen platform.
#include "platform/linux/LinuxPlatform.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace {

// Acts on the modal box as soon as one is up, from inside its event loop.
void whenModalBoxOpens(std::function<void(QMessageBox&)> act) {
  auto* timer = new QTimer;
  QObject::connect(timer, &QTimer::timeout, [timer, act] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box || !box->isVisible()) return;
    timer->deleteLater();
    timer->stop();
    act(*box);
  });
  timer->start(10);
}

}  // namespace

class WindowLinuxTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
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
    whenModalBoxOpens([answer](QMessageBox& box) {
      QCOMPARE(box.icon(), QMessageBox::Warning);
      QCOMPARE(box.windowModality(), Qt::ApplicationModal);
      QCOMPARE(box.text() + "|" + box.informativeText(), QStringLiteral("Remove?|It goes to the Trash."));
      if (answer == QLatin1String("Return")) return QTest::keyClick(&box, Qt::Key_Return);
      if (answer == QLatin1String("Escape")) return QTest::keyClick(&box, Qt::Key_Escape);
      for (QAbstractButton* button : box.buttons())
        if (button->text() == answer) button->click();
    });
    LinuxPlatform platform;
    QCOMPARE(platform.confirm("Remove?", "It goes to the Trash.", "Remove", "Cancel"), confirmed);
  }

  // On a window the dialog is modal to it only, returns at once and cleans
  // up after itself once answered.
  void completionOnWindowDoesNotBlock() {
    LinuxPlatform platform;
    QWidget window;
    window.show();
    platform.showCompletion(&window, false, "Done", "report", "OK");

    QPointer<QMessageBox> box = window.findChild<QMessageBox*>();
    QVERIFY(box && box->isVisible());
    QCOMPARE(box->windowModality(), Qt::WindowModal);
    QCOMPARE(box->icon(), QMessageBox::Information);
    QCOMPARE(box->buttons().size(), 1);
    box->buttons().first()->click();
    QTRY_VERIFY(box.isNull());
  }

  void completionWithoutWindowWaitsForOk() {
    bool answered = false;
    whenModalBoxOpens([&answered](QMessageBox& box) {
      QCOMPARE(box.icon(), QMessageBox::Warning);
      QCOMPARE(box.buttons().first()->text(), QStringLiteral("OK"));
      answered = true;
      box.buttons().first()->click();
    });
    LinuxPlatform platform;
    platform.showCompletion(nullptr, true, "Done", "report", "OK");
    QVERIFY(answered);
  }

  // The offscreen screen sits at Qt's (0, 0): mirroring y about its bottom
  // edge takes a desktop frame to Qt's top-left position and back.
  void framesMirrorAboutTheFirstScreen() {
    LinuxPlatform platform;
    const QRect qtScreen = QGuiApplication::screens().first()->geometry();
    QCOMPARE(platform.screens().at(0).frame, QRectF(qtScreen));  // the first screen is its own mirror
    QCOMPARE(platform.mainScreenIndex(), std::optional<std::size_t>(0));

    QWidget window;
    window.resize(200, 100);
    platform.setWindowFrame(window, QRectF(30, 50, 200, 100));
    QCOMPARE(window.pos(), QPoint(30, qtScreen.height() - 50 - 100));
    QCOMPARE(platform.windowFrame(window), QRectF(30, 50, 200, 100));
    platform.setWindowOrigin(window, QPointF(120, 120));
    QCOMPARE(window.pos(), QPoint(120, qtScreen.height() - 120 - 100));
  }

  void shippedIconIsARealPicture() {
    LinuxPlatform platform;
    const QImage icon = platform.loadImage(QFINDTESTDATA("../TalvorenUninstaller/resources/OstrelIcon.png"));
    QVERIFY(icon.width() >= 64 && icon.height() >= 64);
  }
};

QTEST_MAIN(WindowLinuxTest)
#include "tst_window_linux.moc"
