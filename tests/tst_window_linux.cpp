// The Linux side of the window: its dialogs, answered by a timer, and the
// mirror between Qt's screen coordinates and the desktop's.
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
    // Return and Escape answer the real dialog in the end-to-end suite.
    QTest::newRow("confirming button") << "Remove" << true;
    QTest::newRow("Cancel button") << "Cancel" << false;
  }

  void confirmAnswers() {
    QFETCH(QString, answer);
    QFETCH(bool, confirmed);
    whenModalBoxOpens([answer](QMessageBox& box) {
      // Answered first, so that a failed check cannot leave the box open.
      for (QAbstractButton* button : box.buttons())
        if (button->text() == answer) button->click();
      QCOMPARE(box.icon(), QMessageBox::Warning);
      QCOMPARE(box.windowModality(), Qt::ApplicationModal);
      QCOMPARE(box.text() + "|" + box.informativeText(), QStringLiteral("Remove?|It goes to the Trash."));
    });
    LinuxPlatform platform;
    QCOMPARE(platform.confirm("Remove?", "It goes to the Trash.", "Remove", "Cancel"), confirmed);
  }

  void completionDialog_data() {
    QTest::addColumn<bool>("onWindow");
    QTest::addColumn<bool>("failure");
    QTest::newRow("sheet on the window, all well") << true << false;
    QTest::newRow("application-modal without a window, failure") << false << true;
  }

  // On a window the dialog is modal to it only, returns at once and deletes
  // itself once answered; without one it waits for OK.
  void completionDialog() {
    QFETCH(bool, onWindow);
    QFETCH(bool, failure);
    QWidget window;
    window.show();
    bool answered = false;
    whenModalBoxOpens([&](QMessageBox& box) {
      // Answered first, so that a failed check cannot leave the box open.
      answered = true;
      box.buttons().first()->click();
      QCOMPARE(box.windowModality(), onWindow ? Qt::WindowModal : Qt::ApplicationModal);
      QCOMPARE(box.parentWidget(), onWindow ? &window : nullptr);
      QCOMPARE(box.icon(), failure ? QMessageBox::Warning : QMessageBox::Information);
      QCOMPARE(box.buttons().size(), 1);
      QCOMPARE(box.text() + "|" + box.informativeText() + "|" + box.buttons().first()->text(),
               QStringLiteral("Done|report|OK"));
    });
    LinuxPlatform platform;
    platform.showCompletion(onWindow ? &window : nullptr, failure, "Done", "report", "OK");

    QCOMPARE(answered, !onWindow);
    QTRY_VERIFY(answered);
    QTRY_VERIFY(!window.findChild<QMessageBox*>());
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
