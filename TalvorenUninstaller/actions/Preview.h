#pragma once

#include "actions/Actions.h"
#include "platform/RecordingPlatform.h"

#include <QStringList>

#include <vector>

// What an action would do: its plan run through the real operations against
// a RecordingPlatform over the real system, so that it cannot drift from what
// the action then does. Nothing is changed and nothing is logged.
struct ActionPreview {
  // Every change the plan asked for, in order.
  std::vector<RecordedChange> changes;
  // The report the plan returned (without the line that names the log:
  // nothing was logged).
  Report report;
};

// Requesting `stop` makes a preview still running end soon; what it then
// returns is of no use.
ActionPreview previewAction(Platform& system, const ActionDefinition& action, std::stop_token stop = {});

// What a preview takes for granted, in one line.
QString previewAssumption();

// The name a change that acts on the system goes by ("trash", "run", "quit",
// "force-quit", "select-input-source", "disable-input-source"); nothing for
// the plan's own file writes, its log lines, which are no such change.
const char* changeName(RecordedChange::Kind kind);

// The changes that act on the system, one line each ("trash: PATH (LABEL)",
// "run: PROGRAM ARGUMENT...", "quit: pid N", "force-quit: pid N",
// "select-input-source: ID", "disable-input-source: ID"). The plan's own log
// lines are no such change.
QStringList changeLines(const std::vector<RecordedChange>& changes);

// The preview for a person: the assumption, the items that will go to the
// Trash, what will be left alone and why, then the system steps.
QStringList previewDetails(const ActionPreview& preview);
