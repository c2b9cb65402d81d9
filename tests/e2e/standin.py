#!/usr/bin/python3
"""The isolated root's /usr/bin/defaults, /usr/bin/osascript and
/usr/bin/tccutil: one program, installed under each name, that answers the
calls the uninstaller makes as the real tool does, in its texts and exit
statuses, and first appends every call to the call log."""
import json
import os
import plistlib
import pwd
import re
import socket
import sys

STATE_DIR = "/var/lib/talvoren-standins"
FINDER_SOCKET = "/run/talvoren-finder.sock"
DELETE_SCRIPT = re.compile(r'tell application "Finder" to delete POSIX file "((?:[^"\\]|\\.)*)"')
SERVICES = {"All", "Accessibility", "AddressBook", "Calendar", "Camera", "ListenEvent", "Microphone",
            "Photos", "PostEvent", "Reminders", "ScreenCapture", "SpeechRecognition", "SystemPolicyAllFiles"}


def fail(message, status=1):
    sys.stderr.write(message + "\n")
    return status


def domain_path(domain):
    if domain.startswith("/"):
        return domain if domain.endswith(".plist") else domain + ".plist"
    # The domains live in the account's own home, whatever $HOME says.
    return os.path.join(pwd.getpwuid(os.getuid()).pw_dir, "Library", "Preferences", domain + ".plist")


def defaults(args):
    """read DOMAIN KEY, delete DOMAIN KEY, delete DOMAIN (its whole file)."""
    if not (len(args) == 3 and args[0] == "read" or len(args) in (2, 3) and args[0] == "delete"):
        return fail("Command line interface to a user's defaults.\nSyntax:\n\n'defaults' [-currentHost | -host "
                    "<hostname>] followed by one of the following:", 255)
    path, values = domain_path(args[1]), None
    try:
        with open(path, "rb") as handle:
            binary = handle.read(8) == b"bplist00"
            handle.seek(0)
            values = plistlib.load(handle)
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
    """Only `tell application "Finder" to delete POSIX file "PATH"`, passed on
    to the Finder stand-in (finder_service.py)."""
    if len(args) != 2 or args[0] != "-e":
        return fail("usage: osascript [-l language] [-e statement | programfile] [argument ...]")
    script = args[1]
    match = DELETE_SCRIPT.fullmatch(script)
    if match is None:
        return fail("0:%d: syntax error: A unknown token can't go here. (-2740)" % len(script))
    path = re.sub(r"\\(.)", r"\1", match.group(1))
    try:
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.connect(FINDER_SOCKET)
            connection.sendall(path.encode("utf-8"))
            connection.shutdown(socket.SHUT_WR)
            answer = b"".join(iter(lambda: connection.recv(4096), b""))
        status, _, message = answer.decode("utf-8").partition("\n")
    except OSError:
        status, message = "1", "Finder got an error: Application isn't running. (-600)"
    if status != "0":
        return fail("0:%d: execution error: %s" % (len(script), message))
    print("document file %s of item \".Trash\"" % os.path.basename(path))
    return 0


def tccutil(args):
    """reset SERVICE [BUNDLE_ID]: any known service; only bundles registered
    on this machine (listed in the state folder)."""
    if len(args) not in (2, 3) or args[0] != "reset":
        return fail("Usage: tccutil reset SERVICE [BUNDLE_ID]", 64)
    if args[1] not in SERVICES:
        return fail("tccutil: Unknown service \"%s\"." % args[1], 64)
    if len(args) == 2:
        print("Successfully reset %s" % args[1])
        return 0
    with open(os.path.join(STATE_DIR, "tcc-known-bundles"), encoding="utf-8") as listing:
        if args[2] not in listing.read().split():
            return fail("tccutil: No such bundle identifier \"%s\": The operation couldn't be completed. "
                        "(OSStatus error -10814.)" % args[2], 70)
    print("Successfully reset %s approval status for %s" % (args[1], args[2]))
    return 0


if __name__ == "__main__":
    tool = os.path.basename(sys.argv[0])
    with open(os.path.join(STATE_DIR, "calls.log"), "a", encoding="utf-8") as log:
        log.write(json.dumps({"tool": tool, "args": sys.argv[1:]}) + "\n")
    sys.exit({"defaults": defaults, "osascript": osascript, "tccutil": tccutil}[tool](sys.argv[1:]))
