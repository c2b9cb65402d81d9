#include "platform/linux/LinuxPlatform.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

std::vector<ScreenGeometry> LinuxPlatform::screens() { return {}; }
std::optional<std::size_t> LinuxPlatform::mainScreenIndex() { return std::nullopt; }
QRectF LinuxPlatform::windowFrame(QWidget&) { return {}; }
void LinuxPlatform::setWindowFrame(QWidget&, const QRectF&) {}
void LinuxPlatform::setWindowOrigin(QWidget&, const QPointF&) {}
void LinuxPlatform::bringToFront(QWidget&) {}
void LinuxPlatform::terminateApplication() {}
