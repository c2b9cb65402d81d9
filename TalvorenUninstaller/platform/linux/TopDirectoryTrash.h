#pragma once

#include "platform/Platform.h"

#include <QByteArray>

// Moves the item at the absolute native path `path` into the trash at the top
// of the file system that holds it, as the freedesktop.org Trash rules lay it
// out: the shared "$topdir/.Trash/$uid" when the administrator has set one up
// safely, else the user's own "$topdir/.Trash-$uid". Only ever renames.
TrashOutcome moveToTopDirectoryTrash(const QByteArray& path);
