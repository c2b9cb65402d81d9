#include "platform/Platform.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/NativePath.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>

namespace {

// Large enough for the 64-point icon view on a high-resolution screen.
constexpr int kIconPixels = 128;

QImage imageOf(const QIcon& icon) {
  if (icon.isNull()) return {};
  return icon.pixmap(QSize(kIconPixels, kIconPixels)).toImage();
}

}  // namespace

QImage LinuxDesktop::loadImage(const QString& path) {
  const std::optional<QByteArray> contents = system_.readFile(path);
  return contents ? QImage::fromData(*contents) : QImage();
}

QImage LinuxDesktop::iconForFile(const QString& path) {
  // The desktop's icon lookup goes by Qt's own path encoding: a path without
  // an exact native form gets no icon rather than another item's.
  if (!encodeNativePath(path)) return {};
  const QFileIconProvider provider;
  return imageOf(provider.icon(QFileInfo(path)));
}

QImage LinuxDesktop::applicationIcon() { return imageOf(QGuiApplication::windowIcon()); }
