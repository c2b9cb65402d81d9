#pragma once

#include <QString>

#include <optional>

// Who the program runs as, for a front that may be started by an
// administrator on another user's behalf. Process-wide, unlike Platform:
// these are asked and done once, before any Platform exists.
namespace Account {

// True when the program runs with the administrator's user identity.
bool runsAsRoot();
// The login name of the account the program runs as, if the account
// database knows it.
std::optional<QString> currentName();
// Becomes the account `name` for the rest of the process, wholly and for
// good: its supplementary groups, its group and its user, real and effective,
// with HOME, USER and LOGNAME from the account database whatever the
// environment said, and no data folder inherited from the caller. Nothing on
// success; otherwise a one-line reason, with the process unchanged when the
// account is unknown.
std::optional<QString> become(const QString& name);
// True when standard input is a terminal a person can answer at.
bool standardInputIsTerminal();

}  // namespace Account
