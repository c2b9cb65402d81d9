#include "app/UninstallerApp.h"
#include "platform/linux/LinuxPlatform.h"

#include <QApplication>

int main(int argc, char* argv[]) {
  // Arguments are ignored: the uninstaller has no options.
  QApplication application(argc, argv);
  LinuxPlatform platform;
  UninstallerApp controller(platform);
  controller.show();
  QApplication::exec();
  return 0;
}
