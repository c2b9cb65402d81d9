#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>
#include <vector>

// One installed file or folder, as the dictation application's installer
// recorded it.
struct ManifestComponent {
  QString id;
  QString kind;
  QString path;
  QString status;
  QString source;
  bool installedByTalvoren = false;
  QString removalGroup;
  QMap<QString, QString> details;
};

struct InstallManifest {
  std::vector<ManifestComponent> components;
};

// Strict decoding: every key present and of its type, or no manifest at all.
std::optional<InstallManifest> decodeInstallManifest(const QByteArray& json);

// A fixed location that an action removes after the manifest's components,
// unless the manifest already handled the same path.
struct ManifestFallback {
  QString path;
  QString label;
};
