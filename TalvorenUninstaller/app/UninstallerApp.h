#pragma once

#include "actions/Report.h"
#include "actions/UninstallLog.h"
#include "app/Text.h"
#include "manifest/InstallManifest.h"
#include "manifest/TalvorenInstall.h"
#include "platform/Platform.h"

#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class QProgressBar;
class QPushButton;
class QWidget;
class ReportView;

// The one controller of the program: it owns the texts, the window and its
// controls, and every operation that an action runs is one of its members,
// defined in the folder of its subsystem. Everything here runs on the main
// thread, one step after another, so nothing is locked.
class UninstallerApp : public QObject {
  Q_OBJECT

 public:
  using ActionPlan = std::function<Report()>;

  explicit UninstallerApp(Platform& platform, QObject* parent = nullptr);
  ~UninstallerApp() override;

  const Text text;
  // Created with the controller and laid out into the window by
  // makeContentView(); the window owns them from then on.
  ReportView* const statusView;
  QProgressBar* const progress;
  // Empty until show() first creates the window; kept for the rest of the run.
  std::unique_ptr<QWidget> window;
  // The four action buttons and Quit, in layout order.
  std::vector<QPushButton*> buttons;

  Platform& platform() const { return platform_; }
  const TalvorenInstall& install() const { return install_; }
  const UninstallLog& log() const { return log_; }

  // --- Window (app/) ---------------------------------------------------------
  // Creates the window on the first call; on every call places it, brings it
  // forward and logs that it was shown.
  void show();
  // Builds the window's fixed content and returns it; the caller owns it.
  QWidget* makeContentView();
  // The picture for the window's icon: ours, else the installed app's, else
  // the program's own application icon (which may be null).
  QImage iconImage() const;
  // An application-modal yes-or-no question; true only for `buttonTitle`.
  bool confirm(const QString& title, const QString& message, const QString& buttonTitle);
  // Locks every button and shows the moving progress bar, or the reverse.
  void setBusy(bool busy);

  // --- Running an action (actions/) ---------------------------------------
  // Turns the busy state on and runs `plan` 0.1 s later on the main thread,
  // then logs and shows its report. Returns before the plan has run.
  void runAction(ActionPlan plan);
  Report resetPermissionsPlan();
  Report removeAppOnlyPlan();
  Report removeModelPlan();
  Report fullUninstallPlan();
  // Runs a program to its end; see Platform::runProcess.
  CommandResult runCommand(const QString& program, const QStringList& arguments);

  // --- Cleanup operations (cleanup/) ----------------------------------------
  // Each appends its outcome to `report` and never stops the action.
  void terminateRunningTalvoren(Report& report);
  void resetPermissions(Report& report);
  void resetSetupCompletionMarker(Report& report);
  void disableTalvorenInputSource(Report& report);
  void trash(const QString& path, const QString& label, Report& report);

  // --- Install manifest (manifest/) ---------------------------------------
  void removeManifestComponents(const QSet<QString>& groups, const std::vector<ManifestFallback>& fallback,
                                Report& report);
  // Whether a normalised path lies inside the dictation app's own locations.
  // Never looks at the file system.
  bool isSafeManifestRemovalPath(const QString& normalisedPath) const;
  // True when `a` is handled before `b`: deeper paths first, then by path.
  bool manifestRemovalOrder(const ManifestComponent& a, const ManifestComponent& b) const;
  QString manifestLabel(const ManifestComponent& component) const;
  // A one-line description of the manifest, opening every action's report.
  QString manifestSummary() const;

 public Q_SLOTS:
  // The buttons' actions: each asks for confirmation, then runs its plan.
  void resetPermissionsOnly();
  void removeAppOnly();
  void removeModel();
  void fullUninstall();
  void quit();

 private:
  Platform& platform_;
  TalvorenInstall install_;
  UninstallLog log_;
};
