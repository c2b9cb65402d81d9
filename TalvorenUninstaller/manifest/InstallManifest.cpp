#include "manifest/InstallManifest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

bool readText(const QJsonObject& object, QLatin1String key, QString& into) {
  const QJsonValue value = object.value(key);
  if (!value.isString()) return false;
  into = value.toString();
  return true;
}

bool readDetails(const QJsonObject& object, QMap<QString, QString>& into) {
  const QJsonValue value = object.value(QLatin1String("details"));
  if (!value.isObject()) return false;
  const QJsonObject details = value.toObject();
  for (auto entry = details.begin(); entry != details.end(); ++entry) {
    if (!entry.value().isString()) return false;
    into.insert(entry.key(), entry.value().toString());
  }
  return true;
}

std::optional<ManifestComponent> decodeComponent(const QJsonValue& value) {
  if (!value.isObject()) return std::nullopt;
  const QJsonObject object = value.toObject();
  ManifestComponent component;
  const QJsonValue installed = object.value(QLatin1String("installedByTalvoren"));
  if (!installed.isBool()) return std::nullopt;
  component.installedByTalvoren = installed.toBool();
  const bool complete = readText(object, QLatin1String("id"), component.id) &&
                        readText(object, QLatin1String("kind"), component.kind) &&
                        readText(object, QLatin1String("path"), component.path) &&
                        readText(object, QLatin1String("status"), component.status) &&
                        readText(object, QLatin1String("source"), component.source) &&
                        readText(object, QLatin1String("removalGroup"), component.removalGroup) &&
                        readDetails(object, component.details);
  if (!complete) return std::nullopt;
  return component;
}

}  // namespace

std::optional<InstallManifest> decodeInstallManifest(const QByteArray& json) {
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(json, &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
  const QJsonValue components = document.object().value(QLatin1String("components"));
  if (!components.isArray()) return std::nullopt;

  InstallManifest manifest;
  const QJsonArray list = components.toArray();
  manifest.components.reserve(size_t(list.size()));
  // All or nothing: one bad component and the manifest as a whole is unusable.
  for (const QJsonValue& value : list) {
    std::optional<ManifestComponent> component = decodeComponent(value);
    if (!component) return std::nullopt;
    manifest.components.push_back(std::move(*component));
  }
  return manifest;
}
