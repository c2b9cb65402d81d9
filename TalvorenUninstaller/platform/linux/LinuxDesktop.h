#pragma once

#include "platform/DesktopPlatform.h"

class Platform;

// The desktop side of the platform on Linux, through Qt's widgets: screens in
// the program's desktop coordinates (DesktopCoordinates.h), the window manager,
// message boxes for the dialogs, and the desktop's icons. Files it shows are
// read through the system side.
class LinuxDesktop final : public DesktopPlatform {
 public:
  explicit LinuxDesktop(Platform& system) : system_(system) {}

  QImage loadImage(const QString& path) override;
  QImage iconForFile(const QString& path) override;
  QImage applicationIcon() override;

  std::vector<ScreenGeometry> screens() override;
  std::optional<std::size_t> mainScreenIndex() override;
  QRectF windowFrame(QWidget& window) override;
  void setWindowFrame(QWidget& window, const QRectF& frame) override;
  void setWindowOrigin(QWidget& window, const QPointF& origin) override;
  void bringToFront(QWidget& window) override;
  void terminateApplication() override;

  bool confirm(const QString& title, const QString& message, const QString& confirmTitle,
               const QString& cancelTitle, const DetailsProvider& details) override;
  void showCompletion(QWidget* window, bool warningStyle, const QString& title, const QStringList& reportLines,
                      const QString& buttonTitle) override;

 private:
  Platform& system_;
};
