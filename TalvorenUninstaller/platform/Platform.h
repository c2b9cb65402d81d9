#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// What a program left behind when it ended: its termination status (exit code,
// or the number of the signal that ended it; 127 when it could not start) and
// everything it wrote to standard output and standard error, in order.
struct CommandResult {
  std::int32_t status = 0;
  QString output;
};

// The outcome of one move to the Trash; `error` is a one-line reason on failure.
struct TrashOutcome {
  bool moved = false;
  QString error;
};

// One running instance of an application, as seen when it was listed. It keeps
// pointing at that instance: once it has exited, nothing sent to it reaches any
// other process.
class RunningApplication {
 public:
  virtual ~RunningApplication() = default;
  // Asks the instance to quit in its ordinary way; it may refuse or take time.
  virtual void terminate() = 0;
  // Ends the instance without asking.
  virtual void forceTerminate() = 0;
  virtual bool isTerminated() = 0;
  // The system's number for the instance, as it was when listed.
  virtual qint64 processIdentifier() = 0;
};

// One keyboard input source. A property counts as set only when the system
// reports it as set; a missing or odd value reads as false.
class InputSource {
 public:
  virtual ~InputSource() = default;
  virtual bool isSelected() = 0;
  virtual bool isEnabled() = 0;
  // The source's identifier, as the system names it.
  virtual QString identifier() = 0;
};

// The most that readFile returns: a larger file counts as unreadable. It
// admits an install manifest of 1,000,000 components (about 220 MB) and stops
// a file that claims to be regular but never ends.
inline constexpr qsizetype kReadFileLimit = qsizetype(256) << 20;
// readFile leaves at least this many bytes of spare capacity after the data,
// so that a parser reading in wide blocks can work on the buffer in place.
inline constexpr qsizetype kReadFilePadding = 64;

// What running a system program does: whether it changes something on the
// system or only asks. The caller says which, where the call is made; a
// platform that records changes instead of making them still runs a program
// that only asks.
enum class CommandEffect { ChangesSystem, OnlyAsks };

using RunningApplicationList = std::vector<std::shared_ptr<RunningApplication>>;
using InputSourceList = std::vector<std::shared_ptr<InputSource>>;

// Everything the uninstaller's work asks of the operating system, and nothing
// else: files, the Trash, processes, time and waits, running applications,
// input sources and the program's own bundle. Operations reach the system only
// through this interface, so that they can be driven by a fake in tests and by
// a per-system implementation in the program; it needs no display. Screens,
// windows and dialogs are the window's business, in DesktopPlatform.
class Platform {
 public:
  virtual ~Platform() = default;

  // --- Files -------------------------------------------------------------
  // A path that the file system cannot hold exactly (one with U+0000, say)
  // names nothing: it does not exist and every operation on it fails.
  // The running user's home folder: absolute, no trailing "/" (unless "/").
  virtual QString homeDirectory() = 0;
  // The process's current folder, against which relative paths are resolved.
  virtual QString currentDirectory() = 0;
  // True when something exists at `path`; symbolic links are followed, so a
  // dangling link is absent.
  virtual bool fileExists(const QString& path) = 0;
  // Creates `path` and any missing folders above it; false when it could not
  // (including when something that is not a folder is in the way).
  virtual bool createDirectories(const QString& path) = 0;
  // The whole file, or nothing when it is missing, is not a regular file,
  // holds more than kReadFileLimit bytes or cannot be read. The result has
  // kReadFilePadding bytes of spare capacity after its data.
  virtual std::optional<QByteArray> readFile(const QString& path) = 0;
  // Adds `bytes` at the end of the file in one write, creating the file if
  // needed; earlier bytes are never rewritten. Only a regular file (or none)
  // is written to, and nothing ever waits for a reader.
  virtual bool appendToFile(const QString& path, const QByteArray& bytes) = 0;
  // Replaces the file's contents with `bytes`, creating it if needed; only
  // a regular file (or none), as for appendToFile.
  virtual bool writeFile(const QString& path, const QByteArray& bytes) = 0;
  // Moves the item (a folder whole) into the user's Trash, where it can be
  // restored from: `moved` only once the item is there with complete
  // restore information; otherwise it stays where it was. `label` says what
  // the item is, for a platform that describes its changes; the Trash itself
  // does not keep it.
  virtual TrashOutcome moveToTrash(const QString& path, const QString& label) = 0;

  // --- Processes and time -------------------------------------------------
  // Runs `program` (an absolute path, no shell, no search) with `arguments`
  // until it ends and its output is read to the end. Never throws.
  virtual CommandResult runProcess(const QString& program, const QStringList& arguments,
                                   CommandEffect effect) = 0;
  // Wall-clock time now, in UTC.
  virtual QDateTime currentTime() = 0;
  // Lets the event loop handle events for `seconds`, instead of sleeping, so
  // that state such as a process's exit can be brought up to date. Never
  // returns sooner, even once the program has been asked to quit.
  virtual void runEventLoop(double seconds) = 0;

  // --- Running applications -------------------------------------------------
  // The running instances of the application with this bundle identifier that
  // belong to the current user, at the time of the call.
  virtual RunningApplicationList runningApplications(const QString& bundleIdentifier) = 0;

  // --- Input sources ---------------------------------------------------------
  // Every installed input source with this identifier, enabled or not; nothing
  // when the system returns nothing usable.
  virtual std::optional<InputSourceList> inputSources(const QString& sourceIdentifier) = 0;
  // The keyboard source able to type ASCII that the system currently offers.
  virtual std::shared_ptr<InputSource> currentAsciiCapableKeyboardSource() = 0;
  // Both return a status, 0 meaning success.
  virtual int selectInputSource(const std::shared_ptr<InputSource>& source) = 0;
  virtual int disableInputSource(const std::shared_ptr<InputSource>& source) = 0;

  // --- Actions --------------------------------------------------------------
  // One action (a plan and its report, start to end) begins or ends; see
  // ActionScope, which is how the engine calls them. In between the platform
  // may use again, for the action's later steps, what it opened and checked
  // for an earlier one (the Linux platform: each trash folder, checked once
  // per action); nothing is kept from one action to the next. Calls nest, and
  // only the outermost end ends the action.
  virtual void beginAction() = 0;
  virtual void endAction() = 0;

  // --- The uninstaller's own bundle ----------------------------------------
  virtual QString bundlePath() = 0;
  // The bundle's short version string, when it has one.
  virtual std::optional<QString> bundleShortVersion() = 0;
  // The path of a resource shipped with the program, when it exists.
  virtual std::optional<QString> bundleResourcePath(const QString& name, const QString& extension) = 0;
};
