#include "manifest/ManifestPath.h"

#include <QStringTokenizer>
#include <QVarLengthArray>

#include <algorithm>
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

std::optional<int> appendNormalisedAsciiPath(std::string_view path, const QString& currentDirectory,
                                             std::string& into) {
  const bool ascii = std::all_of(path.begin(), path.end(), [](char c) { return (c & 0x80) == 0; });
  if (path.empty() || !ascii) return std::nullopt;
  std::string joined;
  if (path.front() != '/') {
    // The folder's own characters, not its UTF-8: one whose name is not
    // UTF-8 holds escapes that toUtf8() would turn into "?".
    if (!std::all_of(currentDirectory.begin(), currentDirectory.end(), [](QChar c) { return c.unicode() < 0x80; }))
      return std::nullopt;
    joined = currentDirectory.toStdString();
    if (joined.empty() || joined.back() != '/') joined += '/';
    path = joined.append(path);
  }

  // The same steps as above, on bytes: '/' is never part of a longer
  // character, in UTF-8 as in UTF-16.
  QVarLengthArray<std::string_view, 32> parts;
  bool leading = true;
  for (size_t start = 0, end = 0; end != std::string_view::npos; start = end + 1) {
    end = path.find('/', start);
    const std::string_view piece = path.substr(start, end == std::string_view::npos ? end : end - start);
    if (std::exchange(leading, false) || piece == ".") continue;
    if (piece == "..") {
      if (!parts.isEmpty()) parts.removeLast();
      continue;
    }
    parts.append(piece);
  }
  while (!parts.isEmpty() && parts.last().empty()) parts.removeLast();

  int depth = 0;
  if (parts.isEmpty()) into += '/';
  for (const std::string_view part : parts) {
    into += '/';
    into += part;
    depth += part.empty() ? 0 : 1;
  }
  return depth;
}

bool isHandledBefore(const ManifestPath& a, const ManifestPath& b) {
  if (a.depth != b.depth) return a.depth > b.depth;
  return a.key < b.key;
}
