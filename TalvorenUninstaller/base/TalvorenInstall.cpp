#include "base/TalvorenInstall.h"

#include "base/Talvoren.h"
#include "platform/Platform.h"

const QString& TalvorenInstall::home() const {
  return home_.get([this] { return platform_.homeDirectory(); });
}

const QString& TalvorenInstall::appSupportPath() const {
  return appSupport_.get([this] { return home() + QStringLiteral("/Library/Application Support/Talvoren"); });
}

const QString& TalvorenInstall::modelsPath() const {
  return models_.get([this] { return appSupportPath() + QStringLiteral("/Models"); });
}

const QString& TalvorenInstall::manifestPath() const {
  return manifest_.get([this] { return appSupportPath() + QStringLiteral("/install-manifest.json"); });
}

const QString& TalvorenInstall::logsPath() const {
  return logs_.get([this] { return home() + QStringLiteral("/Library/Logs/Talvoren"); });
}

const QString& TalvorenInstall::uninstallerLogPath() const {
  return uninstallerLog_.get([this] { return home() + QStringLiteral("/Library/Logs/Talvoren-Uninstaller.log"); });
}

const QString& TalvorenInstall::preferencesPath() const {
  return preferences_.get(
      [this] { return home() + QStringLiteral("/Library/Preferences/") + Talvoren::kAppIdentifier + QStringLiteral(".plist"); });
}

const QString& TalvorenInstall::cachePath() const {
  return cache_.get([this] { return home() + QStringLiteral("/Library/Caches/") + Talvoren::kAppIdentifier; });
}

const QString& TalvorenInstall::savedStatePath() const {
  return savedState_.get([this] {
    return home() + QStringLiteral("/Library/Saved Application State/") + Talvoren::kAppIdentifier +
           QStringLiteral(".savedState");
  });
}

const QString& TalvorenInstall::inputMethodPath() const {
  return inputMethod_.get(
      [this] { return home() + QStringLiteral("/Library/Input Methods/TalvorenInputMethod.app"); });
}
