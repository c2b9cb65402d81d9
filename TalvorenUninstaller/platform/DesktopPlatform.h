#pragma once

#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <functional>
#include <stop_token>
#include <optional>
#include <vector>

class QWidget;

// A screen in desktop coordinates: origin at the bottom left of the primary
// screen, y growing upwards; a rectangle's (x, y) is its bottom-left corner.
struct ScreenGeometry {
  QRectF frame;
  QRectF visibleFrame;
};

// What the window asks of the desktop: screens, placing and raising windows,
// dialogs, icons and images, and ending the program. Only the window's
// controller uses it; the uninstaller's work never does.
class DesktopPlatform {
 public:
  virtual ~DesktopPlatform() = default;

  // --- Icons and images -------------------------------------------------------
  // The image in a file; a null image when it cannot be loaded.
  virtual QImage loadImage(const QString& path) = 0;
  // The icon the desktop shows for the item at `path`.
  virtual QImage iconForFile(const QString& path) = 0;
  // The program's own application icon; may be null.
  virtual QImage applicationIcon() = 0;

  // --- Screens, windows and the application ---------------------------------
  // All screens, in the system's order.
  virtual std::vector<ScreenGeometry> screens() = 0;
  // The index into screens() of the main screen, if there is one.
  virtual std::optional<std::size_t> mainScreenIndex() = 0;
  // The window's whole frame (title bar included) in desktop coordinates.
  virtual QRectF windowFrame(QWidget& window) = 0;
  virtual void setWindowFrame(QWidget& window, const QRectF& frame) = 0;
  virtual void setWindowOrigin(QWidget& window, const QPointF& origin) = 0;
  // Puts the window in front and gives it the keyboard, activating the program.
  virtual void bringToFront(QWidget& window) = 0;
  // Ends the program with status 0: from the main event loop by leaving it,
  // from inside a wait of a running action at once.
  virtual void terminateApplication() = 0;

  // --- Dialogs ----------------------------------------------------------------
  // The lines a confirmation shows on request. Called at most once, only when
  // the user asks to see them, and on a thread of its own so that the dialog
  // stays responsive meanwhile; once the dialog is answered, stop is
  // requested and the provider should end soon, its lines unused. May be
  // empty, and then nothing is offered.
  using DetailsProvider = std::function<QStringList(std::stop_token stop)>;

  // An application-modal warning alert with a default confirming button and a
  // cancel button that answers Escape, offering `details` in the desktop's
  // ordinary way; asking for them answers nothing. True only for the
  // confirming button.
  virtual bool confirm(const QString& title, const QString& message, const QString& confirmTitle,
                       const QString& cancelTitle, const DetailsProvider& details) = 0;
  // The completion dialog with one button; its informative text is
  // `reportLines` joined by line feeds. With a window it is a sheet on it and
  // returns at once; without one it is application-modal and returns once
  // dismissed.
  virtual void showCompletion(QWidget* window, bool warningStyle, const QString& title,
                              const QStringList& reportLines, const QString& buttonTitle) = 0;
};
