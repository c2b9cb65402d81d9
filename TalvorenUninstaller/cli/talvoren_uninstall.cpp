// talvoren-uninstall: the uninstaller's four actions for scripts and
// terminals, through the same engine as the window and with no display.
#include "cli/CommandLine.h"
#include "cli/CommandLineRun.h"
#include "platform/Account.h"
#include "platform/linux/LinuxPlatform.h"

#include <QCoreApplication>

int main(int argc, char* argv[]) {
  QStringList arguments;
  for (int i = 1; i < argc; ++i) arguments.append(QString::fromLocal8Bit(argv[i]));
  Console console;
  console.inputIsTerminal = Account::standardInputIsTerminal();

  const std::variant<CommandLineRequest, QString> parsed = parseCommandLine(arguments);
  if (const QString* error = std::get_if<QString>(&parsed)) {
    printDiagnostic(console, *error + QStringLiteral(" (see --help)"));
    return kExitNothingDone;
  }
  const CommandLineRequest& request = std::get<CommandLineRequest>(parsed);
  if (request.kind == CommandLineRequest::Kind::Help) {
    printText(console.out, commandLineHelp(Text()));
    return kExitDone;
  }
  if (request.kind == CommandLineRequest::Kind::Version) {
    printText(console.out, LinuxPlatform().bundleShortVersion().value_or(QStringLiteral("unknown")) + '\n');
    return kExitDone;
  }

  if (const std::optional<QString> refusal = actAs(request.user)) {
    printDiagnostic(console, *refusal + QStringLiteral("; nothing was done"));
    return kExitNothingDone;
  }
  // Only now, as the user the run acts for: waits and system programs need
  // an event loop.
  QCoreApplication application(argc, argv);
  LinuxPlatform platform;
  Uninstaller uninstaller(platform);
  return runCommandLineAction(request, uninstaller, console);
}
