#!/usr/bin/python3
"""The Finder of the isolated test root, as the osascript stand-in reaches it.

Runs as root, like Finder once the user has authorised it, on a Unix socket. A
request is a POSIX path; the peer's user id says whose Trash it goes to. The
mode file in the stand-ins' state folder says whether the item moves into that
Trash, in the freedesktop.org layout ("perform", the default), or the request
fails with Finder's permission error ("fail"). Answer: a status line, then an
optional message.
"""
import datetime
import errno
import os
import pwd
import socket
import struct
import sys
import urllib.parse

MODE_FILE = "/var/lib/talvoren-standins/finder-mode"
SOCKET_PATH = "/run/talvoren-finder.sock"
PERMISSION_ERROR = ("Finder got an error: The operation can't be completed because you don't have "
                    "permission to access some of the items. (-10000)")
DISK_FULL_ERROR = "Finder got an error: The operation can't be completed because the disk is full. (-34)"


def mode():
    try:
        with open(MODE_FILE, encoding="utf-8") as handle:
            return handle.read().strip() or "perform"
    except OSError:
        return "perform"


def move_to_trash(path, user):
    trash = os.path.join(user.pw_dir, ".local", "share", "Trash")
    for folder in (os.path.dirname(os.path.dirname(trash)), os.path.dirname(trash), trash,
                   os.path.join(trash, "files"), os.path.join(trash, "info")):
        if not os.path.isdir(folder):
            os.makedirs(folder, mode=0o700)
            os.chown(folder, user.pw_uid, user.pw_gid)
    name = base = os.path.basename(path.rstrip("/"))
    number = 1
    while os.path.lexists(os.path.join(trash, "files", name)) or os.path.lexists(
            os.path.join(trash, "info", name + ".trashinfo")):
        number += 1
        name = "%s %d" % (base, number)
    info_path = os.path.join(trash, "info", name + ".trashinfo")
    info = open(info_path, "x", encoding="utf-8")
    try:
        with info:
            info.write("[Trash Info]\nPath=%s\nDeletionDate=%s\n"
                       % (urllib.parse.quote(path), datetime.datetime.now().strftime("%Y-%m-%dT%H:%M:%S")))
    except OSError:
        # An item the Trash cannot record could never be put back: it stays
        # where it is, and no partial record is left behind.
        os.remove(info_path)
        raise
    os.chown(info_path, user.pw_uid, user.pw_gid)
    os.rename(path, os.path.join(trash, "files", name))


def handle(path, uid):
    if mode() == "fail":
        return 1, PERMISSION_ERROR
    if not os.path.lexists(path):
        return 1, "Finder got an error: Can't get file \"%s\". (-1728)" % path
    try:
        move_to_trash(path, pwd.getpwuid(uid))
    except OSError as error:
        if error.errno == errno.ENOSPC:
            return 1, DISK_FULL_ERROR
        return 1, "Finder got an error: %s (-10000)" % error
    except KeyError as error:
        return 1, "Finder got an error: %s (-10000)" % error
    return 0, ""


def serve():
    if os.path.exists(SOCKET_PATH):
        os.remove(SOCKET_PATH)
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as server:
        server.bind(SOCKET_PATH)
        os.chmod(SOCKET_PATH, 0o666)
        server.listen()
        print("ready", flush=True)
        while True:
            connection, _ = server.accept()
            with connection:
                request = b""
                while chunk := connection.recv(4096):
                    request += chunk
                credentials = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
                status, message = handle(request.decode("utf-8"), struct.unpack("3i", credentials)[1])
                connection.sendall(("%d\n%s" % (status, message)).encode("utf-8"))


if __name__ == "__main__":
    sys.exit(serve())
