#include "manifest/ManifestPath.h"

#include <QStringTokenizer>
#include <QVarLengthArray>

#include <utility>

namespace {

using Parts = QVarLengthArray<QStringView, 32>;

// ".." removes the part before it, as URL standardisation does, even when
// that part is the empty one between a doubled "/": "/a//../b" is "/a/b".
void climb(Parts& parts) {
  if (!parts.isEmpty()) parts.removeLast();
}

}  // namespace

QByteArray compositionKey(const QString& text) { return text.normalized(QString::NormalizationForm_C).toUtf8(); }

ManifestPath normaliseManifestPath(const QString& path, const QString& currentDirectory) {
  if (path.isEmpty()) return {};
  QString absolute = path;
  if (!path.startsWith(QLatin1Char('/')))
    absolute = currentDirectory.endsWith(QLatin1Char('/')) ? currentDirectory + path
                                                           : currentDirectory + QLatin1Char('/') + path;

  // Views into `absolute`: the manifest can hold many paths, and this runs
  // once for each of them.
  Parts parts;
  bool leading = true;  // the empty text before the first "/"
  for (const QStringView piece : QStringTokenizer(absolute, QLatin1Char('/'))) {
    if (std::exchange(leading, false) || piece == QLatin1String(".")) continue;
    if (piece == QLatin1String("..")) {
      climb(parts);
      continue;
    }
    parts.append(piece);
  }
  while (!parts.isEmpty() && parts.last().isEmpty()) parts.removeLast();

  ManifestPath normalised;
  normalised.path.reserve(absolute.size());
  if (parts.isEmpty()) normalised.path = QStringLiteral("/");
  for (const QStringView part : parts) {
    normalised.path += QLatin1Char('/');
    normalised.path += part;
    normalised.depth += part.isEmpty() ? 0 : 1;
  }
  normalised.key = compositionKey(normalised.path);
  return normalised;
}

bool isHandledBefore(const ManifestPath& a, const ManifestPath& b) {
  if (a.depth != b.depth) return a.depth > b.depth;
  return a.key < b.key;
}
