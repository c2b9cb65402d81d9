#include "cli/CommandLine.h"

namespace {

const QString kUser = QStringLiteral("--user");

}  // namespace

std::variant<CommandLineRequest, QString> parseCommandLine(const QStringList& arguments) {
  CommandLineRequest request;
  if (arguments.size() == 1 && arguments[0] == QLatin1String("--help")) {
    request.kind = CommandLineRequest::Kind::Help;
    return request;
  }
  if (arguments.size() == 1 && arguments[0] == QLatin1String("--version")) {
    request.kind = CommandLineRequest::Kind::Version;
    return request;
  }

  const auto once = [](bool& flag, const QString& option) -> std::optional<QString> {
    if (flag) return option + QStringLiteral(" is given twice");
    flag = true;
    return std::nullopt;
  };
  for (qsizetype at = 0; at < arguments.size(); ++at) {
    const QString& argument = arguments[at];
    std::optional<QString> error;
    if (argument == QLatin1String("--dry-run")) {
      error = once(request.dryRun, argument);
    } else if (argument == QLatin1String("--json")) {
      error = once(request.json, argument);
    } else if (argument == QLatin1String("--yes")) {
      error = once(request.yes, argument);
    } else if (argument == kUser || argument.startsWith(kUser + QLatin1Char('='))) {
      if (request.user) return kUser + QStringLiteral(" is given twice");
      // "--user NAME" and "--user=NAME" alike.
      QString name = argument.mid(kUser.size() + 1);
      if (argument == kUser) name = ++at < arguments.size() ? arguments[at] : QString();
      if (name.isEmpty()) return kUser + QStringLiteral(" needs an account name");
      request.user = name;
    } else if (argument == QLatin1String("--help") || argument == QLatin1String("--version")) {
      error = argument + QStringLiteral(" goes alone, without an action or options");
    } else if (argument.startsWith(QLatin1Char('-'))) {
      error = QStringLiteral("unknown option ") + argument;
    } else if (request.action) {
      error = QStringLiteral("one action at a time: ") + QString(request.action->name) + QStringLiteral(" and ") +
              argument;
    } else if (!(request.action = findAction(argument))) {
      error = QStringLiteral("unknown action ") + argument;
    }
    if (error) return *error;
  }
  if (!request.action) return QStringLiteral("no action given");
  return request;
}

QString commandLineHelp(const Text& text) {
  QString help = QStringLiteral(
      "Usage: talvoren-uninstall [--dry-run] [--json] [--yes] [--user NAME] ACTION\n"
      "       talvoren-uninstall --help\n"
      "       talvoren-uninstall --version\n"
      "\n"
      "Runs one of the uninstaller's actions without its window: the same plan, the same\n"
      "report and the same log as the window's button. Nothing is deleted outright: every\n"
      "file and folder goes to the user's Trash.\n"
      "\n"
      "Actions:\n");
  for (const ActionDefinition& action : kActions)
    help += QStringLiteral("  %1  %2 (%3)\n").arg(QString(action.name).leftJustified(18), text.*action.confirmTitle,
                                                   text.*action.buttonTitle);
  help += QStringLiteral(
      "\n"
      "Options:\n"
      "  --dry-run    show what the action would change, and change nothing\n"
      "  --json       print one JSON object: the action, whether it was a dry run,\n"
      "               whether a line needs attention, and the report's lines\n"
      "  --yes        do not ask for confirmation (needed without a terminal)\n"
      "  --user NAME  act as the account NAME, in its home and Trash; required when\n"
      "               run as root, and otherwise only your own account is allowed\n"
      "\n"
      "Exit status:\n"
      "  0  the action ran and no line needs attention\n"
      "  1  the action ran and at least one line needs attention\n"
      "  2  nothing was done: a usage error or a refusal\n");
  return help;
}
