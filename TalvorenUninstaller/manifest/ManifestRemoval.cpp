#include "manifest/ManifestOperations.h"
#include "manifest/ManifestJson.h"
#include "manifest/ManifestPath.h"

#include <algorithm>
#include <string>

namespace {

// What becomes of a component once its path has not been handled before.
enum class Handling { LeaveExternal, ReportRuntime, TrashIfSafe };

// A component of a requested group, reduced to what its handling needs: a
// manifest can list a million components, and only these few fields of a few
// of them are ever used.
struct PendingComponent {
  QString label;
  ManifestPath path;
  Handling handling;
};

Handling handlingOf(const ManifestComponent& component) {
  const bool external = component.removalGroup == QLatin1String("speech-engine") ||
                        component.kind == QLatin1String("speech-engine") ||
                        component.removalGroup == QLatin1String("none");
  if (external) return Handling::LeaveExternal;
  if (component.kind == QLatin1String("bundled-runtime")) return Handling::ReportRuntime;
  return Handling::TrashIfSafe;
}

// The requested groups, composed, as UTF-8: the manifest's group names are
// compared in the bytes they are read in, and composed only when not ASCII.
class GroupSet {
 public:
  explicit GroupSet(const QSet<QString>& groups) {
    for (const QString& group : groups) composed_.push_back(compositionKey(group).toStdString());
  }

  bool contains(std::string_view group) const {
    const bool ascii = std::all_of(group.begin(), group.end(), [](char c) { return (c & 0x80) == 0; });
    const std::string composed = ascii ? std::string(group) : compositionKey(textOf(group)).toStdString();
    return std::find(composed_.begin(), composed_.end(), composed) != composed_.end();
  }

 private:
  std::vector<std::string> composed_;
};

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

// Reads the manifest, keeping only the components of the requested groups
// (a component of another group is passed over silently anyway). Nothing is
// kept when any part of the manifest is unusable.
std::vector<PendingComponent> pendingComponents(const ManifestOperations& operations, const QSet<QString>& groups,
                                                const QString& currentDirectory) {
  const std::optional<QByteArray> bytes = operations.platform().readFile(operations.install().manifestPath());
  if (!bytes) return {};
  const GroupSet wanted(groups);
  std::vector<PendingComponent> pending;
  const bool complete = readManifestComponents(*bytes, [&](const ComponentView& view) {
    if (!wanted.contains(view.removalGroup)) return;
    ManifestComponent named;
    named.id = textOf(view.id);
    named.kind = textOf(view.kind);
    named.removalGroup = textOf(view.removalGroup);
    ManifestPath path = normaliseManifestPath(textOf(view.path), currentDirectory);
    if (path.isEmpty()) return;
    pending.push_back({operations.manifestLabel(named), std::move(path), handlingOf(named)});
  });
  if (!complete) return {};
  return pending;
}

}  // namespace

void ManifestOperations::removeManifestComponents(const QSet<QString>& groups,
                                              const std::vector<ManifestFallback>& fallback, Report& report) {
  const QString currentDirectory = platform_.currentDirectory();
  std::vector<PendingComponent> pending = pendingComponents(*this, groups, currentDirectory);
  // Each path was normalised once, on reading, so that sorting stays n log n.
  std::stable_sort(pending.begin(), pending.end(),
                   [](const PendingComponent& a, const PendingComponent& b) { return isHandledBefore(a.path, b.path); });
  const SafeLocations safe = safeLocationsOf(install_);

  // A path is handled once per call, whatever came of it the first time.
  QSet<QByteArray> handled;
  handled.reserve(qsizetype(pending.size() + fallback.size()));
  bool runtimeReported = false;
  for (const PendingComponent& entry : pending) {
    const ManifestPath& path = entry.path;
    if (handled.contains(path.key)) continue;
    handled.insert(path.key);

    const QString& label = entry.label;
    switch (entry.handling) {
      case Handling::LeaveExternal:
        report.skipped(label + kLeftExternal + path.path +
                       QLatin1Char(')'));
        break;
      case Handling::ReportRuntime:
        // The runtime lives inside the app bundle and goes with it.
        if (!runtimeReported) report.skipped(label + QStringLiteral(": removed with Talvoren.app"));
        runtimeReported = true;
        break;
      case Handling::TrashIfSafe:
        if (isSafeKey(path.key, safe)) {
          trash(path.path, label, report);
        } else {
          report.skipped(label + kOutsideScope + path.path +
                         QLatin1Char(')'));
        }
        break;
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

bool ManifestOperations::isSafeManifestRemovalPath(const QString& normalisedPath) const {
  return isSafeKey(compositionKey(normalisedPath), safeLocationsOf(install_));
}

bool ManifestOperations::manifestRemovalOrder(const ManifestComponent& a, const ManifestComponent& b) const {
  const QString currentDirectory = platform_.currentDirectory();
  return isHandledBefore(normaliseManifestPath(a.path, currentDirectory),
                         normaliseManifestPath(b.path, currentDirectory));
}

QString ManifestOperations::manifestSummary() const {
  const QString& path = install_.manifestPath();
  if (!platform_.fileExists(path)) return text.notFound;
  const std::optional<QByteArray> bytes = platform_.readFile(path);
  const std::optional<qsizetype> count = bytes ? countManifestComponents(*bytes) : std::nullopt;
  if (!count) return path;
  return QString::number(*count) + QStringLiteral(" recorded components at ") + path;
}
