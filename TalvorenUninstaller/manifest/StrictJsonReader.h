#pragma once

// The strict reader behind both readings of the manifest (ManifestJson.cpp,
// which also writes down the choices that RFC 8259 leaves open). Only
// ManifestJson.cpp includes it.

#include "manifest/ManifestJson.h"

#include <simdjson.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace strict_json {

namespace od = simdjson::ondemand;

// Below the parser's own limit (1024), which it does not check while reading.
constexpr size_t kMaxDepth = 1000;
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

// One bit per field of a component, to tell a missing or repeated one.
enum FieldBit : unsigned {
  kUnknown = 0,
  kId = 1 << 0,
  kKind = 1 << 1,
  kPath = 1 << 2,
  kStatus = 1 << 3,
  kSource = 1 << 4,
  kInstalled = 1 << 5,
  kGroup = 1 << 6,
  kDetails = 1 << 7,
  kEveryField = (1 << 8) - 1,
};

inline FieldBit fieldBit(std::string_view key) {
  if (key == "id") return kId;
  if (key == "kind") return kKind;
  if (key == "path") return kPath;
  if (key == "status") return kStatus;
  if (key == "source") return kSource;
  if (key == "installedByTalvoren") return kInstalled;
  if (key == "removalGroup") return kGroup;
  if (key == "details") return kDetails;
  return kUnknown;
}

// Reads one JSON text with a parser that the caller keeps, so that the
// pieces of one manifest share its buffers.
class StrictReader {
 public:
  explicit StrictReader(od::parser& parser) : parser_(parser) {}

  // The manifest's whole text. Parses in place when the buffer leaves the
  // parser room to read past the data, which a file read for this purpose
  // does; otherwise over a copy.
  bool open(const QByteArray& json) {
    const size_t mark = json.startsWith(kByteOrderMark) ? sizeof kByteOrderMark - 1 : 0;
    const char* data = json.constData() + mark;
    const size_t size = size_t(json.size()) - mark;
    // A buffer that is not the array's own (raw data) reports no capacity.
    const size_t spare = size_t(std::max(json.capacity(), json.size()) - json.size());
    simdjson::padded_string_view view(data, size, size + spare);
    if (spare < simdjson::SIMDJSON_PADDING) {
      copy_ = simdjson::padded_string(data, size);
      view = copy_;
    }
    end_ = view.data() + view.size();
    return parser_.iterate(view).get(document_) == simdjson::SUCCESS;
  }

  // A text that the caller has laid out with the parser's padding after it.
  bool open(const char* data, size_t size) {
    end_ = data + size;
    return parser_.iterate(data, size, size + simdjson::SIMDJSON_PADDING).get(document_) == simdjson::SUCCESS;
  }

  // Walks the top-level object, handing the value of "components" to
  // `readList` and checking every other value.
  template <typename ReadList>
  bool readTopLevel(ReadList&& readList) {
    od::object top;
    if (document_.get_object().get(top) != simdjson::SUCCESS) return false;
    bool listSeen = false;
    for (auto member : top) {
      od::field field;
      std::string_view key;
      if (std::move(member).get(field) != simdjson::SUCCESS || !readKey(field, key)) return false;
      if (key != "components") {
        if (!checkValue(field.value(), 1)) return false;
        continue;
      }
      if (listSeen || !readList(field.value())) return false;
      listSeen = true;
    }
    return listSeen && atEnd();
  }

  // Walks a text that is one array, handing each element to `readItem`.
  template <typename ReadItem>
  bool readArray(ReadItem&& readItem) {
    od::array array;
    if (document_.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto element : array) {
      od::value item;
      if (std::move(element).get(item) != simdjson::SUCCESS || !readItem(item)) return false;
    }
    return atEnd();
  }

