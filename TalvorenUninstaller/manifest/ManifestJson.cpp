#include "manifest/ManifestJson.h"

#include <simdjson.h>

#include <algorithm>
#include <cstring>
#include <utility>

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
// characters and unclosed strings over the whole text before anything else,
// but it checks a value's own grammar (an escape, a number, a literal, the
// commas of a nested array) only when that value is read. So every value is
// read here, including those that the program has no use for.

namespace {

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

FieldBit fieldBit(std::string_view key) {
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

class StrictReader {
 public:
  // Parses in place when the buffer leaves the parser room to read past the
  // data, which a file read for this purpose does; otherwise over a copy.
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
  bool checkValue(od::value value, size_t depth) {
    od::json_type type;
    if (value.type().get(type) != simdjson::SUCCESS) return false;
    switch (type) {
      case od::json_type::object:
        return checkObject(value, depth + 1);
      case od::json_type::array:
        return checkArray(value, depth + 1);
      case od::json_type::string: {
        std::string_view text;
        return readString(value, text);
      }
      case od::json_type::number: {
        double number = 0;
        return value.get_double().get(number) == simdjson::SUCCESS;
      }
      case od::json_type::boolean: {
        bool flag = false;
        return value.get_bool().get(flag) == simdjson::SUCCESS;
      }
      case od::json_type::null: {
        bool isNull = false;
        return value.is_null().get(isNull) == simdjson::SUCCESS && isNull;
      }
    }
    return false;
  }

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
      if (std::move(member).get(field) != simdjson::SUCCESS || !readKey(field, key) || !checkValue(field.value(), depth))
        return false;
    }
    return true;
  }

  bool checkArray(od::value value, size_t depth) {
    od::array array;
    if (depth > kMaxDepth || value.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto element : array) {
      od::value item;
      if (std::move(element).get(item) != simdjson::SUCCESS || !checkValue(item, depth)) return false;
    }
    return true;
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
  od::parser parser_;
  od::document document_;
  const char* end_ = nullptr;
};

}  // namespace

bool readManifestComponents(const QByteArray& json, const ComponentReceiver& receive) {
  StrictReader reader;
  if (!reader.open(json)) return false;
  ComponentView component;
  return reader.readTopLevel([&](od::value list) {
    od::array array;
    if (list.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto element : array) {
      od::value item;
      if (std::move(element).get(item) != simdjson::SUCCESS || !reader.readComponent(item, component)) return false;
      receive(component);
    }
    return true;
  });
}

std::optional<qsizetype> countManifestComponents(const QByteArray& json) {
  StrictReader reader;
  if (!reader.open(json)) return std::nullopt;
  qsizetype count = 0;
  const bool counted = reader.readTopLevel([&](od::value list) {
    od::array array;
    if (list.get_array().get(array) != simdjson::SUCCESS) return false;
    for (auto element : array) {
      od::value item;
      if (std::move(element).get(item) != simdjson::SUCCESS || !reader.isObject(item) || !reader.checkValue(item, 2)) return false;
      ++count;
    }
    return true;
  });
  return counted ? std::optional<qsizetype>(count) : std::nullopt;
}
