#pragma once

#include "fakes/FakePlatform.h"
#include "platform/DesktopPlatform.h"

#include <QImage>
#include <QMap>
#include <QRectF>

#include <vector>

// The desktop held in memory beside a FakePlatform, writing what a test wants
// to see in order to the same journal, so that dialogs and window moves
// interleave with the system's calls as they happened.
class FakeDesktop final : public DesktopPlatform {
 public:
  explicit FakeDesktop(FakePlatform& system) : system_(system) {}

  struct Completion {
    QWidget* window;
    bool warningStyle;
    QString title, informativeText, buttonTitle;
  };
  struct Confirmation {
    QString title, message, confirmTitle, cancelTitle;
    // What was offered, asked for when `showDetails` is set.
    std::optional<QStringList> details;
  };

  // Pictures by path.
  QMap<QString, QImage> images, fileIcons;
  QImage programIcon;
  // Screens, windows and dialogs; every confirmation is answered no, after
  // its details were asked for when `showDetails` is set.
  bool showDetails = false;
  std::vector<ScreenGeometry> screenList;
  QMap<const QWidget*, QRectF> windowFrames;
  std::vector<Confirmation> confirmations;
  std::vector<Completion> completions;

  QImage loadImage(const QString& path) override { return images.value(path); }
  QImage iconForFile(const QString& path) override { return fileIcons.value(path); }
  QImage applicationIcon() override { return programIcon; }
  std::vector<ScreenGeometry> screens() override { return screenList; }
  std::optional<std::size_t> mainScreenIndex() override { return std::nullopt; }
  QRectF windowFrame(QWidget& window) override { return windowFrames.value(&window, QRectF(0, 0, 620, 548)); }
  void setWindowFrame(QWidget& window, const QRectF& frame) override {
    system_.journal.append(QStringLiteral("frame %1 %2 %3 %4").arg(frame.x()).arg(frame.y()).arg(frame.width()).arg(frame.height()));
    windowFrames.insert(&window, frame);
  }
  void setWindowOrigin(QWidget& window, const QPointF& origin) override {
    system_.journal.append(QStringLiteral("origin %1 %2").arg(origin.x()).arg(origin.y()));
    windowFrames.insert(&window, QRectF(origin, windowFrame(window).size()));
  }
  void bringToFront(QWidget&) override { system_.journal.append(QStringLiteral("front")); }
  void terminateApplication() override {}
  bool confirm(const QString& title, const QString& message, const QString& confirmTitle,
               const QString& cancelTitle, const DetailsProvider& details) override {
    system_.journal.append(QStringLiteral("confirm ") + title);
    confirmations.push_back({title, message, confirmTitle, cancelTitle,
                             showDetails && details ? std::optional(details({})) : std::nullopt});
    return false;
  }
  void showCompletion(QWidget* window, bool warningStyle, const QString& title, const QStringList& reportLines,
                      const QString& buttonTitle) override {
    completions.push_back({window, warningStyle, title, reportLines.join(QLatin1Char('\n')), buttonTitle});
  }

 private:
  FakePlatform& system_;
};
