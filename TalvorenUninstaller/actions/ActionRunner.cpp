#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

void UninstallerApp::runAction(ActionPlan) {}
void UninstallerApp::resetPermissionsOnly() {}
void UninstallerApp::removeAppOnly() {}
void UninstallerApp::removeModel() {}
void UninstallerApp::fullUninstall() {}
void UninstallerApp::quit() {}
