#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativeFiles.h"
#include "platform/linux/NativePath.h"

#include <QCoreApplication>

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
