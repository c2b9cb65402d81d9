#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The one translation between the program's path strings and the bytes the
// file system knows, used for every path that goes to the system or comes
// back from it.
//
// Bytes that are valid UTF-8 become the characters they spell. Any other byte
// (0x80..0xFF outside a valid sequence) becomes the lone surrogate
// U+DC80..U+DCFF, which no valid UTF-8 can produce, so a folder whose name is
// not UTF-8 keeps its exact bytes all the way through the program.
//
// The way back accepts only strings that this decoding could have produced:
// one holding U+0000, a lone surrogate outside U+DC80..U+DCFF, or escapes that
// spell valid UTF-8 (and so would name a different string's file) has no
// native form. Such a path names nothing: it does not exist and nothing can
// be done to it, so the path that was judged is always the path acted on.
std::optional<QByteArray> encodeNativePath(const QString& path);
QString decodeNativePath(const QByteArray& bytes);
