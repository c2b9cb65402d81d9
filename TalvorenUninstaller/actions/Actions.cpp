#include "actions/Actions.h"

const ActionDefinition* findAction(QStringView name) {
  for (const ActionDefinition& action : kActions)
    if (name == action.name) return &action;
  return nullptr;
}
