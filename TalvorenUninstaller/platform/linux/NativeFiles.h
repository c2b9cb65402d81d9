#pragma once

#include "platform/Platform.h"

#include <QByteArray>

#include <optional>

#include <sys/stat.h>
#include <sys/types.h>

// File operations on native paths (see NativePath.h) that never wait: every
// open is non-blocking, so a FIFO or a device cannot stall the window.

// Opens `path` with `flags` (plus O_NONBLOCK, O_NOCTTY and O_CLOEXEC) and
// keeps it only when it is a regular file; -1 with errno set otherwise. On
// success `info`, when given, describes the file.
int openRegularFile(const QByteArray& path, int flags, struct stat* info = nullptr);

// Opens `path` to append to it, creating a missing file (0644), and keeps it
// only when it is a regular file; -1 with errno set otherwise. `size` is its
// size when opened. Made for the many appends of a log (see appendToFile).
int openRegularFileToAppend(const QByteArray& path, off_t& size);

// The whole regular file, at most `limit` bytes, with kReadFilePadding bytes
// of spare capacity after the data; nothing otherwise. No more than one byte
// beyond the limit is ever read.
std::optional<QByteArray> readRegularFile(const QByteArray& path, qsizetype limit = kReadFileLimit);

// Writes all of `bytes` to `fd`; 0, or the errno of the failed write.
int writeAll(int fd, const QByteArray& bytes);

// The folder that holds the item at the absolute path `path`; "/" for an item
// directly at the root.
QByteArray parentFolder(const QByteArray& path);

// Where the symbolic link `link` points, as the system names it; empty when
// it is no link or its target does not fit in a path.
QByteArray linkTarget(const QByteArray& link);

// Creates the folder `path` and any missing folders above it with `mode`;
// true when a folder stands at `path` afterwards.
bool makeFolders(const QByteArray& path, mode_t mode);
