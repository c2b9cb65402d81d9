#include "manifest/ManifestPath.h"

#include <QStringList>

namespace {

// ".." climbs over the last named part; empty parts from a doubled "/" name
// nothing, so they go with it rather than standing in for a folder.
void climb(QStringList& parts) {
  while (!parts.isEmpty() && parts.constLast().isEmpty()) parts.removeLast();
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

  QStringList parts;
  // The first piece is the empty text before the leading "/".
  const QStringList pieces = absolute.split(QLatin1Char('/'));
  for (qsizetype i = 1; i < pieces.size(); ++i) {
    const QString& piece = pieces.at(i);
    if (piece == QLatin1String(".")) continue;
    if (piece == QLatin1String("..")) {
      climb(parts);
      continue;
    }
    parts.append(piece);
  }
  while (!parts.isEmpty() && parts.constLast().isEmpty()) parts.removeLast();

  ManifestPath normalised;
  normalised.path = QLatin1Char('/') + parts.join(QLatin1Char('/'));
  normalised.key = compositionKey(normalised.path);
  for (const QString& part : parts) normalised.depth += part.isEmpty() ? 0 : 1;
  return normalised;
}

bool isHandledBefore(const ManifestPath& a, const ManifestPath& b) {
  if (a.depth != b.depth) return a.depth > b.depth;
  return a.key < b.key;
}