  bool readComponent(od::value value, ComponentView& into) {
    od::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) return false;
    into.details.clear();
    unsigned seen = 0;
    for (auto member : object) {
      od::field field;
      std::string_view key;
      if (std::move(member).get(field) != simdjson::SUCCESS || !readKey(field, key)) return false;
      const FieldBit bit = fieldBit(key);
      if ((seen & bit) != 0 || !readField(bit, field.value(), into)) return false;
      seen |= bit;
    }
    return seen == kEveryField;
  }

  // Any JSON value, read to its end and thrown away.
  bool checkValue(od::value value, size_t depth) { return checkMember(value, depth); }

  // An object's whole text, for a reading that takes any object.
  bool checkObjectValue(od::value value, size_t depth) { return checkObject(value, depth + 1); }

  bool isObject(od::value value) {
    od::json_type type;
    return value.type().get(type) == simdjson::SUCCESS && type == od::json_type::object;
  }

 private:
  bool readField(FieldBit bit, od::value value, ComponentView& into) {
    switch (bit) {
      case kId:
        return readString(value, into.id);
      case kKind:
        return readString(value, into.kind);
      case kPath:
        return readString(value, into.path);
      case kStatus:
        return readString(value, into.status);
      case kSource:
        return readString(value, into.source);
      case kGroup:
        return readString(value, into.removalGroup);
      case kInstalled:
        return value.get_bool().get(into.installedByTalvoren) == simdjson::SUCCESS;
      case kDetails:
        return readDetails(value, into.details);
      default:
        return checkValue(value, 3);
    }
  }

  bool readDetails(od::value value, std::vector<std::pair<std::string_view, std::string_view>>& into) {
    od::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) return false;
    for (auto member : object) {
      od::field field;
      std::pair<std::string_view, std::string_view> entry;
      if (std::move(member).get(field) != simdjson::SUCCESS || !readKey(field, entry.first) ||
          !readString(field.value(), entry.second))
        return false;
      into.push_back(entry);
    }
    return true;
  }

  bool checkObject(od::value value, size_t depth) {
    od::object object;
    if (depth > kMaxDepth || value.get_object().get(object) != simdjson::SUCCESS) return false;
    for (auto member : object) {
      od::field field;
      std::string_view key;
      if (std::move(member).get(field) != simdjson::SUCCESS || !readKey(field, key) || !checkMember(field.value(), depth))
        return false;
    }
    return true;
  }

  bool checkArray(od::value value, size_t depth) {
    od::array array;
    if (depth > kMaxDepth || value.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto element : array) {
      od::value item;
      if (std::move(element).get(item) != simdjson::SUCCESS || !checkMember(item, depth)) return false;
    }
    return true;
  }

  // checkValue, written out where a container reads its members: a value
  // is told by its first byte as the parser's own type() would tell it (a
  // byte that starts no value fails as a number), and a scalar, strings by
  // far the most common, is checked where it stands, without a call.
  [[gnu::always_inline]] bool checkMember(od::value value, size_t depth) {
    const std::string_view token = value.raw_json_token();
    switch (token.empty() ? '\0' : token.front()) {
      case '"':
        return checkString(value, token);
      case '{':
        return checkObject(value, depth + 1);
      case '[':
        return checkArray(value, depth + 1);
      case 't':
      case 'f': {
        bool flag = false;
        return value.get_bool().get(flag) == simdjson::SUCCESS;
      }
      case 'n': {
        bool isNull = false;
        return value.is_null().get(isNull) == simdjson::SUCCESS && isNull;
      }
      default: {
        double number = 0;
        return value.get_double().get(number) == simdjson::SUCCESS;
      }
    }
  }

  // A string whose raw token is `token`: stage one has checked its end and
  // what it holds, so only escapes are left, and without a backslash there
  // are none.
  bool checkString(od::value value, std::string_view token) {
    std::string_view text;
    return token.find('\\') == std::string_view::npos || value.get_string().get(text) == simdjson::SUCCESS;
  }

  // A string value. Without a backslash its text is the bytes between the
  // quotes, already checked; with one the parser unescapes and checks it into
  // its own buffer. Most texts have none, which saves both the copy and the
  // memory.
  bool readString(od::value value, std::string_view& into) {
    const std::string_view token = value.raw_json_token();  // up to the next token
    const size_t close = token.rfind('"');
    if (token.empty() || token.front() != '"' || close == 0 || close == std::string_view::npos) return false;
    const std::string_view text = token.substr(1, close - 1);
    if (text.find('\\') == std::string_view::npos) {
      into = text;
      return true;
    }
    return value.get_string().get(into) == simdjson::SUCCESS;
  }

  // A key, read the same way as a string value.
  bool readKey(od::field& field, std::string_view& into) {
    const char* text = field.key().raw();
    const void* quote = std::memchr(text, '"', size_t(end_ - text));
    if (quote == nullptr) return false;
    const size_t length = size_t(static_cast<const char*>(quote) - text);
    if (std::memchr(text, '\\', length) == nullptr) {
      into = std::string_view(text, length);
      return true;
    }
    return field.unescaped_key().get(into) == simdjson::SUCCESS;
  }

  // Nothing but white space may follow the top-level value.
  bool atEnd() { return document_.current_location().error() == simdjson::OUT_OF_BOUNDS; }

  simdjson::padded_string copy_;
  od::parser& parser_;
  od::document document_;
  const char* end_ = nullptr;
};

}  // namespace strict_json
