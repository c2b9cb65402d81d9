#!/usr/bin/python3
"""Builds a Talvoren installation to uninstall: a home with all the dictation app leaves there and, inside the
isolated root only (--system-items), the app in /Applications and the package manager's speech engine.
  make_fixture.py HOME [--user NAME] [--fake-app BINARY] [--system-items]"""
import argparse
import json
import os
import plistlib
import pwd
import shutil

APP_ID = "com.quvex.Talvoren.direct"
APP_BUNDLE = "/Applications/Talvoren.app"
RUNTIME_PATH = APP_BUNDLE + "/Contents/Resources/whisper-runtime"
SPEECH_ENGINE_PATH = "/opt/homebrew/Cellar/whisper-cpp/1.7.2"
ISOLATED_ROOT_MARKER = "/run/talvoren-isolated-root"


class Locations:
    """The places of one installation, named as the uninstaller names them."""

    def __init__(self, home):
        self.home = home
        self.app_support = home + "/Library/Application Support/Talvoren"
        self.models = self.app_support + "/Models"
        self.model_file = self.models + "/ggml-base.en.bin"
        self.output = self.app_support + "/Output"
        self.manifest = self.app_support + "/install-manifest.json"
        self.installer_helper = self.app_support + "/Installer/talvoren-install-helper"
        self.logs = home + "/Library/Logs/Talvoren"
        self.uninstaller_log = home + "/Library/Logs/Talvoren-Uninstaller.log"
        self.preferences = home + "/Library/Preferences/" + APP_ID + ".plist"
        self.cache = home + "/Library/Caches/" + APP_ID
        self.saved_state = home + "/Library/Saved Application State/" + APP_ID + ".savedState"
        self.input_method = home + "/Library/Input Methods/TalvorenInputMethod.app"
        self.transcripts = home + "/Documents/Talvoren Transcripts"
        self.shared_container = home + "/Library/Group Containers/group.com.quvex.shared"


def component(ident, kind, path, group, source="talvoren-installer"):
    return {"id": ident, "kind": kind, "path": path, "status": "installed", "source": source,
            "installedByTalvoren": source == "talvoren-installer", "removalGroup": group,
            "details": {"installedAt": "2026-09-30T12:00:00Z"}}


def manifest(where, extra_rows=()):
    """One component of every group and kind the uninstaller gives a meaning to, and `extra_rows`."""
    return {"schemaVersion": 2, "components": [
        component("path:app", "app", APP_BUNDLE, "app"),
        component("runtime:whisper", "bundled-runtime", RUNTIME_PATH, "app"),
        component("model:recommended", "model-file", where.model_file, "model"),
        component("path:models-folder", "models-folder", where.models, "model"),
        component("path:output-folder", "app-data", where.output, "app-data"),
        component("path:app-support", "app-data", where.app_support, "app-data"),
        component("path:install-manifest", "manifest", where.manifest, "manifest"),
        component("path:installed-uninstaller", "installer-helper", where.installer_helper, "installer-helper"),
        component("engine:whisper-cpp", "speech-engine", SPEECH_ENGINE_PATH, "speech-engine", "homebrew"),
        component("path:installed-input-method", "input-method", where.input_method, "input-method"),
        # Outside the app's own locations, so it stays.
        component("path:transcripts", "transcripts", where.transcripts, "app-data"),
        # Shared with the vendor's other apps: no action ever removes it.
        component("path:shared-container", "group-container", where.shared_container, "none"),
        *(component(*row) for row in extra_rows)]}


