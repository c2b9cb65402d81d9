#pragma once

#include "manifest/ManifestPath.h"

#include <QByteArrayView>
#include <QHash>
#include <QString>

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

// What becomes of a component once its path has not been handled before.
enum class Handling : std::uint8_t { LeaveExternal, ReportRuntime, TrashIfSafe };

// The components of a manifest that a removal asked for, reduced to what
// their handling needs, in the order in which they are handled: deeper paths
// first, then by key, equal keys in the order of the file. A manifest can
// list a million components, and after the system's own work, reading,
// ordering and passing over repeated paths is most of the removal. So each
// keeps little: its key (UTF-8, composed; for a path in ASCII also the path
// as written) and depth, its label as a number, and the path as written only
// where it differs from its key; the keys lie in large blocks that never move.
class PendingComponents {
 public:
  // A path in ASCII, normalised: its key is the path itself.
  void add(std::string_view asciiPath, int depth, const QString& label, Handling handling);
  // Any other path.
  void add(const ManifestPath& path, const QString& label, Handling handling);

  // Puts the components in the order in which they are handled. Call once,
  // after the last add().
  void sort();

  size_t size() const { return components_.size(); }
  // Whether the component at `index` has the key of the one before it, and so
  // was handled already.
  bool repeatsPrevious(size_t index) const;
  QByteArrayView key(size_t index) const;
  // Whether the key is also the path as written, byte for byte (a path in
  // ASCII). Not the same as a key in ASCII: a KELVIN SIGN composes to a K.
  bool pathIsKey(size_t index) const { return components_[index].written == kSameAsKey; }
  // The path as written, to report and act on.
  QString path(size_t index) const;
  const QString& label(size_t index) const { return labels_[components_[index].label]; }
  Handling handling(size_t index) const { return components_[index].handling; }

  // Whether a component has the key of `path` (after sort()).
  bool contains(const ManifestPath& path) const;

 private:
  static constexpr std::uint32_t kSameAsKey = UINT32_MAX;

  struct Component {
    // Sixteen bytes of the key after the prefix that all share, for a fast
    // comparison: in a folder of many items the first eight often agree.
    std::uint64_t head[2] = {0, 0};
    const char* key = nullptr;
    std::uint32_t keySize = 0;
    std::int32_t depth = 0;
    std::uint32_t order = 0;  // the position among the components read
    std::uint32_t written = kSameAsKey;
    std::uint32_t label = 0;
    Handling handling = Handling::TrashIfSafe;
  };

  std::string_view keyOf(const Component& component) const { return {component.key, component.keySize}; }
  void addComponent(std::string_view key, int depth, const QString& label, Handling handling, std::uint32_t written);
  std::uint32_t labelNumber(const QString& label);
  const char* store(std::string_view key);

  std::vector<Component> components_;
  std::vector<QString> written_;
  std::vector<QString> labels_;
  QHash<QString, std::uint32_t> labelNumbers_;
  std::vector<std::unique_ptr<char[]>> blocks_;
  size_t blockRoom_ = 0;
  char* blockEnd_ = nullptr;
};
