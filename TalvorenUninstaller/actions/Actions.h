#pragma once

#include "actions/Uninstaller.h"

#include <QLatin1StringView>

#include <array>

// One action that the user can ask for: how it is named, what its button says,
// the confirmation it asks for, and the plan it runs. Every front (the window's
// buttons and handlers, the command line) is built from the table below, so a
// new action is one more row.
struct ActionDefinition {
  // The action's name for scripts and the command line.
  QLatin1StringView name;
  QString Text::*buttonTitle;
  QString Text::*confirmTitle;
  QString Text::*confirmMessage;
  Report (Uninstaller::*plan)();
};

inline constexpr std::array<ActionDefinition, 4> kActions{{
    {QLatin1StringView("reset-permissions"), &Text::resetButton, &Text::confirmResetTitle,
     &Text::confirmResetMessage, &Uninstaller::resetPermissionsPlan},
    {QLatin1StringView("remove-app"), &Text::removeAppButton, &Text::confirmRemoveAppTitle,
     &Text::confirmRemoveAppMessage, &Uninstaller::removeAppOnlyPlan},
    {QLatin1StringView("remove-model"), &Text::removeModelButton, &Text::confirmRemoveModelTitle,
     &Text::confirmRemoveModelMessage, &Uninstaller::removeModelPlan},
    {QLatin1StringView("full-uninstall"), &Text::fullButton, &Text::confirmFullTitle, &Text::confirmFullMessage,
     &Uninstaller::fullUninstallPlan},
}};

enum class Action { ResetPermissions, RemoveAppOnly, RemoveModel, FullUninstall };

constexpr const ActionDefinition& definitionOf(Action action) { return kActions[std::size_t(action)]; }

// The row whose name is `name`, or nothing.
const ActionDefinition* findAction(QStringView name);
