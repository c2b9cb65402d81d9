#pragma once

#include "actions/Actions.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

// What a run of talvoren-uninstall asks for, read from its arguments alone:
// nothing is looked up on the system while they are read.
struct CommandLineRequest {
  enum class Kind { Run, Help, Version };
  Kind kind = Kind::Run;
  const ActionDefinition* action = nullptr;
  bool dryRun = false;
  bool json = false;
  bool yes = false;
  std::optional<QString> user;
};

// The request that `arguments` (without the program's name) make, or a
// one-line reason why they make none.
std::variant<CommandLineRequest, QString> parseCommandLine(const QStringList& arguments);

// The text --help prints: the synopsis, each action with its confirmation
// title, the options and the exit statuses.
QString commandLineHelp(const Text& text);

// How a run ends, as scripts see it.
enum ExitStatus : int {
  kExitDone = 0,            // the action ran and no line needs attention
  kExitNeedsAttention = 1,  // it ran and at least one line needs attention
  kExitNothingDone = 2,     // a usage error or a refusal: nothing was done
};
