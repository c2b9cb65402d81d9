#include "manifest/ManifestJson.h"

#include "manifest/StrictJsonReader.h"

#include <string_view>
#include <vector>

// What RFC 8259 leaves to the reader, decided here once for both readings:
// - A UTF-8 byte-order mark before the text is passed over, as the platform's
//   JSON services do; anywhere else it is an error like any other stray byte.
// - A \u escape of a lone surrogate, high or low, fails: it names no
//   character and could not name a file.
// - Numbers are read as doubles. Integers beyond 64 bits are read
//   approximately and a tiny magnitude as zero; a magnitude beyond the double
//   range (1e400) fails. No number means anything in a manifest.
// - A key of the manifest's own records named twice in one object (the top
//   level's "components", a component's "path") fails: an uninstaller does not
//   guess which of two paths was meant. Repeated keys that the program ignores,
//   and repeated keys inside "details", are accepted; in "details" the last
//   one wins.
// - Nesting deeper than 1000 arrays and objects fails.
// - "\u0000" is a character like any other inside a string.
//
// The parser reads ahead in 64-byte blocks and checks UTF-8, unescaped control
// characters and unclosed strings over the whole text it is given (a piece, see
// below) before anything else,
// but it checks a value's own grammar (an escape, a number, a literal, the
// commas of a nested array) only when that value is read. So every value is
// read here, including those that the program has no use for.
//
// A long manifest is read in pieces of about a quarter of a megabyte: the
// components between two cuts as an array of their own, and the text around
// the list with the components after the last cut as one text (the frame).
// The parser's index of a piece and the text it walks stay in the cache, so
// this is faster than one pass over the whole text, and the index is that of
// a piece rather than of the whole text (for a million components, 150 MB
// less). Where to cut is only guessed, from the look of the text; the reading
// of the pieces proves the guess right. The frame is read first and must hold
// the list just where the cuts assume it; each piece must read as whole
// components. Then the text is valid exactly when every piece is, with the
// same components in the same order, because JSON's grammar puts them
// together again. A piece that does not read sends the reading back to the
// whole text, which gives the answer.

