#include "platform/linux/LinuxPlatform.h"

#include <QCoreApplication>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QImageReader>

namespace {

// Large enough for the 64-point icon view on a high-resolution screen.
constexpr int kIconPixels = 128;

QImage imageOf(const QIcon& icon) {
  if (icon.isNull()) return {};
  return icon.pixmap(QSize(kIconPixels, kIconPixels)).toImage();
}

}  // namespace

// The folder that holds the executable stands in for the bundle, and the
// program's resources are installed beside the executable.
QString LinuxPlatform::bundlePath() { return QCoreApplication::applicationDirPath(); }

std::optional<QString> LinuxPlatform::bundleShortVersion() { return QStringLiteral(TALVOREN_VERSION); }

std::optional<QString> LinuxPlatform::bundleResourcePath(const QString& name, const QString& extension) {
  const QString path = bundlePath() + QLatin1Char('/') + name + QLatin1Char('.') + extension;
  if (!QFileInfo::exists(path)) return std::nullopt;
  return path;
}

QImage LinuxPlatform::loadImage(const QString& path) {
  QImageReader reader(path);
  return reader.read();
}

QImage LinuxPlatform::iconForFile(const QString& path) {
  const QFileIconProvider provider;
  return imageOf(provider.icon(QFileInfo(path)));
}

QImage LinuxPlatform::applicationIcon() { return imageOf(QGuiApplication::windowIcon()); }
