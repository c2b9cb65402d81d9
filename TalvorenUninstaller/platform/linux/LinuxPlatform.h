#pragma once

#include "platform/Platform.h"
#include "platform/linux/TrashFolder.h"

#include <sys/types.h>

#include <optional>
#include <utility>
#include <vector>

// The system side of the platform on Linux. Concepts of the program's home
// system map as follows: the Trash is the freedesktop.org Trash, a running
// application is a process of this user whose executable lies inside an
// ".app" bundle with an Info.plist, and the program's bundle is the folder
// that holds its executable. Definitions are split by area into *_linux.cpp
// files. Every path crosses to the system through NativePath.h, and the home
// is decided once per platform object; within an action each trash folder is
// checked once (trash_linux.cpp). It needs Qt Core only.
class LinuxPlatform final : public Platform {
 public:
  QString homeDirectory() override;
  QString currentDirectory() override;
  bool fileExists(const QString& path) override;
  bool createDirectories(const QString& path) override;
  std::optional<QByteArray> readFile(const QString& path) override;
  bool appendToFile(const QString& path, const QByteArray& bytes) override;
  bool writeFile(const QString& path, const QByteArray& bytes) override;
  TrashOutcome moveToTrash(const QString& path, const QString& label) override;

  CommandResult runProcess(const QString& program, const QStringList& arguments, CommandEffect effect) override;
  QDateTime currentTime() override;
  void runEventLoop(double seconds) override;

  RunningApplicationList runningApplications(const QString& bundleIdentifier) override;

  void beginAction() override;
  void endAction() override;

  std::optional<InputSourceList> inputSources(const QString& sourceIdentifier) override;
  std::shared_ptr<InputSource> currentAsciiCapableKeyboardSource() override;
  int selectInputSource(const std::shared_ptr<InputSource>& source) override;
  int disableInputSource(const std::shared_ptr<InputSource>& source) override;

  QString bundlePath() override;
  std::optional<QString> bundleShortVersion() override;
  std::optional<QString> bundleResourcePath(const QString& name, const QString& extension) override;

 private:
  // What an action keeps until it ends (see trash_linux.cpp).
  struct OpenAction {
    struct Trash {
      dev_t device;
      QByteArray top;  // empty for the home trash
      TrashFolder folder;
    };
    // The home trash and its device, decided on the action's first move.
    std::optional<std::pair<QByteArray, dev_t>> home;
    std::vector<Trash> trashes;
    // The last trash found unusable, kept only while its answer is given.
    std::optional<TrashFolder> unusable;
  };

  QByteArray homeTrashPath();
  const TrashFolder& actionTrash(dev_t device, const QByteArray& top);

  std::optional<QString> home_;
  int actionDepth_ = 0;
  std::optional<OpenAction> action_;
  // The native form of the path last appended to: a log takes one line at a
  // time, each under the same path.
  QString appendPath_;
  std::optional<QByteArray> appendNative_;
};
