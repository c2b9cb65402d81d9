#include "app/UninstallerApp.h"

CommandResult UninstallerApp::runCommand(const QString& program, const QStringList& arguments) {
  return platform_.runProcess(program, arguments);
}
