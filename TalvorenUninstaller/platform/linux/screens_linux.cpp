#include "platform/linux/DesktopCoordinates.h"
#include "platform/linux/LinuxDesktop.h"

#include <QApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QThread>
#include <QWidget>

#include <cstdlib>

namespace {

// Every conversion between Qt's coordinates and the program's goes through
// the screens as they are now.
DesktopCoordinates currentDesktop() {
  const QList<QScreen*> qtScreens = QGuiApplication::screens();
  std::vector<QtScreen> screens;
  for (const QScreen* screen : qtScreens) screens.push_back({screen->geometry(), screen->availableGeometry()});
  const qsizetype primary = qtScreens.indexOf(QGuiApplication::primaryScreen());
  return DesktopCoordinates(std::move(screens), primary < 0 ? std::nullopt : std::optional(std::size_t(primary)));
}

}  // namespace

std::vector<ScreenGeometry> LinuxDesktop::screens() {
  return currentDesktop().screens();
}

std::optional<std::size_t> LinuxDesktop::mainScreenIndex() {
  // The screen with the active window, as the program's home desktop means
  // it; without one, the desktop's primary screen.
  const QWidget* active = QApplication::activeWindow();
  const QScreen* main = active ? active->screen() : QGuiApplication::primaryScreen();
  const qsizetype index = QGuiApplication::screens().indexOf(const_cast<QScreen*>(main));
  if (index < 0) return std::nullopt;
  return std::size_t(index);
}

QRectF LinuxDesktop::windowFrame(QWidget& window) { return currentDesktop().fromQt(QRectF(window.frameGeometry())); }

void LinuxDesktop::setWindowFrame(QWidget& window, const QRectF& frame) {
  const QRect target = currentDesktop().toQt(frame).toRect();
  // The frame includes the decoration; the widget's own size excludes it.
  const QRect outer = window.frameGeometry();
  const QSize decoration = outer.size() - window.geometry().size();
  window.resize(target.size() - decoration);
  window.move(target.topLeft());
}

void LinuxDesktop::setWindowOrigin(QWidget& window, const QPointF& origin) {
  const QRectF frame(origin, QSizeF(window.frameGeometry().size()));
  window.move(currentDesktop().toQt(frame).toRect().topLeft());
}

void LinuxDesktop::bringToFront(QWidget& window) {
  window.show();
  window.raise();
  window.activateWindow();
}

void LinuxDesktop::terminateApplication() {
  // Asked from inside a nested event loop, that is from one of the waits of a
  // running action, leaving the loops would only hide the window: the action
  // would run on, and every later wait would return at once. So the process
  // ends here and now, as the desktop's own terminate does. Nothing is lost:
  // log lines are written and closed one by one, and what was moved stays in
  // the Trash.
  if (QThread::currentThread()->loopLevel() > 1) std::_Exit(0);
  QCoreApplication::quit();
}
