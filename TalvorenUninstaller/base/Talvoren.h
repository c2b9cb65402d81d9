#pragma once

#include <QString>

// The fixed names of the dictation app that more than one operation needs.
// Each is written here once; the locations under the home folder that are
// built from them are in TalvorenInstall.
namespace Talvoren {

// The shipping app: its running instances, permissions, preferences domain
// and first-run marker all go by this identifier.
inline const QString kAppIdentifier = QStringLiteral("com.quvex.Talvoren.direct");
// The development build, which keeps permission decisions of its own.
inline const QString kDevelopmentIdentifier = QStringLiteral("com.quvex.Talvoren.dev");
// The keyboard helper's input source and its application share this one.
inline const QString kInputMethodIdentifier = QStringLiteral("com.quvex.Talvoren.direct.InputMethod");

// The app bundle lives system-wide, not under the home folder.
inline const QString kInstalledAppPath = QStringLiteral("/Applications/Talvoren.app");
inline const QString kKeyboardHelperLabel = QStringLiteral("Keyboard helper");

}  // namespace Talvoren

// The system programs the uninstaller drives for what it does not do itself.
namespace SystemProgram {

// Forgets privacy decisions.
inline const QString kTccutil = QStringLiteral("/usr/bin/tccutil");
// Reads and deletes preferences.
inline const QString kDefaults = QStringLiteral("/usr/bin/defaults");
// Runs the script that asks the Finder to trash an item.
inline const QString kOsascript = QStringLiteral("/usr/bin/osascript");

}  // namespace SystemProgram
