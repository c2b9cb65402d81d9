#pragma once

#include <QString>

// The fixed English texts that the window, the dialogs and the report lines
// share. Built once with the uninstaller and never changed; there is no
// localisation. Other fixed words stay beside the code that uses them ("OK"),
// or in Talvoren.h when more than one place needs them ("Keyboard helper").
struct Text {
  QString title = QStringLiteral("Uninstall Talvoren");
  QString subtitle = QStringLiteral("Choose what you want to remove from this Mac.");
  QString safetyNote = QStringLiteral("Use this tool to remove Talvoren files or reset its macOS permissions.");
  QString working = QStringLiteral("Working...");
  QString resetButton = QStringLiteral("Reset macOS Permissions");
  QString removeAppButton = QStringLiteral("Remove App Only");
  QString removeModelButton = QStringLiteral("Remove AI Model");
  QString fullButton = QStringLiteral("Full Uninstall");
  QString quitButton = QStringLiteral("Quit");
  QString cancelButton = QStringLiteral("Cancel");
  QString confirmResetTitle = QStringLiteral("Reset permissions?");
  QString confirmResetMessage = QStringLiteral(
      "macOS will forget the Microphone and Accessibility decisions for Talvoren. The app will ask again next "
      "time.");
  QString confirmRemoveAppTitle = QStringLiteral("Remove Talvoren app?");
  QString confirmRemoveAppMessage = QStringLiteral(
      "Talvoren.app will be moved to Trash. The AI model and user data will stay on this Mac. macOS permissions "
      "for Talvoren will also be reset.");
  QString confirmRemoveModelTitle = QStringLiteral("Remove the AI model?");
  QString confirmRemoveModelMessage = QStringLiteral(
      "The local AI model files will be moved to Trash. Talvoren can download the model again later.");
  QString confirmFullTitle = QStringLiteral("Fully uninstall Talvoren?");
  QString confirmFullMessage = QStringLiteral(
      "Talvoren.app, AI model files, app support files, logs, preferences, caches, saved state, and macOS "
      "permissions will be removed or reset.");
  QString doneTitle = QStringLiteral("Done");
  QString initialStatus = QStringLiteral("Nothing has been removed yet.");
  QString appLabel = QStringLiteral("Talvoren app");
  QString modelLabel = QStringLiteral("AI model files");
  QString supportLabel = QStringLiteral("Application Support folder");
  QString logsLabel = QStringLiteral("Logs");
  QString preferencesLabel = QStringLiteral("Preferences");
  QString cacheLabel = QStringLiteral("Caches");
  QString savedStateLabel = QStringLiteral("Saved window state");
  QString permissionsLabel = QStringLiteral("macOS permissions");
  QString noRunningApp = QStringLiteral("Talvoren is not running.");
  QString askedToQuit = QStringLiteral("Asked Talvoren to quit.");
  QString forcedToQuit = QStringLiteral("Forced Talvoren to quit.");
  QString stillRunning = QStringLiteral("Talvoren is still running. Quit it manually if removal fails.");
  QString movedToTrash = QStringLiteral("moved to Trash");
  QString notFound = QStringLiteral("not found");
  QString couldNotMove = QStringLiteral("could not be moved to Trash");
  QString permissionsPartial =
      QStringLiteral("Permission categories were reset; unavailable categories were skipped by macOS.");
  QString preferencesRemoved = QStringLiteral("Preferences removed.");
  QString manifestLabel = QStringLiteral("Install manifest");
  QString fallbackTrash = QStringLiteral("Finder Trash fallback used");
  QString logSaved = QStringLiteral("Uninstall log saved");
};
