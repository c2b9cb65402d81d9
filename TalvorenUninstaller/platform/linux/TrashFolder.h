#pragma once

#include "platform/Platform.h"
#include "platform/linux/UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <sys/types.h>

// One freedesktop.org trash folder ("files" and "info" side by side) and the
// one way in which anything enters it: the home trash and the trash at the
// top of another file system follow the same rules here.
//
// The folder and its "files" and "info" are opened once, never through a
// link, and checked on the open descriptors; every item then moves in
// relative to those descriptors. Whatever happens to their names afterwards
// (on a shared volume another account may rename entries at the top), items
// land in the very folders that were checked. An open trash serves any number
// of items; it is opened anew for each action, so that a folder replaced in
// between is checked again.
class TrashFolder {
 public:
  // The home trash at the absolute native path `trash`, made if missing
  // together with the folders above it.
  static TrashFolder openHome(const QByteArray& trash);
  // The trash of the file system whose top folder is `top`: the shared
  // "$top/.Trash/$uid" when the administrator has set one up safely (a real,
  // sticky folder), else the user's own "$top/.Trash-$uid".
  static TrashFolder openTopDirectory(const QByteArray& top);

  // Why the trash cannot be used (each folder tried and what was wrong with
  // it); empty when it can.
  const QString& problem() const { return problem_; }

  // Moves the item at the native path `item` in by a rename on one file
  // system, never a copy. Its information file, naming `recordedPath` (the
  // absolute path for the home trash, the path below the top folder for any
  // other), is complete before it gets its name, and the item moves only
  // after that; on any failure the item stays where it was and nothing
  // written is left behind.
  TrashOutcome moveIn(const QByteArray& item, const QByteArray& recordedPath) const;

 private:
  explicit TrashFolder(uid_t user) : user_(user) {}
  // Opens the trash `name` in `parent` with its "files" and "info" folders;
  // false, with `problem` set, when one of them is not usable. `shown` is how
  // a problem names the trash (nothing: the trash itself is the subject).
  bool open(int parent, const QByteArray& name, const QByteArray& shown, QString& problem);

  uid_t user_;
  UniqueFd files_;
  UniqueFd info_;
  // Where an information file is written before it gets its name.
  QByteArray draftPrefix_;
  int utcOffset_ = 0;
  QString problem_;
};

QString errnoText(int error);
