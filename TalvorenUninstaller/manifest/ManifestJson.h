#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

// The two strict readings of the manifest's bytes. Both accept exactly the
// JSON texts of RFC 8259 and nothing else, however little of the document
// they use; the choices the standard leaves open are written down in
// ManifestJson.cpp.

// One component's fields as views into the bytes being read (or into the
// reader's own buffer for texts with escapes). They live until the reader
// returns, so a receiver copies what it keeps.
struct ComponentView {
  std::string_view id;
  std::string_view kind;
  std::string_view path;
  std::string_view status;
  std::string_view source;
  bool installedByTalvoren = false;
  std::string_view removalGroup;
  std::vector<std::pair<std::string_view, std::string_view>> details;  // in file order
};

// A field's UTF-8 text as a string the rest of the program uses.
inline QString textOf(std::string_view utf8) { return QString::fromUtf8(utf8.data(), qsizetype(utf8.size())); }

using ComponentReceiver = std::function<void(const ComponentView&)>;

// A long manifest is read in pieces of about this many bytes (see
// ManifestJson.cpp). The answers do not depend on it; tests read in pieces of
// a single byte, which cuts between any two components, to hold them to that.
inline constexpr size_t kManifestPieceBytes = size_t(256) << 10;

// Reads a manifest strictly: every component complete and well typed, the
// whole text valid JSON. Hands each component to `receive` in file order as it
// goes; false means the manifest as a whole is unusable, even when some
// components were handed over before the fault was found.
bool readManifestComponents(const QByteArray& json, const ComponentReceiver& receive,
                            size_t pieceBytes = kManifestPieceBytes);

// The summary's reading: the number of elements of "components" when the text
// is valid JSON, its top level an object and "components" an array of objects.
std::optional<qsizetype> countManifestComponents(const QByteArray& json, size_t pieceBytes = kManifestPieceBytes);
