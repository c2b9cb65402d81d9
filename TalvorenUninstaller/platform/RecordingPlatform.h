#pragma once

#include "platform/Platform.h"

#include <QSet>
#include <QString>
#include <QStringList>

#include <stop_token>
#include <vector>

// One change that a RecordingPlatform was asked to make and did not.
struct RecordedChange {
  enum class Kind {
    Trash,               // `path`, described as `label`
    Run,                 // `program` with `arguments`
    Quit,                // `pid`, asked to quit
    ForceQuit,           // `pid`, ended without asking
    SelectInputSource,   // `identifier`
    DisableInputSource,  // `identifier`
    CreateFolders,       // `path`
    AppendToFile,        // `path`
    WriteFile,           // `path`
  };
  Kind kind = Kind::Run;
  QString path{};
  QString label{};
  QString program{};
  QStringList arguments{};
  qint64 pid = 0;
  QString identifier{};
};

// The system side of a platform that reads from the real one and changes
// nothing: every change is recorded, in order, and answered as a success.
// What it "moved" to the Trash is gone, with everything under it, for every
// later read; folders it "created" exist. A wait takes no time, and an
// application asked to quit counts as ended. A program that only asks is run
// for real; one that changes something answers status 0 with no output.
// Nothing that runs on it can tell it apart from the real one.
//
// Once `stop` is requested, the system reads as empty (nothing exists, no
// program starts, nothing runs), so that whatever still runs on it comes to
// its end at once; what it records from then on is of no use.
class RecordingPlatform final : public Platform {
 public:
  explicit RecordingPlatform(Platform& real, std::stop_token stop = {}) : real_(real), stop_(std::move(stop)) {}

  // Everything asked for so far, in order.
  const std::vector<RecordedChange>& changes() const { return changes_; }

  QString homeDirectory() override { return real_.homeDirectory(); }
  QString currentDirectory() override { return real_.currentDirectory(); }
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

  std::optional<InputSourceList> inputSources(const QString& sourceIdentifier) override {
    if (stop_.stop_requested()) return std::nullopt;
    return real_.inputSources(sourceIdentifier);
  }
  std::shared_ptr<InputSource> currentAsciiCapableKeyboardSource() override {
    return real_.currentAsciiCapableKeyboardSource();
  }
  int selectInputSource(const std::shared_ptr<InputSource>& source) override;
  int disableInputSource(const std::shared_ptr<InputSource>& source) override;

  // Nothing is moved, so nothing of the real platform's is kept for the
  // action; the calls go through all the same.
  void beginAction() override { real_.beginAction(); }
  void endAction() override { real_.endAction(); }

  QString bundlePath() override { return real_.bundlePath(); }
  std::optional<QString> bundleShortVersion() override { return real_.bundleShortVersion(); }
  std::optional<QString> bundleResourcePath(const QString& name, const QString& extension) override {
    return real_.bundleResourcePath(name, extension);
  }

  // Records `change`; RunningApplication wrappers report through here.
  void record(RecordedChange change) { changes_.push_back(std::move(change)); }

 private:
  // Whether `path` was moved away, itself or with a folder above it.
  bool isGone(const QString& path) const;

  Platform& real_;
  std::stop_token stop_;
  std::vector<RecordedChange> changes_;
  QSet<QString> gone_;
  QSet<QString> created_;
  qint64 waitedMs_ = 0;
};
