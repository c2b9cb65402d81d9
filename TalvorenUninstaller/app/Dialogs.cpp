#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

bool UninstallerApp::confirm(const QString&, const QString&, const QString&) { return false; }
void UninstallerApp::setBusy(bool) {}
