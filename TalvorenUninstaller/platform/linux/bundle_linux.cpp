#include "platform/linux/LinuxPlatform.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

QString LinuxPlatform::bundlePath() { return {}; }
std::optional<QString> LinuxPlatform::bundleShortVersion() { return std::nullopt; }
std::optional<QString> LinuxPlatform::bundleResourcePath(const QString&, const QString&) { return std::nullopt; }
QImage LinuxPlatform::loadImage(const QString&) { return {}; }
QImage LinuxPlatform::iconForFile(const QString&) { return {}; }
QImage LinuxPlatform::applicationIcon() { return {}; }