namespace {

namespace od = simdjson::ondemand;
using strict_json::StrictReader;

bool isJsonSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

size_t skipSpace(std::string_view text, size_t at) {
  while (at < text.size() && isJsonSpace(text[at])) ++at;
  return at;
}

// The offset just after the '[' of the first "components" key followed by
// ':' and '['. Only a guess: the frame's reading confirms it.
std::optional<size_t> listStart(std::string_view text) {
  constexpr std::string_view kKey = "\"components\"";
  for (size_t at = text.find(kKey); at != std::string_view::npos; at = text.find(kKey, at + 1)) {
    const size_t colon = skipSpace(text, at + kKey.size());
    if (colon == text.size() || text[colon] != ':') continue;
    const size_t open = skipSpace(text, colon + 1);
    if (open < text.size() && text[open] == '[') return open + 1;
  }
  return std::nullopt;
}

// The first comma at or after `from` that looks as if it stood between two
// components: '}', ',' and '{', with white space between. A guess too.
std::optional<size_t> nextCut(std::string_view text, size_t from) {
  for (size_t at = text.find('}', from); at != std::string_view::npos; at = text.find('}', at + 1)) {
    const size_t comma = skipSpace(text, at + 1);
    if (comma == text.size() || text[comma] != ',') continue;
    const size_t open = skipSpace(text, comma + 1);
    if (open < text.size() && text[open] == '{') return comma;
  }
  return std::nullopt;
}

// Each element of the list `list`, read by `readItem(reader, item, hand)`,
// which checks the item and, when `hand` is set, hands it on.
template <typename ReadItem>
bool readList(StrictReader& reader, od::value list, ReadItem& readItem, bool hand) {
  od::array array;
  if (list.get_array().get(array) != simdjson::SUCCESS) return false;
  for (auto element : array) {
    od::value item;
    if (std::move(element).get(item) != simdjson::SUCCESS || !readItem(reader, item, hand)) return false;
  }
  return true;
}

template <typename ReadItem>
bool readWhole(const QByteArray& json, ReadItem& readItem) {
  od::parser parser;
  StrictReader reader(parser);
  return reader.open(json) && reader.readTopLevel([&](od::value list) { return readList(reader, list, readItem, true); });
}

// The reading in pieces (see the top of this file); nothing when the text is
// not cut, or when a guess proves wrong: then the whole text is to be read,
// after the items handed on so far.
template <typename ReadItem>
std::optional<bool> readInPieces(const QByteArray& json, size_t pieceBytes, ReadItem& readItem) {
  const std::string_view text(json.constData(), size_t(json.size()));
  const std::optional<size_t> list = text.size() > pieceBytes ? listStart(text) : std::nullopt;
  if (!list) return std::nullopt;
  std::vector<size_t> cuts;
  for (size_t from = *list; from + pieceBytes < text.size();) {
    const std::optional<size_t> cut = nextCut(text, from + pieceBytes);
    if (!cut) break;
    cuts.push_back(*cut);
    from = *cut + 1;
  }
  if (cuts.empty()) return std::nullopt;

  od::parser parser;
  QByteArray frame;
  frame.reserve(qsizetype(*list + text.size() - cuts.back()) + qsizetype(simdjson::SIMDJSON_PADDING));
  frame.append(text.substr(0, *list)).append(text.substr(cuts.back() + 1));
  const auto readFrame = [&](bool hand) {
    StrictReader reader(parser);
    bool aligned = false;
    const bool read = reader.open(frame) && reader.readTopLevel([&](od::value value) {
      aligned = value.raw_json_token().data() == frame.constData() + *list - 1;
      return aligned && readList(reader, value, readItem, hand);
    });
    return aligned ? std::optional<bool>(read) : std::nullopt;
  };
  if (!readFrame(/*hand=*/false).value_or(false)) return std::nullopt;

  std::vector<char> piece;
  for (size_t from = *list; const size_t cut : cuts) {
    piece.assign(1, '[');
    piece.insert(piece.end(), text.begin() + qsizetype(from), text.begin() + qsizetype(cut));
    piece.push_back(']');
    const size_t size = piece.size();
    piece.resize(size + simdjson::SIMDJSON_PADDING);
    StrictReader reader(parser);
    bool any = false;
    const bool read = reader.open(piece.data(), size) && reader.readArray([&](od::value item) {
      any = true;
      return readItem(reader, item, /*hand=*/true);
    });
    if (!read || !any) return std::nullopt;
    from = cut + 1;
  }
  return readFrame(/*hand=*/true);
}

}  // namespace

bool readManifestComponents(const QByteArray& json, const ComponentReceiver& receive, size_t pieceBytes) {
  ComponentView component;
  qsizetype handed = 0;
  qsizetype skipped = -1;  // once read again whole: how many were handed on before
  const auto readItem = [&](StrictReader& reader, od::value item, bool hand) {
    if (!reader.readComponent(item, component)) return false;
    if (hand && handed++ >= skipped) receive(component);
    return true;
  };
  if (const std::optional<bool> read = readInPieces(json, pieceBytes, readItem)) return *read;
  skipped = handed;
  handed = 0;
  return readWhole(json, readItem);
}

std::optional<qsizetype> countManifestComponents(const QByteArray& json, size_t pieceBytes) {
  qsizetype count = 0;
  const auto countItem = [&](StrictReader& reader, od::value item, bool hand) {
    if (!reader.isObject(item) || !reader.checkObjectValue(item, 2)) return false;
    count += hand ? 1 : 0;
    return true;
  };
  std::optional<bool> read = readInPieces(json, pieceBytes, countItem);
  if (!read) {
    count = 0;
    read = readWhole(json, countItem);
  }
  return *read ? std::optional<qsizetype>(count) : std::nullopt;
}
