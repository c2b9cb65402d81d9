#include "manifest/ManifestOperations.h"
#include "manifest/ManifestJson.h"
#include "manifest/ManifestPath.h"
#include "manifest/PendingComponents.h"

#include <algorithm>
#include <string>

namespace {

Handling handlingOf(std::string_view kind, std::string_view group) {
  const bool external = group == "speech-engine" || kind == "speech-engine" || group == "none";
  if (external) return Handling::LeaveExternal;
  if (kind == "bundled-runtime") return Handling::ReportRuntime;
  return Handling::TrashIfSafe;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

// The requested groups, composed, as UTF-8: the manifest's group names are
// compared in the bytes they are read in, and composed only when not ASCII.
class GroupSet {
 public:
  explicit GroupSet(const QSet<QString>& groups) {
    for (const QString& group : groups) composed_.push_back(compositionKey(group).toStdString());
  }

  bool contains(std::string_view group) const {
    if (!isAscii(group)) return has(compositionKey(textOf(group)).toStdString());
    return has(group);
  }

 private:
  bool has(std::string_view composed) const {
    return std::find(composed_.begin(), composed_.end(), composed) != composed_.end();
  }

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

bool isInside(QByteArrayView key, const LocationKeys& locations) {
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
bool isSafeKey(QByteArrayView key, QByteArrayView written, const SafeLocations& safe) {
  return isInside(key, safe.composed) && isInside(written, safe.written);
}

// Reads the manifest, keeping only the components of the requested groups
// (a component of another group is passed over silently anyway). Nothing is
// kept when any part of the manifest is unusable.
PendingComponents pendingComponents(const ManifestOperations& operations, const QSet<QString>& groups,
                                    const QString& currentDirectory) {
  std::optional<QByteArray> bytes = operations.platform().readFile(operations.install().manifestPath());
  if (!bytes) return {};
  const GroupSet wanted(groups);
  PendingComponents pending;
  std::string normalised;
  const bool complete = readManifestComponents(*bytes, [&](const ComponentView& view) {
    if (view.path.empty() || !wanted.contains(view.removalGroup)) return;
    const QString label = operations.manifestLabel(view.id, view.kind, view.removalGroup);
    const Handling handling = handlingOf(view.kind, view.removalGroup);
    normalised.clear();
    if (const std::optional<int> depth = appendNormalisedAsciiPath(view.path, currentDirectory, normalised)) {
      pending.add(normalised, *depth, label, handling);
    } else {
      pending.add(normaliseManifestPath(textOf(view.path), currentDirectory), label, handling);
    }
  });
  if (!complete) return {};
  bytes.reset();  // before sorting, which lays the keys out again
  pending.sort();
  return pending;
}

}  // namespace

void ManifestOperations::removeManifestComponents(const QSet<QString>& groups,
                                              const std::vector<ManifestFallback>& fallback, Report& report) {
  const QString currentDirectory = platform_.currentDirectory();
  const PendingComponents pending = pendingComponents(*this, groups, currentDirectory);
  const SafeLocations safe = safeLocationsOf(install_);

  // A path is handled once per call, whatever came of it the first time: of
  // equal keys, which lie side by side, only the first in the file counts.
  bool runtimeReported = false;
  for (size_t index = 0; index < pending.size(); ++index) {
    if (pending.repeatsPrevious(index)) continue;
    const QString& label = pending.label(index);
    const QString path = pending.path(index);
    switch (pending.handling(index)) {
      case Handling::LeaveExternal:
        report.skipped(label + kLeftExternal + path + QLatin1Char(')'));
        break;
      case Handling::ReportRuntime:
        // The runtime lives inside the app bundle and goes with it.
        if (!runtimeReported) report.skipped(label + QStringLiteral(": removed with Talvoren.app"));
        runtimeReported = true;
        break;
      case Handling::TrashIfSafe: {
        const QByteArrayView key = pending.key(index);
        const QByteArray written =
            pending.pathIsKey(index) ? QByteArray::fromRawData(key.data(), key.size()) : writtenKey(path);
        if (isSafeKey(key, written, safe)) {
          trash(path, label, report);
        } else {
          report.skipped(label + kOutsideScope + path + QLatin1Char(')'));
        }
        break;
      }
    }
  }

  // The program's own fixed locations need no safety check; they are only
  // skipped when the manifest already dealt with the same path.
  std::vector<QByteArray> handledFallbacks;
  for (const ManifestFallback& entry : fallback) {
    const ManifestPath path = normaliseManifestPath(entry.path, currentDirectory);
    const bool handled = pending.contains(path) ||
                         std::find(handledFallbacks.begin(), handledFallbacks.end(), path.key) != handledFallbacks.end();
    if (handled) continue;
    handledFallbacks.push_back(path.key);
    trash(path.path, entry.label, report);
  }
}

bool ManifestOperations::isSafeManifestRemovalPath(const QString& normalisedPath) const {
  return isSafeKey(compositionKey(normalisedPath), writtenKey(normalisedPath), safeLocationsOf(install_));
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
