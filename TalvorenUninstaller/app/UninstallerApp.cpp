#include "app/UninstallerApp.h"

#include "widgets/ReportView.h"

#include <QProgressBar>

UninstallerApp::UninstallerApp(Platform& platform, DesktopPlatform& desktop, QObject* parent)
    : QObject(parent), Uninstaller(platform), statusView(new ReportView), progress(new QProgressBar), desktop_(desktop) {}

UninstallerApp::~UninstallerApp() {
  // Until the window's content has adopted them, the two controls are ours.
  if (statusView->parent() == nullptr) delete statusView;
  if (progress->parent() == nullptr) delete progress;
}
