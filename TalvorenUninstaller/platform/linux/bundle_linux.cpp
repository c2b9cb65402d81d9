#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"

#include <QCoreApplication>
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

// The folder that holds the executable stands in for the bundle, and the
// program's resources are installed beside the executable.
QString LinuxPlatform::bundlePath() {
  const QByteArray executable = linkTarget("/proc/self/exe");
  if (executable.isEmpty()) return QCoreApplication::applicationDirPath();
  return decodeNativePath(parentFolder(executable));
}

std::optional<QString> LinuxPlatform::bundleShortVersion() { return QStringLiteral(TALVOREN_VERSION); }

std::optional<QString> LinuxPlatform::bundleResourcePath(const QString& name, const QString& extension) {
  const QString path = bundlePath() + QLatin1Char('/') + name + QLatin1Char('.') + extension;
  if (!fileExists(path)) return std::nullopt;
  return path;
}

QImage LinuxPlatform::loadImage(const QString& path) {
  const std::optional<QByteArray> contents = readFile(path);
  return contents ? QImage::fromData(*contents) : QImage();
}

QImage LinuxPlatform::iconForFile(const QString& path) {
  // The desktop's icon lookup goes by Qt's own path encoding: a path without
  // an exact native form gets no icon rather than another item's.
  if (!encodeNativePath(path)) return {};
  const QFileIconProvider provider;
  return imageOf(provider.icon(QFileInfo(path)));
}

QImage LinuxPlatform::applicationIcon() { return imageOf(QGuiApplication::windowIcon()); }
