#include "platform/RecordingPlatform.h"

namespace {

QString withoutTrailingSlashes(QString path) {
  while (path.size() > 1 && path.endsWith(QLatin1Char('/'))) path.chop(1);
  return path;
}

// A running instance whose quit and force are recorded, not sent. Asked
// either way, it counts as ended from then on; until then it is as the
// system says.
class RecordedApplication final : public RunningApplication {
 public:
  RecordedApplication(RecordingPlatform& recorder, std::shared_ptr<RunningApplication> real)
      : recorder_(recorder), real_(std::move(real)), pid_(real_->processIdentifier()) {}

  void terminate() override { end(RecordedChange::Kind::Quit); }
  void forceTerminate() override { end(RecordedChange::Kind::ForceQuit); }
  bool isTerminated() override { return ended_ || real_->isTerminated(); }
  qint64 processIdentifier() override { return pid_; }

 private:
  void end(RecordedChange::Kind kind) {
    recorder_.record({.kind = kind, .pid = pid_});
    ended_ = true;
  }

  RecordingPlatform& recorder_;
  std::shared_ptr<RunningApplication> real_;
  qint64 pid_;
  bool ended_ = false;
};

}  // namespace

bool RecordingPlatform::isGone(const QString& path) const {
  if (gone_.isEmpty()) return false;
  // The path itself, then each folder above it: a few look-ups however many
  // items were moved.
  for (qsizetype end = path.size(); end > 0; end = path.lastIndexOf(QLatin1Char('/'), end - 1))
    if (gone_.contains(path.left(end))) return true;
  return false;
}

bool RecordingPlatform::fileExists(const QString& path) {
  if (stop_.stop_requested() || isGone(path)) return false;
  return created_.contains(withoutTrailingSlashes(path)) || real_.fileExists(path);
}

bool RecordingPlatform::createDirectories(const QString& path) {
  record({.kind = RecordedChange::Kind::CreateFolders, .path = path});
  created_.insert(withoutTrailingSlashes(path));
  return true;
}

std::optional<QByteArray> RecordingPlatform::readFile(const QString& path) {
  if (stop_.stop_requested() || isGone(path)) return std::nullopt;
  return real_.readFile(path);
}

bool RecordingPlatform::appendToFile(const QString& path, const QByteArray&) {
  record({.kind = RecordedChange::Kind::AppendToFile, .path = path});
  return true;
}

bool RecordingPlatform::writeFile(const QString& path, const QByteArray&) {
  record({.kind = RecordedChange::Kind::WriteFile, .path = path});
  return true;
}

TrashOutcome RecordingPlatform::moveToTrash(const QString& path, const QString& label) {
  record({.kind = RecordedChange::Kind::Trash, .path = path, .label = label});
  gone_.insert(withoutTrailingSlashes(path));
  return {/*moved=*/true, {}};
}

CommandResult RecordingPlatform::runProcess(const QString& program, const QStringList& arguments,
                                            CommandEffect effect) {
  if (effect == CommandEffect::OnlyAsks) {
    if (stop_.stop_requested()) return {/*status=*/127, {}};
    return real_.runProcess(program, arguments, effect);
  }
  record({.kind = RecordedChange::Kind::Run, .program = program, .arguments = arguments});
  return {/*status=*/0, {}};
}

QDateTime RecordingPlatform::currentTime() { return real_.currentTime().addMSecs(waitedMs_); }

void RecordingPlatform::runEventLoop(double seconds) { waitedMs_ += qint64(seconds * 1000.0); }

RunningApplicationList RecordingPlatform::runningApplications(const QString& bundleIdentifier) {
  RunningApplicationList recorded;
  if (stop_.stop_requested()) return recorded;
  for (auto& application : real_.runningApplications(bundleIdentifier))
    recorded.push_back(std::make_shared<RecordedApplication>(*this, std::move(application)));
  return recorded;
}

int RecordingPlatform::selectInputSource(const std::shared_ptr<InputSource>& source) {
  record({.kind = RecordedChange::Kind::SelectInputSource, .identifier = source->identifier()});
  return 0;
}

int RecordingPlatform::disableInputSource(const std::shared_ptr<InputSource>& source) {
  record({.kind = RecordedChange::Kind::DisableInputSource, .identifier = source->identifier()});
  return 0;
}
