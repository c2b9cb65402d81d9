// libFuzzer target over the manifest's reading and the rules applied to its
// paths. Besides crashes and sanitizer reports it stops on:
// - a manifest that the strict decoding accepts but the summary does not
//   count, or counts differently;
// - a reading in pieces cut between any two components that answers
//   otherwise than the reading of the whole text;
// - a path whose normalised form changes when normalised again, or that in
//   ASCII is normalised otherwise straight from its bytes;
// - a path judged safe in one Unicode composition and not in another (the
//   app's locations here are spelt in ASCII that no other character
//   composes to, unlike a home with a K, say);
// - a handling order that is not a strict weak ordering on the paths seen.
// The paths are the decoded components' paths, or else the input's lines.
#include "actions/Uninstaller.h"
#include "fakes/FakePlatform.h"
#include "manifest/ManifestJson.h"
#include "manifest/ManifestPath.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kOrderedPaths = 12;  // the transitivity check is cubic

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "property broken: %s\n", what);
  std::abort();
}

// The paths handed over, or nothing when the manifest is unusable (what was
// handed over before the fault was found is of no account).
std::optional<QStringList> readInPieces(const QByteArray& bytes, size_t pieceBytes) {
  QStringList paths;
  const bool read = readManifestComponents(
      bytes, [&](const ComponentView& component) { paths << textOf(component.path); }, pieceBytes);
  return read ? std::optional(paths) : std::nullopt;
}

QStringList pathsOf(const QByteArray& bytes) {
  require(readInPieces(bytes, 1) == readInPieces(bytes, kManifestPieceBytes), "pieces read otherwise than the whole");
  require(countManifestComponents(bytes, 1) == countManifestComponents(bytes), "pieces counted otherwise than the whole");
  QStringList paths;
  if (const std::optional<InstallManifest> manifest = decodeInstallManifest(bytes)) {
    const std::optional<qsizetype> count = countManifestComponents(bytes);
    require(count && *count == qsizetype(manifest->components.size()), "accepted but not counted alike");
    for (const ManifestComponent& component : manifest->components) paths.append(component.path);
    return paths;
  }
  for (const QByteArray& line : bytes.split('\n')) paths.append(QString::fromUtf8(line));
  return paths;
}

void checkStrictWeakOrder(const std::vector<ManifestPath>& paths) {
  const auto equivalent = [](const ManifestPath& a, const ManifestPath& b) {
    return !isHandledBefore(a, b) && !isHandledBefore(b, a);
  };
  for (const ManifestPath& a : paths) {
    require(!isHandledBefore(a, a), "order not irreflexive");
    for (const ManifestPath& b : paths) {
      require(!(isHandledBefore(a, b) && isHandledBefore(b, a)), "order not asymmetric");
      for (const ManifestPath& c : paths) {
        if (isHandledBefore(a, b) && isHandledBefore(b, c)) require(isHandledBefore(a, c), "order not transitive");
        if (equivalent(a, b) && equivalent(b, c)) require(equivalent(a, c), "equivalence not transitive");
      }
    }
  }
}

Uninstaller* app = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static int argc = 1;
  static char name[] = "manifest_fuzz";
  static char* argv[] = {name, nullptr};
  static QCoreApplication application(argc, argv);
  static FakePlatform platform;
  static Uninstaller instance(platform);
  app = &instance;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
  std::vector<ManifestPath> normalised;
  for (const QString& path : pathsOf(bytes)) {
    const ManifestPath once = normaliseManifestPath(path, QStringLiteral("/Users/example"));
    const ManifestPath twice = normaliseManifestPath(once.path, QStringLiteral("/elsewhere"));
    require(once.path == twice.path && once.key == twice.key && once.depth == twice.depth, "normalising twice");
    std::string fromBytes;
    if (const std::optional<int> depth = appendNormalisedAsciiPath(path.toStdString(), QStringLiteral("/Users/example"), fromBytes))
      require(QString::fromStdString(fromBytes) == once.path && *depth == once.depth, "normalising from bytes");
    const bool safe = app->isSafeManifestRemovalPath(once.path);
    require(safe == app->isSafeManifestRemovalPath(once.path.normalized(QString::NormalizationForm_D)) &&
                safe == app->isSafeManifestRemovalPath(once.path.normalized(QString::NormalizationForm_C)),
            "safety depends on composition");
    if (normalised.size() < kOrderedPaths) normalised.push_back(once);
  }
  checkStrictWeakOrder(normalised);
  return 0;
}
