#include "manifest/ManifestOperations.h"

#include "base/Talvoren.h"
#include "manifest/ManifestJson.h"

// Compared in the UTF-8 they are read in: every fixed name is ASCII.
QString ManifestOperations::manifestLabel(std::string_view id, std::string_view kind, std::string_view group) const {
  if (id == "model:recommended") return QStringLiteral("AI model file");
  if (id == "path:models-folder") return QStringLiteral("AI model folder");
  if (id == "path:output-folder") return QStringLiteral("Temporary dictation files");
  if (id == "path:app-support") return text.supportLabel;
  if (id == "path:install-manifest") return text.manifestLabel;
  if (id == "path:installed-uninstaller") return QStringLiteral("Installer helper");
  if (id == "path:installed-input-method") return Talvoren::kKeyboardHelperLabel;

  if (group == "app") return kind == "bundled-runtime" ? QStringLiteral("Bundled speech engine") : text.appLabel;
  if (group == "model") return text.modelLabel;
  if (group == "app-data") return text.supportLabel;
  if (group == "installer-helper") return QStringLiteral("Installer helper");
  if (group == "input-method") return Talvoren::kKeyboardHelperLabel;
  if (group == "manifest") return text.manifestLabel;
  if (group == "speech-engine") return QStringLiteral("Speech engine");
  return textOf(kind);
}
