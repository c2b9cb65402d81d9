#!/usr/bin/python3
"""The isolated root's /usr/bin/defaults, /usr/bin/osascript and /usr/bin/tccutil: one program under each
name that answers the uninstaller's calls in the real tool's texts and exit statuses, and logs each call (the
suite checks every call, so a malformed one needs no answer of its own).
Started as standin.py it is Finder: root, like Finder once the user has authorised it, moving a path that
osascript sends over a socket into the Trash of the sender's account, or refusing ("fail" in finder-mode)."""
import datetime
import errno
import json
import os
import plistlib
import pwd
import re
import socket
import struct
import sys
import urllib.parse

STATE_DIR = "/var/lib/talvoren-standins"
FINDER_SOCKET = "/run/talvoren-finder.sock"
DELETE_SCRIPT = re.compile(r'tell application "Finder" to delete POSIX file "((?:[^"\\]|\\.)*)"')
FINDER_ERROR = "Finder got an error: %s"
PERMISSION_ERROR = ("The operation can't be completed because you don't have permission to access some of the "
                    "items. (-10000)")


def fail(message, status=1):
    sys.stderr.write(message + "\n")
    return status


def defaults(args):
    """read DOMAIN KEY, delete DOMAIN KEY, delete DOMAIN (its whole file)."""
    # The domains live in the account's own home, whatever $HOME says.
    path, values = pwd.getpwuid(os.getuid()).pw_dir + "/Library/Preferences/" + args[1] + ".plist", None
    try:
        with open(path, "rb") as handle:
            contents = handle.read()
        values, binary = plistlib.loads(contents), contents.startswith(b"bplist00")
    except (OSError, plistlib.InvalidFileException, ValueError):
        pass
    if values is None and args[0] == "delete":
        return fail("Domain (%s) not found.\nDefaults have not been changed." % args[1])
    if len(args) == 2:
        os.remove(path)
        return 0
    if values is None or args[2] not in values:
        return fail("\nThe domain/default pair of (%s, %s) does not exist" % (args[1], args[2]))
    if args[0] == "read":
        value = values[args[2]]
        print(("1" if value else "0") if isinstance(value, bool) else value)
        return 0
    del values[args[2]]
    with open(path, "wb") as handle:
        # Kept in the format it was in, as the preferences daemon does.
        plistlib.dump(values, handle, fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML)
    return 0


def osascript(args):
    """Only -e 'tell application "Finder" to delete POSIX file "PATH"'."""
    path = re.sub(r"\\(.)", r"\1", DELETE_SCRIPT.fullmatch(args[1]).group(1))
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(FINDER_SOCKET)
        connection.sendall(path.encode("utf-8"))
        connection.shutdown(socket.SHUT_WR)
        message = connection.makefile(encoding="utf-8").read()
    if message:
        return fail("0:%d: execution error: %s" % (len(args[1]), message))
    print("document file %s of item \".Trash\"" % os.path.basename(path))
    return 0


def tccutil(args):
    """reset SERVICE BUNDLE_ID, for the bundles listed in tcc-known-bundles."""
    with open(STATE_DIR + "/tcc-known-bundles", encoding="utf-8") as listing:
        if args[2] not in listing.read().split():
            return fail("tccutil: No such bundle identifier \"%s\": The operation couldn't be completed. "
                        "(OSStatus error -10814.)" % args[2], 70)
    print("Successfully reset %s approval status for %s" % (args[1], args[2]))
    return 0


def move_to_trash(path, user):
    """Into the account's Trash in the freedesktop.org layout, under a name not yet taken there."""
    trash = user.pw_dir + "/.local/share/Trash"
    for folder in (user.pw_dir + "/.local", user.pw_dir + "/.local/share", trash, trash + "/files", trash + "/info"):
        os.makedirs(folder, 0o700, exist_ok=True)
        os.chown(folder, user.pw_uid, user.pw_gid)
    name = base = os.path.basename(path.rstrip("/"))
    number = 1
    while os.path.lexists(trash + "/files/" + name) or os.path.lexists(trash + "/info/" + name + ".trashinfo"):
        number += 1
        name = "%s %d" % (base, number)
    info_path = trash + "/info/" + name + ".trashinfo"
    info = open(info_path, "x", encoding="utf-8")
    try:
        with info:
            info.write("[Trash Info]\nPath=%s\nDeletionDate=%s\n"
                       % (urllib.parse.quote(path), datetime.datetime.now().strftime("%Y-%m-%dT%H:%M:%S")))
    except OSError:
        # An item the Trash cannot record could never be put back: it stays, and no partial record either.
        os.remove(info_path)
        raise
    os.chown(info_path, user.pw_uid, user.pw_gid)
    os.rename(path, trash + "/files/" + name)


def finder_answer(path, uid):
    """The error message, or "" once the item is in the Trash."""
    with open(STATE_DIR + "/finder-mode", encoding="utf-8") as mode:
        if mode.read().strip() == "fail":
            return FINDER_ERROR % PERMISSION_ERROR
    if not os.path.lexists(path):
        return FINDER_ERROR % "Can't get file \"%s\". (-1728)" % path
    try:
        move_to_trash(path, pwd.getpwuid(uid))
    except OSError as error:
        if error.errno == errno.ENOSPC:
            return FINDER_ERROR % "The operation can't be completed because the disk is full. (-34)"
        return FINDER_ERROR % error + " (-10000)"
    return ""


def serve_finder():
    with socket.socket(socket.AF_UNIX) as server:
        server.bind(FINDER_SOCKET)
        os.chmod(FINDER_SOCKET, 0o666)
        server.listen()
        print("ready", flush=True)
        while True:
            connection, _ = server.accept()
            with connection:
                path = connection.makefile("rb").read().decode("utf-8")
                uid = struct.unpack("3i", connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))[1]
                connection.sendall(finder_answer(path, uid).encode("utf-8"))


if __name__ == "__main__":
    tool = os.path.basename(sys.argv[0])
    if tool == "standin.py":
        sys.exit(serve_finder())
    with open(STATE_DIR + "/calls.log", "a", encoding="utf-8") as log:
        log.write(json.dumps([tool, *sys.argv[1:]]) + "\n")
    sys.exit({"defaults": defaults, "osascript": osascript, "tccutil": tccutil}[tool](sys.argv[1:]))
