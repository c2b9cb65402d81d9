#pragma once

#include "platform/Platform.h"

#include <QDateTime>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>
#include <QTimeZone>

#include <functional>

// Where the program keeps its log under the fake home.
inline const QString kFakeLogPath = QStringLiteral("/Users/example/Library/Logs/Talvoren-Uninstaller.log");

// A platform held entirely in memory. Every call that changes something, or
// that a test wants to see in order, is written to `journal` as one line, so
// tests can assert the exact sequence of what the program asked for. Time
// moves only inside runEventLoop().
class FakePlatform final : public Platform {
 public:
  // An application that quits this many seconds after being asked, or never
  // (std::nullopt); one that survives force is not ended even by that.
  class Application final : public RunningApplication {
   public:
    Application(FakePlatform& platform, QString name) : platform_(platform), name_(std::move(name)) {}
    std::optional<double> quitsAfterSeconds = 0.0;
    bool survivesForce = false;

    void terminate() override {
      platform_.journal.append(QStringLiteral("terminate ") + name_);
      if (quitsAfterSeconds && !quitAt_) quitAt_ = platform_.now.addMSecs(qint64(*quitsAfterSeconds * 1000.0));
    }
    void forceTerminate() override {
      platform_.journal.append(QStringLiteral("force ") + name_);
      terminated_ = terminated_ || !survivesForce;
    }
    bool isTerminated() override { return terminated_ = terminated_ || (quitAt_ && platform_.now >= *quitAt_); }
    qint64 processIdentifier() override { return pid; }
    qint64 pid = 0;

   private:
    FakePlatform& platform_;
    QString name_;
    std::optional<QDateTime> quitAt_;
    bool terminated_ = false;
  };

  struct Source final : InputSource {
    Source(QString name, bool selected, bool enabled) : name(std::move(name)), selected(selected), enabled(enabled) {}
    bool isSelected() override { return selected; }
    bool isEnabled() override { return enabled; }
    QString identifier() override { return name; }
    QString name;
    bool selected;
    bool enabled;
  };

  FakePlatform() { addDirectory(home); }

  QStringList journal;
  // Files and folders.
  QString home = QStringLiteral("/Users/example");
  QString workingDirectory = home;
  QSet<QString> directories;
  QMap<QString, QByteArray> files;
  // Decides each move to the Trash; by default the item and everything below
  // it disappear and the move succeeds.
  std::function<TrashOutcome(const QString&)> trashHandler = [this](const QString& path) {
    remove(path);
    return TrashOutcome{true, {}};
  };
  // Answers each command; by default nothing can be started.
  std::function<CommandResult(const QString&, const QStringList&)> commandHandler =
      [](const QString&, const QStringList&) { return CommandResult{127, QStringLiteral("launch failed")}; };
  QDateTime now{QDate(2026, 11, 16), QTime(15, 54, 7), QTimeZone::utc()};
  // Running applications by bundle identifier, and input sources by source identifier.
  QMap<QString, std::vector<std::shared_ptr<Application>>> applications;
  QMap<QString, std::optional<InputSourceList>> inputSourcesById;
  std::shared_ptr<Source> asciiSource = std::make_shared<Source>(QStringLiteral("ABC"), false, false);
  int disableStatus = 0;
  // The bundle and its resources ("name.ext" -> path).
  QString bundle = QStringLiteral("/opt/TalvorenUninstaller");
  std::optional<QString> shortVersion = QStringLiteral("1.0.0");
  QMap<QString, QString> resources;

  void addFile(const QString& path, const QByteArray& contents = {}) {
    addDirectory(QFileInfo(path).path());
    files.insert(path, contents);
  }
  void addDirectory(const QString& path) {
    for (QString folder = path; folder != QLatin1String("/") && !folder.isEmpty(); folder = QFileInfo(folder).path())
      directories.insert(folder);
  }
  // Removes the item and everything below it.
  void remove(const QString& path) {
    const auto inside = [&path](const QString& item) { return item == path || item.startsWith(path + '/'); };
    files.removeIf([&](const auto& entry) { return inside(entry.key()); });
    directories.removeIf(inside);
  }
  std::shared_ptr<Application> addApplication(const QString& bundleIdentifier, const QString& name) {
    return applications[bundleIdentifier].emplace_back(std::make_shared<Application>(*this, name));
  }
  QStringList journalOf(const QString& kind) const {
    return journal.filter(QRegularExpression(QLatin1Char('^') + kind + QLatin1Char(' ')));
  }

  QString homeDirectory() override { return home; }
  QString currentDirectory() override { return workingDirectory; }
  bool fileExists(const QString& path) override {
    return path == QLatin1String("/") || files.contains(path) || directories.contains(path);
  }
  bool createDirectories(const QString& path) override {
    if (files.contains(path)) return false;
    addDirectory(path);
    return true;
  }
  std::optional<QByteArray> readFile(const QString& path) override {
    return files.contains(path) ? std::optional(files.value(path)) : std::nullopt;
  }
  bool appendToFile(const QString& path, const QByteArray& bytes) override {
    if (!directories.contains(QFileInfo(path).path())) return false;
    files[path].append(bytes);
    return true;
  }
  bool writeFile(const QString& path, const QByteArray& bytes) override {
    if (!directories.contains(QFileInfo(path).path())) return false;
    files[path] = bytes;
    return true;
  }
  TrashOutcome moveToTrash(const QString& path, const QString&) override {
    journal.append(QStringLiteral("trash ") + path);
    return trashHandler(path);
  }
  CommandResult runProcess(const QString& program, const QStringList& arguments, CommandEffect) override {
    journal.append(QStringLiteral("run ") + program + QLatin1Char(' ') + arguments.join(QLatin1Char(' ')));
    return commandHandler(program, arguments);
  }
  QDateTime currentTime() override { return now; }
  void runEventLoop(double seconds) override { now = now.addMSecs(qint64(seconds * 1000.0)); }
  RunningApplicationList runningApplications(const QString& bundleIdentifier) override {
    journal.append(QStringLiteral("list ") + bundleIdentifier);
    RunningApplicationList running;
    for (const auto& application : applications.value(bundleIdentifier))
      if (!application->isTerminated()) running.push_back(application);
    return running;
  }
  std::optional<InputSourceList> inputSources(const QString& id) override { return inputSourcesById.value(id); }
  std::shared_ptr<InputSource> currentAsciiCapableKeyboardSource() override { return asciiSource; }
  int selectInputSource(const std::shared_ptr<InputSource>& source) override {
    journal.append(QStringLiteral("select ") + static_cast<Source&>(*source).name);
    return 0;
  }
  int disableInputSource(const std::shared_ptr<InputSource>& source) override {
    auto& fake = static_cast<Source&>(*source);
    journal.append(QStringLiteral("disable ") + fake.name);
    fake.enabled = fake.enabled && disableStatus != 0;
    return disableStatus;
  }
  // Nothing here is checked once per action, so an action keeps nothing.
  void beginAction() override {}
  void endAction() override {}
  QString bundlePath() override { return bundle; }
  std::optional<QString> bundleShortVersion() override { return shortVersion; }
  std::optional<QString> bundleResourcePath(const QString& name, const QString& extension) override {
    const QString key = name + QLatin1Char('.') + extension;
    return resources.contains(key) ? std::optional(resources.value(key)) : std::nullopt;
  }
};
