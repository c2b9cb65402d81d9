#include "platform/linux/LinuxPlatform.h"

#include <QApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

// Qt measures the desktop from the top left, y down; the program measures it
// from the bottom left of the first screen, y up. Both share x, so a
// rectangle maps between them by mirroring y about the first screen's bottom
// edge, and the same mirror takes it back. Every conversion goes through here.
namespace {

double firstScreenBottom() {
  const QList<QScreen*> screens = QGuiApplication::screens();
  if (screens.isEmpty()) return 0.0;
  const QRect geometry = screens.first()->geometry();
  return double(geometry.y()) + double(geometry.height());
}

QRectF mirrored(const QRectF& rect) {
  return QRectF(rect.x(), firstScreenBottom() - rect.y() - rect.height(), rect.width(), rect.height());
}

}  // namespace

std::vector<ScreenGeometry> LinuxPlatform::screens() {
  std::vector<ScreenGeometry> result;
  for (const QScreen* screen : QGuiApplication::screens())
    result.push_back({mirrored(QRectF(screen->geometry())), mirrored(QRectF(screen->availableGeometry()))});
  return result;
}

std::optional<std::size_t> LinuxPlatform::mainScreenIndex() {
  // The screen with the active window, as the program's home desktop means
  // it; without one, the desktop's primary screen.
  const QWidget* active = QApplication::activeWindow();
  const QScreen* main = active ? active->screen() : QGuiApplication::primaryScreen();
  const qsizetype index = QGuiApplication::screens().indexOf(const_cast<QScreen*>(main));
  if (index < 0) return std::nullopt;
  return std::size_t(index);
}

QRectF LinuxPlatform::windowFrame(QWidget& window) { return mirrored(QRectF(window.frameGeometry())); }

void LinuxPlatform::setWindowFrame(QWidget& window, const QRectF& frame) {
  const QRect target = mirrored(frame).toRect();
  // The frame includes the decoration; the widget's own size excludes it.
  const QRect outer = window.frameGeometry();
  const QSize decoration = outer.size() - window.geometry().size();
  window.resize(target.size() - decoration);
  window.move(target.topLeft());
}

void LinuxPlatform::setWindowOrigin(QWidget& window, const QPointF& origin) {
  const QRectF frame(origin, QSizeF(window.frameGeometry().size()));
  window.move(mirrored(frame).toRect().topLeft());
}

void LinuxPlatform::bringToFront(QWidget& window) {
  window.show();
  window.raise();
  window.activateWindow();
}

void LinuxPlatform::terminateApplication() { QCoreApplication::quit(); }
