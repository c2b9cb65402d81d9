#include "manifest/InstallManifest.h"

#include "manifest/ManifestJson.h"

namespace {

ManifestComponent componentOf(const ComponentView& view) {
  ManifestComponent component;
  component.id = textOf(view.id);
  component.kind = textOf(view.kind);
  component.path = textOf(view.path);
  component.status = textOf(view.status);
  component.source = textOf(view.source);
  component.installedByTalvoren = view.installedByTalvoren;
  component.removalGroup = textOf(view.removalGroup);
  for (const auto& [key, value] : view.details) component.details.insert(textOf(key), textOf(value));
  return component;
}

}  // namespace

std::optional<InstallManifest> decodeInstallManifest(const QByteArray& json) {
  InstallManifest manifest;
  const bool complete = readManifestComponents(
      json, [&](const ComponentView& component) { manifest.components.push_back(componentOf(component)); });
  // All or nothing: one bad component and the manifest as a whole is unusable.
  if (!complete) return std::nullopt;
  return manifest;
}
