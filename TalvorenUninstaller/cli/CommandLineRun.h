#pragma once

#include "cli/CommandLine.h"

#include <cstdio>
#include <optional>

// The streams a run talks through: report lines and the JSON object go to
// `out`, everything meant for the person or the log of a script (questions,
// refusals) to `err`; answers come from `in`.
struct Console {
  std::FILE* in = stdin;
  std::FILE* out = stdout;
  std::FILE* err = stderr;
  bool inputIsTerminal = false;
};

// Asks for the action's confirmation where one is needed and runs it through
// `uninstaller`, printing its report as the request says. Returns the exit
// status. The caller has already settled whose account this runs as.
int runCommandLineAction(const CommandLineRequest& request, Uninstaller& uninstaller, const Console& console);

// Settles whose account the run acts as, before anything is read: run as root
// it must be given a user and becomes that user for good; anyone else may
// only name themselves. Nothing when the run may go on; otherwise the one-line
// reason for refusing.
std::optional<QString> actAs(const std::optional<QString>& user);

// Writes `text` as it is.
void printText(std::FILE* stream, const QString& text);
// Writes "talvoren-uninstall: " + message as one line on `err`.
void printDiagnostic(const Console& console, const QString& message);
