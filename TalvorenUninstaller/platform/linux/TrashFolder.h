#pragma once

#include "platform/Platform.h"

#include <QByteArray>

#include <optional>

// One freedesktop.org trash folder ("files" and "info" side by side) and the
// one way in which anything enters it: the home trash and the trash at the
// top of another file system follow the same rules here.
struct TrashFolder {
  QByteArray files;
  QByteArray info;
};

// The trash at the native path `trash`, with its "files" and "info" folders
// made if missing; nothing when one of them is not a real folder of ours.
std::optional<TrashFolder> prepareTrashFolder(const QByteArray& trash);

// Moves the item at the absolute native path `path` into `trash` by a rename
// on one file system, never a copy. Its information file, naming `path`, is
// written completely first, so an item that moved can always be restored; when
// that fails the item stays where it was and no partial file is left.
TrashOutcome moveIntoTrashFolder(const TrashFolder& trash, const QByteArray& path);

QString errnoText(int error);
