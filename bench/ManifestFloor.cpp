// What the model removal cannot do without, on a manifest of components of
// the benchmark's shape (compact JSON, no escapes), and nothing more:
//
// - two reads of the whole file, one for the summary and one for the removal
//   (the manifest may change in between, so each reads afresh);
// - two strict readings with simdjson On-Demand, every value read to its end
//   as an RFC 8259 reading must, in pieces of a quarter of a megabyte: that
//   keeps the parser's index and the text it walks in the cache, which is
//   faster than one pass over the whole text and needs a fraction of the
//   memory (the program does the same);
// - one stat per component of the group "model";
// - one appended log line per absent one, opened, written and closed on its
//   own: O_NONBLOCK so that it never waits on a FIFO, and statx for the type
//   so that only a regular file is written to (the log's own rules; statx
//   asking for the type and size alone costs less than fstat here);
// - the report appended as a block, in appends of at most a megabyte.
//
// It does not normalise, order or deduplicate paths, which the program must:
// the manifest has no path that needs it, so the two logs hold the same
// lines, the floor's in file order.
#include "ManifestFloor.h"

#include <simdjson.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace od = simdjson::ondemand;

constexpr size_t kPiece = size_t(256) << 10;
constexpr size_t kAppend = size_t(1) << 20;

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

struct Text {
  std::unique_ptr<char[]> bytes;  // the file, then the parser's padding
  size_t size = 0;
};

Text readWhole(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info {};
  if (fd < 0 || ::fstat(fd, &info) != 0) fail("manifest");
  Text text;
  text.bytes = std::make_unique_for_overwrite<char[]>(size_t(info.st_size) + simdjson::SIMDJSON_PADDING);
  while (text.size < size_t(info.st_size)) {
    const ssize_t got = ::read(fd, text.bytes.get() + text.size, size_t(info.st_size) - text.size);
    if (got <= 0) fail("read");
    text.size += size_t(got);
  }
  ::close(fd);
  return text;
}

bool checkContainer(od::value value);

// Every value read to its end, as a strict reading must: stage one has
// checked the text, the strings' ends and what they hold; left are escapes
// (a string without a backslash has none), numbers, literals and the
// structure of containers. A string, by far the most common value, is
// checked where it stands, without a call.
[[gnu::always_inline]] inline bool checkValue(od::value value) {
  const std::string_view token = value.raw_json_token();
  switch (token.empty() ? '\0' : token.front()) {
    case '"':
      return token.find('\\') == std::string_view::npos || !value.get_string().error();
    case 't':
    case 'f':
      return !value.get_bool().error();
    case 'n':
      return value.is_null().value_unsafe();
    case '{':
    case '[':
      return checkContainer(value);
    default:
      return !value.get_double().error();
  }
}

// A key without a backslash is its bytes, checked by stage one; one with
// escapes is unescaped, which checks them. (The benchmark's keys are short.)
bool checkKey(od::field& field) {
  const char* key = field.key().raw();
  const void* quote = std::memchr(key, '"', 64);
  if (quote == nullptr) fail("key");
  return std::memchr(key, '\\', size_t(static_cast<const char*>(quote) - key)) == nullptr ||
         !field.unescaped_key().error();
}

bool checkContainer(od::value value) {
  od::object object;
  if (!value.get_object().get(object)) {
    for (auto member : object) {
      od::field field;
      if (std::move(member).get(field) || !checkKey(field) || !checkValue(field.value())) return false;
    }
    return true;
  }
  od::array array;
  if (value.get_array().get(array)) return false;
  for (auto element : array) {
    od::value item;
    if (element.get(item) || !checkValue(item)) return false;
  }
  return true;
}

// A string value without escapes (the benchmark writes none).
std::string_view stringOf(od::value value) {
  const std::string_view token = value.raw_json_token();
  const size_t close = token.rfind('"');
  if (token.empty() || token[0] != '"' || close == 0 || close == std::string_view::npos) fail("string");
  const std::string_view text = token.substr(1, close - 1);
  if (text.find('\\') != std::string_view::npos) fail("escape");
  return text;
}

// Each component's path and group, every other value checked.
template <typename Each>
void walkComponents(od::array list, Each& each) {
  for (auto element : list) {
    od::object component;
    if (element.get_object().get(component)) fail("component");
    std::string_view path, group;
    for (auto member : component) {
      od::field field;
      if (std::move(member).get(field)) fail("field");
      // The benchmark writes no escapes, so a key is its bytes.
      const char* key = field.key().raw();
      const std::string_view name(key, size_t(static_cast<const char*>(std::memchr(key, '"', 64)) - key));
      if (name.find('\\') != std::string_view::npos) fail("escape");
      od::value value = field.value();
      if (name == "path") path = stringOf(value);
      else if (name == "removalGroup") group = stringOf(value);
      else if (!checkValue(value)) fail("value");
    }
    each(path, group);
  }
}

