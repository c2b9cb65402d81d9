#pragma once

#include "platform/Platform.h"

// One action on a platform, for as long as the scope lasts: the engine opens
// one around each plan it runs (Uninstaller::run, the window's action
// runner, a preview), so that what the platform checks once for the action
// serves all its steps and is checked afresh for the next action.
class ActionScope {
 public:
  explicit ActionScope(Platform& platform) : platform_(platform) { platform_.beginAction(); }
  ~ActionScope() { platform_.endAction(); }
  ActionScope(const ActionScope&) = delete;
  ActionScope& operator=(const ActionScope&) = delete;

 private:
  Platform& platform_;
};
