#include "app/ContentLayout.h"
#include "app/FrameText.h"
#include "widgets/MainWindow.h"
#include "app/UninstallerApp.h"
#include "app/WindowPlacement.h"
#include "base/Talvoren.h"

#include <variant>

void UninstallerApp::show() {
  if (!window) {
    // Closing the window ends the program, like pressing Quit.
    auto created = std::make_unique<MainWindow>([this] { desktop_.terminateApplication(); });
    created->setWindowTitle(text.title);
    QWidget* content = makeContentView();
    if (content) {
      content->setParent(created.get());
      created->setFixedSize(ContentLayout::kWidth, ContentLayout::kHeight);
      window = std::move(created);
    }
  }
  if (!window) {
    log_.write(QStringLiteral("Could not create uninstaller window"));
    return;
  }

  // Every showing re-centres the window, even after the user has moved it.
  const WindowPlacement placement =
      placeWindow(desktop_.screens(), desktop_.mainScreenIndex(), desktop_.windowFrame(*window).size());
  if (const auto* frame = std::get_if<QRectF>(&placement)) {
    desktop_.setWindowFrame(*window, *frame);
  } else {
    desktop_.setWindowOrigin(*window, std::get<QPointF>(placement));
  }
  desktop_.bringToFront(*window);

  const QString version = platform_.bundleShortVersion().value_or(QStringLiteral("unknown"));
  log_.write(QStringLiteral("Uninstaller shown bundle=") + platform_.bundlePath() + QStringLiteral(" version=") +
             version + QStringLiteral(" frame=") + frameText(desktop_.windowFrame(*window)));
}

QImage UninstallerApp::iconImage() const {
  if (const std::optional<QString> resource = platform_.bundleResourcePath(QStringLiteral("OstrelIcon"),
                                                                           QStringLiteral("png"))) {
    const QImage image = desktop_.loadImage(*resource);
    if (!image.isNull()) return image;
  }
  if (platform_.fileExists(Talvoren::kInstalledAppPath)) return desktop_.iconForFile(Talvoren::kInstalledAppPath);
  return desktop_.applicationIcon();
}
