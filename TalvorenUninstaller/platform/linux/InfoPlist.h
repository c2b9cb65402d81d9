#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The string stored under `key` at the top level of an XML property list, as
// an application bundle's Contents/Info.plist holds it. Nothing when the
// document is not a well-formed XML property list with a dictionary at its
// root, or when the key is missing or its value is not a string. Binary
// property lists are not read: they count as unreadable.
std::optional<QString> infoPlistString(const QByteArray& contents, const QString& key);
