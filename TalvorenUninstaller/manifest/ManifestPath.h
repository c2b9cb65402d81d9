#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>
#include <string_view>

// A manifest path in the one form in which it is compared, ordered, tested and
// trashed: absolute, without "." and ".." parts and without a trailing "/".
// Doubled "/" separators are kept as written; symbolic links are not resolved.
struct ManifestPath {
  // The normalised path, in the composition it was written in, so that it
  // still names the file the installer recorded.
  QString path;
  // The path canonically composed (NFC) and in UTF-8: equal for texts that
  // differ only in composition, and ordered by Unicode scalar values, which
  // UTF-8 byte order follows while UTF-16 code units do not.
  QByteArray key;
  // The number of non-empty parts between separators.
  int depth = 0;

  bool isEmpty() const { return path.isEmpty(); }
};

// Makes `path` absolute against `currentDirectory` and normalises it. An empty
// path stays empty.
ManifestPath normaliseManifestPath(const QString& path, const QString& currentDirectory);

// The same for a path in ASCII, straight from its bytes and without any
// string of its own, for the many paths of a long manifest: appends the
// normalised path, which is then also its key, to `into` and returns its
// depth. Nothing, and `into` as it was, when the path is empty or not ASCII,
// or is relative and `currentDirectory` is not ASCII: those go the way above.
std::optional<int> appendNormalisedAsciiPath(std::string_view path, const QString& currentDirectory,
                                             std::string& into);

// The key under which a path counts as the same text as another.
QByteArray compositionKey(const QString& text);

// True when `a` is handled before `b`: deeper first, then by key.
bool isHandledBefore(const ManifestPath& a, const ManifestPath& b);
