#include "app/UninstallerApp.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxPlatform.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

int main(int argc, char* argv[]) {
  // Arguments are ignored: the uninstaller has no options.
  QApplication application(argc, argv);
  LinuxPlatform platform;
  LinuxDesktop desktop(platform);
  // The program's own icon, so the window and the desktop show it.
  if (const auto icon = platform.bundleResourcePath(QStringLiteral("OstrelIcon"), QStringLiteral("png")))
    QApplication::setWindowIcon(QIcon(*icon));

  // Lives for the whole run: every action and dialog reaches back to it.
  UninstallerApp controller(platform, desktop);
  // The window's title names the program too, so that a dialog on no window
  // carries it and a window manager never shows the executable's name.
  QApplication::setApplicationDisplayName(controller.text.title);
  controller.show();
  // Once the event loop runs, the window has its decorations and is shown
  // again, so the second placement uses the real frame.
  QTimer::singleShot(0, &controller, &UninstallerApp::show);
  QApplication::exec();
  return 0;
}
