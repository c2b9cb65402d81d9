#include "cleanup/CleanupOperations.h"

#include "base/Talvoren.h"

void CleanupOperations::disableTalvorenInputSource(Report& report) {
  const std::optional<InputSourceList> sources = platform_.inputSources(Talvoren::kInputMethodIdentifier);
  // Not installed: nothing to report, and a helper process, if one runs, is
  // left alone.
  if (!sources || sources->empty() || !sources->front()) return;
  const std::shared_ptr<InputSource>& source = sources->front();

  // Switch the user away before the source goes, so they are not left
  // without a keyboard. Without an ASCII-capable source to go to, the system
  // picks the next one itself once the source is disabled.
  if (source->isSelected()) {
    if (const std::shared_ptr<InputSource> ascii = platform_.currentAsciiCapableKeyboardSource())
      platform_.selectInputSource(ascii);
  }

  if (source->isEnabled()) {
    if (platform_.disableInputSource(source) == 0) {
      report.ok(QStringLiteral("Keyboard helper input source disabled"));
    } else {
      report.warning(QStringLiteral("Keyboard helper input source may remain listed until you log out"));
    }
  }

  // The helper's process would otherwise keep its files in use; it is not
  // asked first and not waited for.
  for (const auto& helper : platform_.runningApplications(Talvoren::kInputMethodIdentifier)) helper->forceTerminate();
}