def write(path, contents, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as handle:
        handle.write(contents if isinstance(contents, bytes) else contents.encode("utf-8"))
    os.chmod(path, mode)


def info_plist(identifier, executable):
    return plistlib.dumps({"CFBundleIdentifier": identifier, "CFBundleExecutable": executable,
                           "CFBundleName": executable, "CFBundleShortVersionString": "2.3.1",
                           "CFBundlePackageType": "APPL"})


def executable(path, fake_app):
    if not fake_app:
        return write(path, "#!/bin/sh\nexec sleep 600\n", 0o755)
    with open(fake_app, "rb") as program:
        write(path, program.read(), 0o755)


def build_home(where, fake_app):
    write(where.model_file, os.urandom(64 * 1024))
    write(where.models + "/ggml-base.en.sha256", "sha256 of the model\n")
    write(where.output + "/dictation-0001.wav", os.urandom(4096))
    write(where.app_support + "/history.sqlite", os.urandom(8192))
    write(where.installer_helper, "#!/bin/sh\necho helper\n", 0o755)
    write(where.manifest, json.dumps(manifest(where), indent=2) + "\n")
    write(where.logs + "/talvoren.log", "2026-10-01 08:00:00 started\n")
    write(where.uninstaller_log, "[2026-10-01T08:00:00Z] Uninstaller shown bundle=/old version=0.9\n")
    write(where.preferences, plistlib.dumps({"setupCompleted": True, "hotkey": "fn", "language": "en"},
                                            fmt=plistlib.FMT_BINARY))
    write(where.cache + "/Cache.db", os.urandom(2048))
    write(where.saved_state + "/windows.plist", plistlib.dumps({"frames": ["0 0 400 300"]}))
    write(where.input_method + "/Contents/Info.plist", info_plist(APP_ID + ".InputMethod", "TalvorenInputMethod"))
    executable(where.input_method + "/Contents/MacOS/TalvorenInputMethod", fake_app)
    write(where.transcripts + "/2026-09-30 meeting.txt", "Notes the user dictated.\n")
    write(where.shared_container + "/voices.json", "{\"voices\": []}\n")
    # Neighbours of the app's locations that belong to someone else.
    write(where.home + "/Documents/notes.txt", "keep me\n")
    write(where.home + "/Library/Application Support/Talvoren-old/readme.txt", "not Talvoren's own folder\n")
    write(where.home + "/Library/Preferences/com.example.Other.plist", plistlib.dumps({"setupCompleted": True}))
    write(where.home + "/Library/Caches/com.example.Other/cache.bin", os.urandom(512))
    write(where.home + "/Library/Logs/Other.log", "other app\n")


def build_system_items(fake_app):
    if not os.path.exists(ISOLATED_ROOT_MARKER):
        raise RuntimeError("refusing to write to /Applications and /opt outside the isolated test root")
    shutil.rmtree(APP_BUNDLE, ignore_errors=True)
    shutil.rmtree("/opt/homebrew", ignore_errors=True)
    write(APP_BUNDLE + "/Contents/Info.plist", info_plist(APP_ID, "Talvoren"))
    executable(APP_BUNDLE + "/Contents/MacOS/Talvoren", fake_app)
    write(RUNTIME_PATH + "/libwhisper.so", os.urandom(4096))
    write(APP_BUNDLE + "/Contents/Resources/AppIcon.png", b"\x89PNG\r\n\x1a\n")
    write(SPEECH_ENGINE_PATH + "/bin/whisper-cli", "#!/bin/sh\n", 0o755)
    write(SPEECH_ENGINE_PATH + "/INSTALL_RECEIPT.json", "{}\n")


def chown_tree(top, user):
    os.chown(top, user.pw_uid, user.pw_gid)
    for folder, subfolders, files in os.walk(top):
        for name in subfolders + files:
            os.lchown(os.path.join(folder, name), user.pw_uid, user.pw_gid)


def build(home, user=None, fake_app=None):
    """Replaces what was at `home` by a fresh installation and returns its Locations. The home may be a mount
    point (a small file system of its own): then only its contents go."""
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home, exist_ok=True)
    where = Locations(home)
    build_home(where, fake_app)
    if user:
        chown_tree(home, user)
    return where


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("home")
    parser.add_argument("--user")
    parser.add_argument("--fake-app")
    parser.add_argument("--system-items", action="store_true")
    options = parser.parse_args()
    user = pwd.getpwnam(options.user) if options.user else None
    build(options.home, user, options.fake_app)
    if options.system_items:
        build_system_items(options.fake_app)
        chown_tree(APP_BUNDLE, user)
