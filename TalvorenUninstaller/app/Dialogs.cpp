#include "app/UninstallerApp.h"

#include <QProgressBar>
#include <QPushButton>

bool UninstallerApp::confirm(const QString& title, const QString& message, const QString& buttonTitle,
                             const DesktopPlatform::DetailsProvider& details) {
  return desktop_.confirm(title, message, buttonTitle, text.cancelButton, details);
}

void UninstallerApp::setBusy(bool busy) {
  // Quit is locked too: a plan, once started, runs to its end.
  for (QPushButton* button : buttons) button->setEnabled(!busy);
  // Before the content exists the bar has no parent, and showing it would
  // open it as a window of its own; the content hides it when it adopts it.
  if (!progress->parentWidget()) return;
  // The bar is indeterminate, so showing it starts its animation and hiding
  // it stops it.
  progress->setVisible(busy);
}
