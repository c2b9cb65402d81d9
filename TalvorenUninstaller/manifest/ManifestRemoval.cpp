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

// The app's own locations in one form, made once per call rather than per path.
struct LocationKeys {
  QByteArray folders[4];  // the locations and everything inside them
  QByteArray items[2];    // exactly these paths, nothing below them
};

// The locations composed, as paths are compared, and as written, as they are
// acted on.
struct SafeLocations {
  LocationKeys composed;
  LocationKeys written;
};

// A path as written, in bytes that differ wherever the path does: UTF-8,
// except that a lone surrogate (how a byte of a name that is not UTF-8 is
// held) keeps a three-byte form of its own rather than the "?" that
// toUtf8() makes of every one of them.
QByteArray writtenKey(const QString& text) {
  if (text.isValidUtf16()) return text.toUtf8();
  QByteArray key;
  for (qsizetype at = 0; at < text.size(); ++at) {
    const char16_t unit = text.at(at).unicode();
    const bool pair = QChar::isHighSurrogate(unit) && at + 1 < text.size() && text.at(at + 1).isLowSurrogate();
    if (QChar::isSurrogate(unit) && !pair) {
      key.append(char(0xE0 | (unit >> 12))).append(char(0x80 | ((unit >> 6) & 0x3F))).append(char(0x80 | (unit & 0x3F)));
      continue;
    }
    key += text.mid(at, pair ? 2 : 1).toUtf8();
    at += pair ? 1 : 0;
  }
  return key;
}

LocationKeys locationKeys(const TalvorenInstall& install, QByteArray (*keyOf)(const QString&)) {
  return {{keyOf(install.appSupportPath()), keyOf(install.logsPath()), keyOf(install.cachePath()),
           keyOf(install.savedStatePath())},
          {keyOf(install.preferencesPath()), keyOf(install.inputMethodPath())}};
}

SafeLocations safeLocationsOf(const TalvorenInstall& install) {
  return {locationKeys(install, compositionKey), locationKeys(install, writtenKey)};
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

bool isInside(const QByteArray& key, const LocationKeys& locations) {
  for (const QByteArray& folder : locations.folders)
    if (isInsideOrEqual(key, folder)) return true;
  for (const QByteArray& item : locations.items)
    if (key == item) return true;
  return isSystemApplicationBundle(key);
}

// Safe only when the path lies inside the app's locations both composed and
// as written. Where two spellings that compose alike are two folders (as on
// most file systems), the composed comparison alone would let a path into
// another folder pass, such as one whose name has a KELVIN SIGN where the
// home's has a K, or a combining accent where it has a composed one.
bool isSafeKey(const QByteArray& key, const QString& written, const SafeLocations& safe) {
  return isInside(key, safe.composed) && isInside(writtenKey(written), safe.written);
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
        if (isSafeKey(path.key, path.path, safe)) {
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
  return isSafeKey(compositionKey(normalisedPath), normalisedPath, safeLocationsOf(install_));
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
