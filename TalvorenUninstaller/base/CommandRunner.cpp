#include "base/OperationContext.h"

CommandResult OperationContext::runCommand(const QString& program, const QStringList& arguments,
                                           CommandEffect effect) const {
  return platform_.runProcess(program, arguments, effect);
}
