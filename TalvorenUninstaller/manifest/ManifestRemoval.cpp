#include "app/UninstallerApp.h"
#include "manifest/ManifestPath.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

struct PendingComponent {
  const ManifestComponent* component;
  ManifestPath path;
};

std::vector<ManifestComponent> readComponents(Platform& platform, const QString& manifestPath) {
  const std::optional<QByteArray> bytes = platform.readFile(manifestPath);
  if (!bytes) return {};
  std::optional<InstallManifest> manifest = decodeInstallManifest(*bytes);
  return manifest ? std::move(manifest->components) : std::vector<ManifestComponent>{};
}

bool isExternal(const ManifestComponent& component) {
  return component.removalGroup == QLatin1String("speech-engine") ||
         component.kind == QLatin1String("speech-engine") || component.removalGroup == QLatin1String("none");
}

// The summary only looks at the shape: an object whose "components" is an
// array of objects. What is inside each object does not matter here.
std::optional<qsizetype> countComponentObjects(const QByteArray& bytes) {
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
  const QJsonValue components = document.object().value(QLatin1String("components"));
  if (!components.isArray()) return std::nullopt;
  const QJsonArray list = components.toArray();
  const bool allObjects = std::all_of(list.begin(), list.end(), [](const QJsonValue& v) { return v.isObject(); });
  return allObjects ? std::optional<qsizetype>(list.size()) : std::nullopt;
}

bool isInsideOrEqual(const QByteArray& key, const QString& root) {
  const QByteArray rootKey = compositionKey(root);
  return key == rootKey || (key.startsWith(rootKey) && key.size() > rootKey.size() && key.at(rootKey.size()) == '/');
}

// "/Applications/Talvoren*.app" and anything inside such a bundle.
bool isSystemApplicationBundle(const QString& path) {
  const QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
  return path.startsWith(QLatin1Char('/')) && parts.size() >= 2 && parts.at(0) == QLatin1String("Applications") &&
         parts.at(1).startsWith(QLatin1String("Talvoren")) && parts.at(1).endsWith(QLatin1String(".app"));
}

}  // namespace

void UninstallerApp::removeManifestComponents(const QSet<QString>& groups,
                                              const std::vector<ManifestFallback>& fallback, Report& report) {
  const QString currentDirectory = platform_.currentDirectory();
  const std::vector<ManifestComponent> components = readComponents(platform_, install_.manifestPath());

  // Each path is normalised once, here, so that sorting stays n log n.
  std::vector<PendingComponent> pending;
  pending.reserve(components.size());
  for (const ManifestComponent& component : components)
    pending.push_back({&component, normaliseManifestPath(component.path, currentDirectory)});
  std::stable_sort(pending.begin(), pending.end(),
                   [](const PendingComponent& a, const PendingComponent& b) { return isHandledBefore(a.path, b.path); });

  QSet<QByteArray> wantedGroups;
  for (const QString& group : groups) wantedGroups.insert(compositionKey(group));

  // A path is handled once per call, whatever came of it the first time.
  QSet<QByteArray> handled;
  bool runtimeReported = false;
  for (const PendingComponent& entry : pending) {
    const ManifestComponent& component = *entry.component;
    if (!wantedGroups.contains(compositionKey(component.removalGroup))) continue;
    const ManifestPath& path = entry.path;
    if (path.isEmpty() || handled.contains(path.key)) continue;
    handled.insert(path.key);

    const QString label = manifestLabel(component);
    if (isExternal(component)) {
      report.skipped(label + QStringLiteral(": external Homebrew component left untouched (") + path.path +
                     QLatin1Char(')'));
    } else if (component.kind == QLatin1String("bundled-runtime")) {
      // The runtime lives inside the app bundle and goes with it.
      if (!runtimeReported) report.skipped(label + QStringLiteral(": removed with Talvoren.app"));
      runtimeReported = true;
    } else if (isSafeManifestRemovalPath(path.path)) {
      trash(path.path, label, report);
    } else {
      report.skipped(label + QStringLiteral(": outside Talvoren uninstall scope (") + path.path + QLatin1Char(')'));
    }
  }

  // The program's own fixed locations need no safety check; they are only
  // skipped when the manifest already dealt with the same path.
  for (const ManifestFallback& entry : fallback) {
    const ManifestPath path = normaliseManifestPath(entry.path, currentDirectory);
    if (handled.contains(path.key)) continue;
    handled.insert(path.key);
    trash(path.path, entry.label, report);
  }
}

bool UninstallerApp::isSafeManifestRemovalPath(const QString& normalisedPath) const {
  const QByteArray key = compositionKey(normalisedPath);
  for (const QString* root : {&install_.appSupportPath(), &install_.logsPath(), &install_.cachePath(),
                              &install_.savedStatePath()}) {
    if (isInsideOrEqual(key, *root)) return true;
  }
  // A single file and a single bundle: nothing below them is the app's to give.
  if (key == compositionKey(install_.preferencesPath()) || key == compositionKey(install_.inputMethodPath()))
    return true;
  return isSystemApplicationBundle(normalisedPath.normalized(QString::NormalizationForm_C));
}

bool UninstallerApp::manifestRemovalOrder(const ManifestComponent& a, const ManifestComponent& b) const {
  const QString currentDirectory = platform_.currentDirectory();
  return isHandledBefore(normaliseManifestPath(a.path, currentDirectory),
                         normaliseManifestPath(b.path, currentDirectory));
}

QString UninstallerApp::manifestSummary() const {
  const QString& path = install_.manifestPath();
  if (!platform_.fileExists(path)) return text.notFound;
  const std::optional<QByteArray> bytes = platform_.readFile(path);
  const std::optional<qsizetype> count = bytes ? countComponentObjects(*bytes) : std::nullopt;
  if (!count) return path;
  return QString::number(*count) + QStringLiteral(" recorded components at ") + path;
}
