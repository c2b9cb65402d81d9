#include "platform/linux/LinuxPlatform.h"

// Linux desktops keep no registry of input sources that the dictation app's
// keyboard helper could have been installed into. Asking for a source by its
// identifier is therefore a question with a definite answer, "none installed",
// rather than a failed query: an empty list, not nothing. Either way the
// caller has no source to switch away from, disable or select.

namespace {
// The status the home system gives for a parameter it cannot act on.
constexpr int kInvalidSource = -50;
}  // namespace

std::optional<InputSourceList> LinuxPlatform::inputSources(const QString&) { return InputSourceList{}; }

std::shared_ptr<InputSource> LinuxPlatform::currentAsciiCapableKeyboardSource() { return nullptr; }

int LinuxPlatform::selectInputSource(const std::shared_ptr<InputSource>&) { return kInvalidSource; }

int LinuxPlatform::disableInputSource(const std::shared_ptr<InputSource>&) { return kInvalidSource; }
