#pragma once

#include "cleanup/CleanupOperations.h"
#include "manifest/InstallManifest.h"

#include <QSet>
#include <QString>

#include <string_view>
#include <vector>

// The removal that the install manifest drives: which of its components an
// action may move to the Trash, in which order, under which label, and the
// one-line summary that opens every report. Moving goes through the cleanup
// layer's trash().
class ManifestOperations : public CleanupOperations {
 public:
  using CleanupOperations::CleanupOperations;

  // Moves the components of `groups` that lie inside the app's own locations
  // to the Trash, deepest first, then each fallback the manifest did not
  // already handle.
  void removeManifestComponents(const QSet<QString>& groups, const std::vector<ManifestFallback>& fallback,
                                Report& report);
  // Whether a normalised path lies inside the dictation app's own locations.
  // Never looks at the file system.
  bool isSafeManifestRemovalPath(const QString& normalisedPath) const;
  // True when `a` is handled before `b`: deeper paths first, then by path.
  bool manifestRemovalOrder(const ManifestComponent& a, const ManifestComponent& b) const;
  // The label of a component with these fields, as read from the manifest.
  QString manifestLabel(std::string_view id, std::string_view kind, std::string_view group) const;
  // A one-line description of the manifest, opening every action's report.
  QString manifestSummary() const;

  // How a report line says that a component stays where it is: after its
  // label, one of these, then its path and ")".
  static inline const QString kLeftExternal = QStringLiteral(": external Homebrew component left untouched (");
  static inline const QString kOutsideScope = QStringLiteral(": outside Talvoren uninstall scope (");

 protected:
  ~ManifestOperations() = default;
};
