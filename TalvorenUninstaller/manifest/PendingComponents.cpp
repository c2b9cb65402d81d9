#include "manifest/PendingComponents.h"

#include <algorithm>
#include <cstring>

namespace {

// Keys are stored in blocks of this size; a longer key gets a block of its own.
constexpr size_t kBlockBytes = size_t(1) << 20;

// Up to eight bytes of `key` from `from` on, the first the most significant,
// padded with zeros. Comparing these orders keys as their bytes do, except
// where they are equal: then the bytes themselves decide.
std::uint64_t headOf(std::string_view key, size_t from) {
  std::uint64_t head = 0;
  for (size_t i = 0; i < 8; ++i) head = head << 8 | (from + i < key.size() ? std::uint8_t(key[from + i]) : 0);
  return head;
}

}  // namespace

void PendingComponents::add(std::string_view asciiPath, int depth, const QString& label, Handling handling) {
  addComponent(asciiPath, depth, label, handling, kSameAsKey);
}

void PendingComponents::add(const ManifestPath& path, const QString& label, Handling handling) {
  written_.push_back(path.path);
  addComponent(std::string_view(path.key.constData(), size_t(path.key.size())), path.depth, label, handling,
               std::uint32_t(written_.size() - 1));
}

void PendingComponents::addComponent(std::string_view key, int depth, const QString& label, Handling handling,
                                     std::uint32_t written) {
  Component component;
  component.key = store(key);
  component.keySize = std::uint32_t(key.size());
  component.depth = depth;
  component.order = std::uint32_t(components_.size());
  component.written = written;
  component.label = labelNumber(label);
  component.handling = handling;
  components_.push_back(component);
}

// Nearly every component of one removal has one of a few labels, most often
// the very string of the last one.
std::uint32_t PendingComponents::labelNumber(const QString& label) {
  if (!labels_.empty() && labels_.back().constData() == label.constData()) return std::uint32_t(labels_.size() - 1);
  const auto known = labelNumbers_.constFind(label);
  if (known != labelNumbers_.constEnd()) return *known;
  labels_.push_back(label);
  labelNumbers_.insert(label, std::uint32_t(labels_.size() - 1));
  return std::uint32_t(labels_.size() - 1);
}

const char* PendingComponents::store(std::string_view key) {
  if (blockEnd_ == nullptr || key.size() > blockRoom_) {
    const size_t size = std::max(kBlockBytes, key.size());
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(size));
    blockEnd_ = blocks_.back().get();
    blockRoom_ = size;
  }
  char* stored = blockEnd_;
  std::memcpy(stored, key.data(), key.size());
  blockEnd_ += key.size();
  blockRoom_ -= key.size();
  return stored;
}

void PendingComponents::sort() {
  if (components_.empty()) return;
  // The paths of one removal mostly share a long beginning (the home and the
  // app's folder); comparisons start after it.
  const std::string_view first = keyOf(components_.front());
  size_t shared = first.size();
  for (const Component& component : components_) {
    const std::string_view key = keyOf(component);
    if (key.substr(0, shared) == first.substr(0, shared)) continue;
    const size_t limit = std::min(shared, key.size());
    for (shared = 0; shared < limit && first[shared] == key[shared];) ++shared;
  }
  for (Component& component : components_) {
    component.head[0] = headOf(keyOf(component), shared);
    component.head[1] = headOf(keyOf(component), shared + 8);
  }

  std::sort(components_.begin(), components_.end(), [&](const Component& a, const Component& b) {
    if (a.depth != b.depth) return a.depth > b.depth;
    if (a.head[0] != b.head[0]) return a.head[0] < b.head[0];
    if (a.head[1] != b.head[1]) return a.head[1] < b.head[1];
    if (const int order = keyOf(a).substr(shared).compare(keyOf(b).substr(shared)); order != 0) return order < 0;
    return a.order < b.order;
  });

  // The keys, stored in the order they were read, are now reached in quite
  // another; laid out again in the order they are handled, the walk over
  // them reads memory front to back instead of missing the cache at each.
  const std::vector<std::unique_ptr<char[]>> blocks = std::move(blocks_);
  blocks_.clear();
  blockEnd_ = nullptr;
  blockRoom_ = 0;
  for (Component& component : components_) component.key = store(keyOf(component));
}

bool PendingComponents::repeatsPrevious(size_t index) const {
  if (index == 0) return false;
  const Component& component = components_[index];
  const Component& previous = components_[index - 1];
  // Mostly told apart without reaching for the keys themselves.
  return component.head[0] == previous.head[0] && component.head[1] == previous.head[1] &&
         keyOf(component) == keyOf(previous);
}

QByteArrayView PendingComponents::key(size_t index) const {
  return QByteArrayView(components_[index].key, qsizetype(components_[index].keySize));
}

QString PendingComponents::path(size_t index) const {
  const Component& component = components_[index];
  if (component.written != kSameAsKey) return written_[component.written];
  return QString::fromLatin1(component.key, qsizetype(component.keySize));
}

bool PendingComponents::contains(const ManifestPath& path) const {
  const std::string_view key(path.key.constData(), size_t(path.key.size()));
  const auto found = std::lower_bound(components_.begin(), components_.end(), path.depth,
                                      [&](const Component& component, int depth) {
                                        if (component.depth != depth) return component.depth > depth;
                                        return keyOf(component) < key;
                                      });
  return found != components_.end() && found->depth == path.depth && keyOf(*found) == key;
}
