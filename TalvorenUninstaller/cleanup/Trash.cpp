#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

void UninstallerApp::trash(const QString&, const QString&, Report&) {}
