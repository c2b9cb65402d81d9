#include "manifest/ManifestOperations.h"

#include "base/Talvoren.h"

QString ManifestOperations::manifestLabel(const ManifestComponent& component) const {
  const QString& id = component.id;
  if (id == QLatin1String("model:recommended")) return QStringLiteral("AI model file");
  if (id == QLatin1String("path:models-folder")) return QStringLiteral("AI model folder");
  if (id == QLatin1String("path:output-folder")) return QStringLiteral("Temporary dictation files");
  if (id == QLatin1String("path:app-support")) return text.supportLabel;
  if (id == QLatin1String("path:install-manifest")) return text.manifestLabel;
  if (id == QLatin1String("path:installed-uninstaller")) return QStringLiteral("Installer helper");
  if (id == QLatin1String("path:installed-input-method")) return Talvoren::kKeyboardHelperLabel;

  const QString& group = component.removalGroup;
  if (group == QLatin1String("app"))
    return component.kind == QLatin1String("bundled-runtime") ? QStringLiteral("Bundled speech engine") : text.appLabel;
  if (group == QLatin1String("model")) return text.modelLabel;
  if (group == QLatin1String("app-data")) return text.supportLabel;
  if (group == QLatin1String("installer-helper")) return QStringLiteral("Installer helper");
  if (group == QLatin1String("input-method")) return Talvoren::kKeyboardHelperLabel;
  if (group == QLatin1String("manifest")) return text.manifestLabel;
  if (group == QLatin1String("speech-engine")) return QStringLiteral("Speech engine");
  return component.kind;
}
