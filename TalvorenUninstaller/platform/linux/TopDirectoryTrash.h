#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Where an item on another file system than the home's goes, as the
// freedesktop.org Trash rules lay it out: the trash at the top folder of
// that file system (TrashFolder::openTopDirectory), recording the item's
// path below that folder, so that it still restores when the volume is
// mounted somewhere else.
struct TopDirectoryPlace {
  QByteArray top;
  QByteArray belowTop;
};

// The place for the item at the absolute native path `path`; nothing, with
// the reason in `error`, when the folder holding it cannot be resolved.
std::optional<TopDirectoryPlace> topDirectoryPlace(const QByteArray& path, QString& error);
