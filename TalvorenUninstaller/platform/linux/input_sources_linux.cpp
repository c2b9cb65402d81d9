#include "platform/linux/LinuxPlatform.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

std::optional<InputSourceList> LinuxPlatform::inputSources(const QString&) { return std::nullopt; }
std::shared_ptr<InputSource> LinuxPlatform::currentAsciiCapableKeyboardSource() { return nullptr; }
int LinuxPlatform::selectInputSource(const std::shared_ptr<InputSource>&) { return -1; }
int LinuxPlatform::disableInputSource(const std::shared_ptr<InputSource>&) { return -1; }
