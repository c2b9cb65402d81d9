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

// The app's own locations, composed once per call rather than per path.
struct SafeLocations {
  QByteArray folders[4];  // the locations and everything inside them
  QByteArray items[2];    // exactly these paths, nothing below them
};

SafeLocations safeLocationsOf(const TalvorenInstall& install) {
  return {{compositionKey(install.appSupportPath()), compositionKey(install.logsPath()),
           compositionKey(install.cachePath()), compositionKey(install.savedStatePath())},
          {compositionKey(install.preferencesPath()), compositionKey(install.inputMethodPath())}};
}

bool isInsideOrEqual(QByteArrayView key, QByteArrayView folder) {
  return key.startsWith(folder) && (key.size() == folder.size() || key.at(folder.size()) == '/');
}

QByteArrayView nextPart(QByteArrayView path, qsizetype& from) {
  while (from < path.size() && path.at(from) == '/') ++from;
  const qsizetype start = from;
  while (from < path.size() && path.at(from) != '/') ++from;
  return path.sliced(start, from - start);
}

// "/Applications/Talvoren*.app" and anything inside such a bundle.
bool isSystemApplicationBundle(QByteArrayView key) {
  if (!key.startsWith('/')) return false;
  qsizetype from = 0;
  const QByteArrayView first = nextPart(key, from);
  const QByteArrayView second = nextPart(key, from);
  return first == "Applications" && second.startsWith("Talvoren") && second.endsWith(".app");
}

bool isSafeKey(const QByteArray& key, const SafeLocations& safe) {
  for (const QByteArray& folder : safe.folders)
    if (isInsideOrEqual(key, folder)) return true;
  for (const QByteArray& item : safe.items)
    if (key == item) return true;
  return isSystemApplicationBundle(key);
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

  QSet<QString> wantedGroups;
  for (const QString& group : groups) wantedGroups.insert(group.normalized(QString::NormalizationForm_C));
  const SafeLocations safe = safeLocationsOf(install_);

  // A path is handled once per call, whatever came of it the first time.
  QSet<QByteArray> handled;
  bool runtimeReported = false;
  for (const PendingComponent& entry : pending) {
    const ManifestComponent& component = *entry.component;
    if (!wantedGroups.contains(component.removalGroup.normalized(QString::NormalizationForm_C))) continue;
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
    } else if (isSafeKey(path.key, safe)) {
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
  return isSafeKey(compositionKey(normalisedPath), safeLocationsOf(install_));
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
