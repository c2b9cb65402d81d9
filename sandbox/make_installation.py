#!/usr/bin/python3
"""Builds the Talvoren installation that installation.json describes: a home with all the dictation app leaves
there and, inside the isolated root only (--system-items), the app in /Applications and the speech engine.
  make_installation.py HOME [--user NAME] [--fake-app BINARY] [--system-items]"""
import argparse
import json
import os
import plistlib
import pwd
import re
import shutil

with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "installation.json"), encoding="utf-8") as data:
    INSTALLATION = json.load(data)
ISOLATED_ROOT_MARKER = "/run/talvoren-isolated-root"


def fill(text, names):
    return re.sub(r"\{(\w+)\}", lambda match: names[match.group(1)], text)


def locations(home):
    names = {"home": home}
    for name, path in INSTALLATION["locations"].items():
        names[name] = fill(path, names)
    return names


def component(ident, kind, path, group, source="talvoren-installer"):
    return {"id": ident, "kind": kind, "path": path, "status": "installed", "source": source,
            "installedByTalvoren": source == "talvoren-installer", "removalGroup": group,
            "details": {"installedAt": "2026-09-30T12:00:00Z"}}


def manifest(where, extra_rows=()):
    rows = [[fill(item, where) for item in row] for row in INSTALLATION["manifest"]]
    return {"schemaVersion": 2, "components": [component(*row) for row in rows + list(extra_rows)]}


def write(path, contents, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as handle:
        handle.write(contents if isinstance(contents, bytes) else contents.encode("utf-8"))
    os.chmod(path, mode)


def executable(path, fake_app):
    write(path, "#!/bin/sh\nexec sleep 600\n", 0o755)
    if fake_app:
        shutil.copyfile(fake_app, path)


def put(path, contents, fake_app):
    if contents == "fake app":
        return executable(path, fake_app)
    if isinstance(contents, int):
        return write(path, os.urandom(contents))
    if isinstance(contents, str):
        return write(path, contents, 0o755 if contents.startswith("#!") else 0o644)
    (kind, value), = contents.items()
    write(path, plistlib.dumps(value, fmt=plistlib.FMT_BINARY if kind == "binary plist" else plistlib.FMT_XML))


def chown_tree(top, user):
    os.chown(top, user.pw_uid, user.pw_gid)
    for folder, subfolders, files in os.walk(top):
        for name in subfolders + files:
            os.lchown(os.path.join(folder, name), user.pw_uid, user.pw_gid)


def build(home, user=None, fake_app=None):
    """Replaces what was at `home` by a fresh installation and returns its locations. The home may be a mount
    point (a small file system of its own): then only its contents go."""
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home, exist_ok=True)
    where = locations(home)
    for path, contents in INSTALLATION["home"].items():
        put(fill(path, where), contents, fake_app)
    write(where["manifest"], json.dumps(manifest(where), indent=2))
    if user:
        chown_tree(home, user)
    return where


def build_system_items(where, fake_app):
    if not os.path.exists(ISOLATED_ROOT_MARKER):
        raise RuntimeError("refusing to write to /Applications and /opt outside the isolated test root")
    shutil.rmtree(where["app"], ignore_errors=True)
    shutil.rmtree("/opt/homebrew", ignore_errors=True)
    for path, contents in INSTALLATION["system"].items():
        put(fill(path, where), contents, fake_app)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("home")
    parser.add_argument("--user")
    parser.add_argument("--fake-app")
    parser.add_argument("--system-items", action="store_true")
    options = parser.parse_args()
    user = pwd.getpwnam(options.user) if options.user else None
    where = build(options.home, user, options.fake_app)
    if options.system_items:
        build_system_items(where, options.fake_app)
        chown_tree(where["app"], user)
