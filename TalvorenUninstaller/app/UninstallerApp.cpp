#include "app/UninstallerApp.h"

#include "platform/ReportView.h"

#include <QProgressBar>

UninstallerApp::UninstallerApp(Platform& platform, QObject* parent)
    : QObject(parent),
      statusView(new ReportView),
      progress(new QProgressBar),
      platform_(platform),
      install_(platform),
      log_(platform, install_) {}

UninstallerApp::~UninstallerApp() {
  // Until the window's content has adopted them, the two controls are ours.
  if (statusView->parent() == nullptr) delete statusView;
  if (progress->parent() == nullptr) delete progress;
}
