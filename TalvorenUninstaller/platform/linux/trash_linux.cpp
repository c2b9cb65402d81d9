#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/TopDirectoryTrash.h"

#include <QFile>
#include <QFileInfo>

#include <gio/gio.h>

#include <sys/stat.h>

namespace {

QString oneLine(QString message) {
  message.replace(QLatin1Char('\n'), QLatin1Char(' '));
  return message;
}

bool onOtherDeviceThanHome(const QByteArray& item, const QByteArray& home) {
  struct stat itemInfo {};
  struct stat homeInfo {};
  return ::lstat(item.constData(), &itemInfo) == 0 && ::stat(home.constData(), &homeInfo) == 0 &&
         itemInfo.st_dev != homeInfo.st_dev;
}

}  // namespace

TrashOutcome LinuxPlatform::moveToTrash(const QString& path) {
  const QByteArray nativePath = QFile::encodeName(path);
  GFile* file = g_file_new_for_path(nativePath.constData());
  GError* error = nullptr;
  const bool moved = g_file_trash(file, nullptr, &error);
  g_object_unref(file);
  if (moved) return {true, {}};

  const bool unsupported = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED);
  const QString reason = oneLine(QString::fromUtf8(error->message));
  g_error_free(error);

  // GLib refuses file systems that it counts as the system's own, tmpfs among
  // them, although the freedesktop.org rules give every mounted file system a
  // trash at its top. Those items get that trash from us, still by a rename:
  // nothing is ever copied across devices. Items on the home's own device
  // stay GLib's alone, so a failing home trash never spills into the root.
  if (!unsupported || !onOtherDeviceThanHome(nativePath, QFile::encodeName(homeDirectory()))) return {false, reason};
  return moveToTopDirectoryTrash(QFile::encodeName(QFileInfo(path).absoluteFilePath()));
}