// The components of the manifest in pieces: each run of whole components of
// about kPiece bytes is read as an array of its own; the last ones are read
// with the text around the list, which checks the top level.
template <typename Each>
void forEachComponent(const Text& text, od::parser& parser, Each&& each) {
  const char* begin = text.bytes.get();
  const char* end = begin + text.size;
  constexpr std::string_view kList = "\"components\":[";
  const size_t found = std::string_view(begin, text.size).find(kList);
  if (found == std::string_view::npos) fail("no list");
  const char* list = begin + found + kList.size();
  std::vector<char> piece;
  const char* from = list;
  for (const char* at = from + kPiece; at < end; at = from + kPiece) {
    const char* cut = nullptr;
    for (; (at = static_cast<const char*>(std::memchr(at, '}', size_t(end - at)))) != nullptr; ++at)
      if (at + 2 < end && at[1] == ',' && at[2] == '{') {
        cut = at + 1;
        break;
      }
    if (cut == nullptr) break;
    piece.assign(1, '[');
    piece.insert(piece.end(), from, cut);
    piece.push_back(']');
    const size_t size = piece.size();
    piece.resize(size + simdjson::SIMDJSON_PADDING);
    od::document document;
    od::array array;
    if (parser.iterate(piece.data(), size, piece.size()).get(document) || document.get_array().get(array))
      fail("piece");
    walkComponents(array, each);
    from = cut + 1;
  }
  std::vector<char> last(begin, list);
  last.insert(last.end(), from, end);
  const size_t size = last.size();
  last.resize(size + simdjson::SIMDJSON_PADDING);
  od::document document;
  od::array array;
  if (parser.iterate(last.data(), size, last.size()).get(document) || document["components"].get_array().get(array))
    fail("last piece");
  walkComponents(array, each);
}

// The log: every line opened, written and closed on its own.
class Log {
 public:
  explicit Log(std::string path) : path_(std::move(path)) {}

  void append(const char* bytes, size_t size) const {
    const int fd = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644);
    struct statx info {};
    if (fd < 0 || ::statx(fd, "", AT_EMPTY_PATH, STATX_TYPE | STATX_SIZE, &info) != 0 || !S_ISREG(info.stx_mode) ||
        ::write(fd, bytes, size) != ssize_t(size))
      fail("log");
    ::close(fd);
  }

  // "[2026-11-16T15:54:07Z] ", formatted once per second.
  const char* stamp() {
    const std::time_t now = std::time(nullptr);
    if (now != stampSecond_) {
      std::tm utc{};
      ::gmtime_r(&now, &utc);
      std::strftime(stamp_, sizeof stamp_, "[%Y-%m-%dT%H:%M:%SZ] ", &utc);
      stampSecond_ = now;
    }
    return stamp_;
  }

 private:
  std::string path_;
  std::time_t stampSecond_ = -1;
  char stamp_[32] = {};
};

}  // namespace

long runManifestFloor(const std::string& home) {
  const std::string support = home + "/Library/Application Support/Talvoren";
  const std::string manifest = support + "/install-manifest.json";
  Log log(home + "/Library/Logs/Talvoren-Uninstaller.log");
  std::signal(SIGXFSZ, SIG_IGN);  // a write past the size limit fails instead
  od::parser parser;

  long count = 0;
  {
    const Text text = readWhole(manifest);
    forEachComponent(text, parser, [&](std::string_view, std::string_view) { ++count; });
  }
  const std::string summary = "[Skipped] Install manifest: " + std::to_string(count) + " recorded components at " + manifest;

  const std::string_view kNotFound = "AI model files: not found";
  long absent = 0;
  std::string line;
  const auto logAbsent = [&](std::string_view path) {
    line.assign(log.stamp()).append(kNotFound).append(" at ").append(path).push_back('\n');
    log.append(line.data(), line.size());
    ++absent;
  };
  {
    const Text text = readWhole(manifest);
    std::string path;
    struct stat info {};
    forEachComponent(text, parser, [&](std::string_view written, std::string_view group) {
      if (group != "model") return;
      path.assign(written);
      if (::stat(path.c_str(), &info) != 0) logAbsent(path);
    });
  }
  if (struct stat info {}; ::stat((support + "/Models").c_str(), &info) != 0) logAbsent(support + "/Models");

  // The report, as the program logs it: a heading, the summary, then a line
  // per absent item.
  std::string block = std::string("\n") + log.stamp() + "Action report:\n" + summary + '\n';
  block.reserve(kAppend);
  const std::string absentLine = "[Skipped] " + std::string(kNotFound) + '\n';
  for (long i = 0; i < absent; ++i) {
    if (block.size() + absentLine.size() > kAppend) {
      log.append(block.data(), block.size());
      block.clear();
    }
    block += absentLine;
  }
  log.append(block.data(), block.size());
  return 1 + absent + 1;  // the summary, the absent items, the line that names the log
}
