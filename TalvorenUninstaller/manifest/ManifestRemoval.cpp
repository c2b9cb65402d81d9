#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

void UninstallerApp::removeManifestComponents(const QSet<QString>&, const std::vector<ManifestFallback>&, Report&) {}
bool UninstallerApp::isSafeManifestRemovalPath(const QString&) const { return false; }
bool UninstallerApp::manifestRemovalOrder(const ManifestComponent&, const ManifestComponent&) const { return false; }
QString UninstallerApp::manifestLabel(const ManifestComponent&) const { return {}; }
QString UninstallerApp::manifestSummary() const { return {}; }
