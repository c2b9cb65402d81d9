#pragma once

#include <QString>

#include <functional>
#include <mutex>

class Platform;

// Where the dictation application keeps its files, built from the running
// user's home folder. Each location is computed on first use, once, and then
// fixed for the life of the object (the program makes one), even if the home
// folder changes later. The paths are plain concatenations: nothing is
// normalised, expanded or resolved.
class TalvorenInstall {
 public:
  explicit TalvorenInstall(Platform& platform) : platform_(platform) {}
  TalvorenInstall(const TalvorenInstall&) = delete;
  TalvorenInstall& operator=(const TalvorenInstall&) = delete;

  const QString& home() const;
  const QString& appSupportPath() const;
  const QString& modelsPath() const;
  const QString& manifestPath() const;
  const QString& logsPath() const;
  const QString& uninstallerLogPath() const;
  const QString& preferencesPath() const;
  const QString& cachePath() const;
  const QString& savedStatePath() const;
  const QString& inputMethodPath() const;

 private:
  // A value computed the first time it is asked for; a second thread that
  // arrives meanwhile waits for the first and sees the finished value.
  class Lazy {
   public:
    const QString& get(const std::function<QString()>& compute) const {
      std::call_once(once_, [&] { value_ = compute(); });
      return value_;
    }

   private:
    mutable std::once_flag once_;
    mutable QString value_;
  };

  Platform& platform_;
  Lazy home_, appSupport_, models_, manifest_, logs_, uninstallerLog_, preferences_, cache_, savedState_,
      inputMethod_;
};
