#pragma once

#include "platform/Platform.h"

#include <QMap>
#include <QSet>
#include <QStringList>

#include <deque>
#include <functional>

class FakePlatform;

// A running application whose answers a test chooses. Time is the fake
// platform's clock, which only moves inside runEventLoop().
class FakeRunningApplication final : public RunningApplication {
 public:
  FakeRunningApplication(FakePlatform& platform, QString name) : platform_(platform), name_(std::move(name)) {}

  // How the instance answers a quit request: quits this many seconds later,
  // or never (std::nullopt).
  std::optional<double> quitsAfterSeconds = 0.0;
  // An instance that even a forced quit does not end.
  bool survivesForce = false;

  void terminate() override;
  void forceTerminate() override;
  bool isTerminated() override;

  const QString& name() const { return name_; }
  bool terminated = false;

 private:
  FakePlatform& platform_;
  QString name_;
  std::optional<QDateTime> quitAt_;
};

class FakeInputSource final : public InputSource {
 public:
  explicit FakeInputSource(QString name, bool selected = false, bool enabled = false)
      : name(std::move(name)), selected(selected), enabled(enabled) {}
  bool isSelected() override { return selected; }
  bool isEnabled() override { return enabled; }

  QString name;
  bool selected;
  bool enabled;
};

// Where the program keeps its log under the fake home.
inline const QString kFakeLogPath = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");

// A platform held entirely in memory. Every call that changes something, or
// that a test wants to see in order, is written to `journal` as one line, so
// tests can assert the exact sequence of what the program asked for.
class FakePlatform final : public Platform {
 public:
  FakePlatform();

  QStringList journal;

  // --- Files: a tree of folders and files in memory ---------------------------
  QString home = QStringLiteral("/Users/example");
  QString workingDirectory = QStringLiteral("/Users/example");
  QSet<QString> directories;
  QMap<QString, QByteArray> files;
  // Paths whose appends and writes fail, as for a read-only folder.
  QSet<QString> unwritable;
  // Decides each move to the Trash; by default the item and everything below
  // it disappear and the move succeeds.
  std::function<TrashOutcome(const QString&)> trashHandler;
  void addFile(const QString& path, const QByteArray& contents = {});
  void addDirectory(const QString& path);
  // Removes the item and everything below it.
  void remove(const QString& path);

  // --- Commands ------------------------------------------------------------------
  // Answers each command; by default nothing can be started (status 127).
  std::function<CommandResult(const QString& program, const QStringList& arguments)> commandHandler;

  // --- Clock --------------------------------------------------------------------
  QDateTime now;
  // Called after each slice of runEventLoop has moved the clock on.
  std::function<void()> onEventLoop;

  // --- Running applications, by bundle identifier ---------------------------------
  QMap<QString, std::vector<std::shared_ptr<FakeRunningApplication>>> applications;
  std::shared_ptr<FakeRunningApplication> addApplication(const QString& bundleIdentifier, const QString& name);

  // --- Input sources -------------------------------------------------------------
  QMap<QString, std::optional<InputSourceList>> inputSourcesById;
  std::shared_ptr<FakeInputSource> asciiSource = std::make_shared<FakeInputSource>(QStringLiteral("ABC"));
  int disableStatus = 0;

  // --- Bundle ---------------------------------------------------------------------
  QString bundle = QStringLiteral("/opt/TalvorenUninstaller");
  std::optional<QString> shortVersion = QStringLiteral("1.0.0");
  QMap<QString, QString> resources;  // "name.ext" -> path
  QMap<QString, QImage> images;      // path -> image that loadImage() gives
  QMap<QString, QImage> fileIcons;   // path -> image that iconForFile() gives
  QImage programIcon;

  // --- Screens and windows ---------------------------------------------------------
  std::vector<ScreenGeometry> screenList;
  std::optional<std::size_t> mainScreen;
  QMap<const QWidget*, QRectF> windowFrames;
  QSizeF defaultWindowSize{620, 548};
  int terminations = 0;

  // --- Dialogs ------------------------------------------------------------------
  struct Completion {
    QWidget* window;
    bool warningStyle;
    QString title;
    QString informativeText;
    QString buttonTitle;
  };
  struct Confirmation {
    QString title, message, confirmTitle, cancelTitle;
  };
  // Answers for confirm(), taken front first; with none left it answers false.
  std::deque<bool> confirmAnswers;
  std::vector<Confirmation> confirmations;
  std::vector<Completion> completions;

  // Platform
  QString homeDirectory() override { return home; }
  QString currentDirectory() override { return workingDirectory; }
  bool fileExists(const QString& path) override;
  bool createDirectories(const QString& path) override;
  std::optional<QByteArray> readFile(const QString& path) override;
  bool appendToFile(const QString& path, const QByteArray& bytes) override;
  bool writeFile(const QString& path, const QByteArray& bytes) override;
  TrashOutcome moveToTrash(const QString& path) override;
  CommandResult runProcess(const QString& program, const QStringList& arguments) override;
  QDateTime currentTime() override { return now; }
  void runEventLoop(double seconds) override;
  RunningApplicationList runningApplications(const QString& bundleIdentifier) override;
  std::optional<InputSourceList> inputSources(const QString& sourceIdentifier) override;
  std::shared_ptr<InputSource> currentAsciiCapableKeyboardSource() override { return asciiSource; }
  int selectInputSource(const std::shared_ptr<InputSource>& source) override;
  int disableInputSource(const std::shared_ptr<InputSource>& source) override;
  QString bundlePath() override { return bundle; }
  std::optional<QString> bundleShortVersion() override { return shortVersion; }
  std::optional<QString> bundleResourcePath(const QString& name, const QString& extension) override;
  QImage loadImage(const QString& path) override { return images.value(path); }
  QImage iconForFile(const QString& path) override { return fileIcons.value(path); }
  QImage applicationIcon() override { return programIcon; }
  std::vector<ScreenGeometry> screens() override { return screenList; }
  std::optional<std::size_t> mainScreenIndex() override { return mainScreen; }
  QRectF windowFrame(QWidget& window) override;
  void setWindowFrame(QWidget& window, const QRectF& frame) override;
  void setWindowOrigin(QWidget& window, const QPointF& origin) override;
  void bringToFront(QWidget& window) override;
  void terminateApplication() override;
  bool confirm(const QString& title, const QString& message, const QString& confirmTitle,
               const QString& cancelTitle) override;
  void showCompletion(QWidget* window, bool warningStyle, const QString& title, const QStringList& reportLines,
                      const QString& buttonTitle) override;

  // The journal lines of one kind, e.g. journalOf("run").
  QStringList journalOf(const QString& kind) const;
};
