#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

std::optional<InstallManifest> decodeInstallManifest(const QByteArray&) { return std::nullopt; }
