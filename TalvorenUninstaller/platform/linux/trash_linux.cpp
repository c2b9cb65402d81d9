#include "platform/linux/LinuxPlatform.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

TrashOutcome LinuxPlatform::moveToTrash(const QString&) { return {false, QStringLiteral("not implemented")}; }
