#pragma once

#include "actions/Actions.h"
#include "actions/Uninstaller.h"
#include "platform/DesktopPlatform.h"

#include <QImage>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class QProgressBar;
class QPushButton;
class QWidget;
class ReportView;

// The one controller of the window. Every operation and plan of the
// uninstaller is its own, through the Uninstaller it is; what it adds is the
// window and its controls, the dialogs, the busy state and the running of an
// action from a button press to its completion dialog. Everything here runs
// on the main thread, one step after another, so nothing is locked.
class UninstallerApp : public QObject, public Uninstaller {
  Q_OBJECT

 public:
  using ActionPlan = std::function<Report()>;

  UninstallerApp(Platform& platform, DesktopPlatform& desktop, QObject* parent = nullptr);
  ~UninstallerApp() override;

  // Created with the controller and laid out into the window by
  // makeContentView(); the window owns them from then on.
  ReportView* const statusView;
  QProgressBar* const progress;
  // Empty until show() first creates the window; kept for the rest of the run.
  std::unique_ptr<QWidget> window;
  // The four action buttons and Quit, in layout order.
  std::vector<QPushButton*> buttons;

  DesktopPlatform& desktop() const { return desktop_; }

  // --- Window ---------------------------------------------------------------
  // Creates the window on the first call; on every call places it, brings it
  // forward and logs that it was shown.
  void show();
  // Builds the window's fixed content and returns it; the caller owns it.
  QWidget* makeContentView();
  // The picture for the window's icon: ours, else the installed app's, else
  // the program's own application icon (which may be null).
  QImage iconImage() const;
  // An application-modal yes-or-no question; true only for `buttonTitle`.
  // `details`, when given, are offered beside it; see DesktopPlatform.
  bool confirm(const QString& title, const QString& message, const QString& buttonTitle,
               const DesktopPlatform::DetailsProvider& details = {});
  // Locks every button and shows the moving progress bar, or the reverse.
  void setBusy(bool busy);

  // --- Running an action ----------------------------------------------------
  // Turns the busy state on and runs `plan` 0.1 s later on the main thread,
  // then logs and shows its report. Returns before the plan has run.
  void runAction(ActionPlan plan);
  // A button's handler: asks for the action's confirmation, then runs it.
  void handle(const ActionDefinition& action);

 public Q_SLOTS:
  // The buttons' actions: each asks for confirmation, then runs its plan.
  void resetPermissionsOnly() { handle(definitionOf(Action::ResetPermissions)); }
  void removeAppOnly() { handle(definitionOf(Action::RemoveAppOnly)); }
  void removeModel() { handle(definitionOf(Action::RemoveModel)); }
  void fullUninstall() { handle(definitionOf(Action::FullUninstall)); }
  void quit();

 private:
  DesktopPlatform& desktop_;
};
