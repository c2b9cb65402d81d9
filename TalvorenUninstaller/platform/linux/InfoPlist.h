#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// An application bundle's Info.plist is a few kilobytes and nests a few
// levels. The one of any bundle the user runs something from is read while
// the app is looked for, so a larger one, or one nested deeper (the root
// element is level 1), is taken for no application's rather than read at any
// cost.
inline constexpr qsizetype kInfoPlistLimit = qsizetype(1) << 20;
inline constexpr int kInfoPlistDepthLimit = 32;

// The string stored under `key` at the top level of an XML property list, as
// an application bundle's Contents/Info.plist holds it. Nothing when the
// document is not a well-formed XML property list with a dictionary at its
// root, when it nests deeper than kInfoPlistDepthLimit, or when the key is
// missing or its value is not a string. Binary property lists are not read:
// they count as unreadable.
std::optional<QString> infoPlistString(const QByteArray& contents, const QString& key);
