#include "fakes/FakePlatform.h"

#include <QFileInfo>
#include <QTimeZone>

namespace {

bool isInside(const QString& path, const QString& folder) {
  return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

}  // namespace

void FakeRunningApplication::terminate() {
  platform_.journal.append(QStringLiteral("terminate ") + name_);
  if (quitsAfterSeconds && !quitAt_) quitAt_ = platform_.now.addMSecs(qint64(*quitsAfterSeconds * 1000.0));
}

void FakeRunningApplication::forceTerminate() {
  platform_.journal.append(QStringLiteral("force ") + name_);
  if (!survivesForce) terminated = true;
}

bool FakeRunningApplication::isTerminated() {
  if (quitAt_ && platform_.now >= *quitAt_) terminated = true;
  return terminated;
}

FakePlatform::FakePlatform() : now(QDate(2026, 11, 16), QTime(15, 54, 7), QTimeZone::utc()) {
  trashHandler = [this](const QString& path) {
    remove(path);
    return TrashOutcome{true, {}};
  };
  commandHandler = [](const QString& program, const QStringList&) {
    return CommandResult{127, QStringLiteral("The file \u201c%1\u201d doesn\u2019t exist.").arg(program)};
  };
  addDirectory(home);
}

void FakePlatform::addFile(const QString& path, const QByteArray& contents) {
  addDirectory(QFileInfo(path).path());
  files.insert(path, contents);
}

void FakePlatform::addDirectory(const QString& path) {
  for (QString folder = path; folder != QLatin1String("/") && !folder.isEmpty();
       folder = QFileInfo(folder).path())
    directories.insert(folder);
}

void FakePlatform::remove(const QString& path) {
  for (auto it = files.begin(); it != files.end();) it = isInside(it.key(), path) ? files.erase(it) : std::next(it);
  for (auto it = directories.begin(); it != directories.end();)
    it = isInside(*it, path) ? directories.erase(it) : std::next(it);
}

bool FakePlatform::fileExists(const QString& path) {
  return path == QLatin1String("/") || files.contains(path) || directories.contains(path);
}

bool FakePlatform::createDirectories(const QString& path) {
  if (files.contains(path) || unwritable.contains(path)) return false;
  addDirectory(path);
  return true;
}

std::optional<QByteArray> FakePlatform::readFile(const QString& path) {
  if (!files.contains(path)) return std::nullopt;
  return files.value(path);
}

bool FakePlatform::appendToFile(const QString& path, const QByteArray& bytes) {
  if (unwritable.contains(path) || !directories.contains(QFileInfo(path).path())) return false;
  files[path].append(bytes);
  return true;
}

bool FakePlatform::writeFile(const QString& path, const QByteArray& bytes) {
  if (unwritable.contains(path) || !directories.contains(QFileInfo(path).path())) return false;
  files[path] = bytes;
  return true;
}

TrashOutcome FakePlatform::moveToTrash(const QString& path) {
  journal.append(QStringLiteral("trash ") + path);
  return trashHandler(path);
}

CommandResult FakePlatform::runProcess(const QString& program, const QStringList& arguments) {
  journal.append(QStringLiteral("run ") + program + QLatin1Char(' ') + arguments.join(QLatin1Char(' ')));
  return commandHandler(program, arguments);
}

void FakePlatform::runEventLoop(double seconds) {
  now = now.addMSecs(qint64(seconds * 1000.0));
  if (onEventLoop) onEventLoop();
}

std::shared_ptr<FakeRunningApplication> FakePlatform::addApplication(const QString& bundleIdentifier,
                                                                      const QString& name) {
  auto application = std::make_shared<FakeRunningApplication>(*this, name);
  applications[bundleIdentifier].push_back(application);
  return application;
}

RunningApplicationList FakePlatform::runningApplications(const QString& bundleIdentifier) {
  journal.append(QStringLiteral("list ") + bundleIdentifier);
  RunningApplicationList running;
  for (const auto& application : applications.value(bundleIdentifier))
    if (!application->isTerminated()) running.push_back(application);
  return running;
}

std::optional<InputSourceList> FakePlatform::inputSources(const QString& sourceIdentifier) {
  return inputSourcesById.value(sourceIdentifier);
}

int FakePlatform::selectInputSource(const std::shared_ptr<InputSource>& source) {
  auto* fake = dynamic_cast<FakeInputSource*>(source.get());
  journal.append(QStringLiteral("select ") + (fake ? fake->name : QStringLiteral("?")));
  return 0;
}

int FakePlatform::disableInputSource(const std::shared_ptr<InputSource>& source) {
  auto* fake = dynamic_cast<FakeInputSource*>(source.get());
  journal.append(QStringLiteral("disable ") + (fake ? fake->name : QStringLiteral("?")));
  if (fake && disableStatus == 0) fake->enabled = false;
  return disableStatus;
}

std::optional<QString> FakePlatform::bundleResourcePath(const QString& name, const QString& extension) {
  const QString key = name + QLatin1Char('.') + extension;
  if (!resources.contains(key)) return std::nullopt;
  return resources.value(key);
}

QRectF FakePlatform::windowFrame(QWidget& window) {
  return windowFrames.value(&window, QRectF(QPointF(0, 0), defaultWindowSize));
}

void FakePlatform::setWindowFrame(QWidget& window, const QRectF& frame) {
  journal.append(QStringLiteral("frame %1 %2 %3 %4").arg(frame.x()).arg(frame.y()).arg(frame.width()).arg(frame.height()));
  windowFrames.insert(&window, frame);
}

void FakePlatform::setWindowOrigin(QWidget& window, const QPointF& origin) {
  journal.append(QStringLiteral("origin %1 %2").arg(origin.x()).arg(origin.y()));
  windowFrames.insert(&window, QRectF(origin, windowFrame(window).size()));
}

void FakePlatform::bringToFront(QWidget&) { journal.append(QStringLiteral("front")); }

void FakePlatform::terminateApplication() {
  journal.append(QStringLiteral("terminate-application"));
  ++terminations;
}

bool FakePlatform::confirm(const QString& title, const QString& message, const QString& confirmTitle,
                           const QString& cancelTitle) {
  journal.append(QStringLiteral("confirm ") + title);
  confirmations.push_back({title, message, confirmTitle, cancelTitle});
  if (confirmAnswers.empty()) return false;
  const bool answer = confirmAnswers.front();
  confirmAnswers.pop_front();
  return answer;
}

void FakePlatform::showCompletion(QWidget* window, bool warningStyle, const QString& title,
                                  const QStringList& reportLines, const QString& buttonTitle) {
  journal.append(QStringLiteral("completion ") + title);
  completions.push_back({window, warningStyle, title, reportLines.join(QLatin1Char('\n')), buttonTitle});
}

QStringList FakePlatform::journalOf(const QString& kind) const {
  QStringList lines;
  const QString prefix = kind + QLatin1Char(' ');
  for (const QString& line : journal)
    if (line.startsWith(prefix)) lines.append(line);
  return lines;
}
