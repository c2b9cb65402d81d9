#include "app/UninstallerApp.h"

// NOT IMPLEMENTED YET: placeholder so the program links while this part is built.

Report UninstallerApp::resetPermissionsPlan() { return {}; }
Report UninstallerApp::removeAppOnlyPlan() { return {}; }
Report UninstallerApp::removeModelPlan() { return {}; }
Report UninstallerApp::fullUninstallPlan() { return {}; }
