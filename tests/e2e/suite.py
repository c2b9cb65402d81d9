#!/usr/bin/python3
"""The uninstaller end to end, as a user meets it: the built program under
Xvfb, driven through its window, inside the isolated root (run.sh enters it).
Each case is a JSON file in cases/ (their README gives the keys): an
installation, then steps, each with everything that must follow from it.
Environment: TALVOREN_PROGRAM (the uninstaller), TALVOREN_FAKE_APP (the
fake_talvoren fixture program)."""
import json
import os
import plistlib
import pwd
import re
import select
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import make_fixture  # noqa: E402
from gui import Display, UninstallerWindow, wait_until  # noqa: E402
from observe import Trash, clear_calls, is_within, new_log_lines, read_calls, read_log, report_block  # noqa: E402
from observe import snapshot, subtree  # noqa: E402

PROGRAM = os.environ.get("TALVOREN_PROGRAM", "")
FAKE_APP = os.environ.get("TALVOREN_FAKE_APP", "")
HOME = "/Users/tester"
ROOTS = (HOME, "/Applications", "/opt/homebrew")
ADMIN_GID = 80
NAMES = {**vars(make_fixture.Locations(HOME)), "app": make_fixture.APP_BUNDLE, "engine": make_fixture.SPEECH_ENGINE_PATH}
SHOWN = (r"^Uninstaller shown bundle=%s version=\S+ frame=\(-?\d+\.\d+(, -?\d+\.\d+){3}\)$"
         % re.escape(os.path.dirname(PROGRAM)))
display = user = as_user = None


def setUpModule():
    global display, user, as_user
    if not (os.path.exists(make_fixture.ISOLATED_ROOT_MARKER) and os.getuid() == 0):
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    user = pwd.getpwnam("tester")
    as_user = ["setpriv", "--reuid=%d" % user.pw_uid, "--regid=%d" % user.pw_gid, "--init-groups"]
    display = Display()
    unittest.addModuleCleanup(display.close)


def expand(value, fragments):
    """Fills in the {placeholders}; a list item "@name" becomes the fragment's lines (or line)."""
    if isinstance(value, str):
        return re.sub(r"\{(\w+)\}", lambda match: NAMES[match.group(1)], value)
    if isinstance(value, dict):
        return {expand(key, fragments): expand(item, fragments) for key, item in value.items()}
    if not isinstance(value, list):
        return value
    expanded = []
    for item in value:
        if isinstance(item, str) and item.startswith("@"):
            fragment = expand(fragments[item[1:]], fragments)
            expanded += fragment if isinstance(fragment, list) else [fragment]
        else:
            expanded.append(expand(item, fragments))
    return expanded


def stop(process):
    if process.poll() is None:
        process.kill()
        process.wait()


def make_fifo(path):
    os.remove(path)
    os.mkfifo(path, 0o644)
    os.chown(path, user.pw_uid, user.pw_gid)


class Case(unittest.TestCase):
    """Runs one case file; a test method per file is added below."""
    maxDiff = None

    def run_file(self, case):
        with open(os.path.join(HERE, "cases", "fragments.json"), encoding="utf-8") as shared:
            case = expand(case, json.load(shared))
        self.run_case(case)

    def run_case(self, case):
        install = case.get("install", {})
        self.where = self.install(install)
        self.trash, self.trashed = Trash(HOME, as_user, install.get("volumes", {})), []
        # A log that is no ordinary file, or cannot grow, is never read.
        self.log = None if "log" in install else self.where.uninstaller_log
        self.fake_app = self.start_fake_app(install["app"]) if "app" in install else None
        self.others = [self.start_fake_app(["quit"], path) for path in install.get("others", [])]
        self.window = self.start_uninstaller(install.get("environment", {}))
        for step in case["steps"]:
            getattr(self, "step_" + step["do"])(step)

    def install(self, install):
        administrator = install.get("administrator", True)
        if "full_home" in install:
            os.makedirs(HOME, exist_ok=True)
            subprocess.run(["mount", "-t", "tmpfs", "-o", "size=" + install["full_home"], "talvoren-home", HOME],
                           check=True)
            self.addCleanup(subprocess.run, ["umount", "--lazy", HOME], check=True)
        where = make_fixture.build(HOME, user, FAKE_APP, system_items=True, app_owned_by_user=administrator)
        for path, contents in install.get("files", {}).items():
            make_fixture.write(path, contents)
            make_fixture.chown_tree("/".join(path.split("/")[:3]), user)
        for path, target in install.get("links", {}).items():
            if os.path.lexists(path):
                os.remove(path)
            os.symlink(target, path)
            os.lchown(path, user.pw_uid, user.pw_gid)
        for path in install.get("others", []):
            make_fixture.executable(path, FAKE_APP)
        for top, (shared_mode, _) in install.get("volumes", {}).items():
            self.mount_volume(top, shared_mode)
        if install.get("manifest") == "fifo":
            make_fifo(where.manifest)
        elif "manifest" in install:
            manifest = make_fixture.manifest(where)
            manifest["components"] += [make_fixture.component(*row) for row in install["manifest"]]
            make_fixture.write(where.manifest, json.dumps(manifest, indent=2) + "\n")
            os.chown(where.manifest, user.pw_uid, user.pw_gid)
        if install.get("log") == "fifo":
            make_fifo(where.uninstaller_log)
        os.chown("/Applications", 0, ADMIN_GID if administrator else 0)
        os.chmod("/Applications", 0o775 if administrator else 0o755)
        with open("/var/lib/talvoren-standins/finder-mode", "w", encoding="utf-8") as mode:
            mode.write(install.get("finder", "perform") + "\n")
        if "full_home" in install:
            # Until no block is left: dd stops at the first write that finds none.
            subprocess.run(["dd", "if=/dev/zero", "of=%s/.filler" % HOME, "bs=64K"], capture_output=True)
        clear_calls()
        return where

    def mount_volume(self, top, shared_mode):
        """Moves what is at `top` onto a file system of its own, with a shared
        ".Trash" of that mode (or none)."""
        os.rename(top, top + "~")
        os.mkdir(top)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "talvoren-volume", top], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", top], check=True)
        shutil.copytree(top + "~", top, symlinks=True, dirs_exist_ok=True)
        shutil.rmtree(top + "~")
        make_fixture.chown_tree(top, user)
        if shared_mode:
            os.mkdir(top + "/.Trash")
            os.chmod(top + "/.Trash", int(shared_mode, 8))

    def start_fake_app(self, arguments, path=make_fixture.APP_BUNDLE + "/Contents/MacOS/Talvoren"):
        app = subprocess.Popen([*as_user, path, *arguments], stdout=subprocess.PIPE, text=True)
        self.addCleanup(app.stdout.close)
        self.addCleanup(stop, app)
        readable, _, _ = select.select([app.stdout], [], [], 10)
        self.assertTrue(readable and app.stdout.readline().strip() == "ready", "the fake app did not start")
        return app

    def start_uninstaller(self, overrides):
        log_before = read_log(self.log)
        environment = {"HOME": HOME, "USER": "tester", "LOGNAME": "tester", "PATH": "/usr/bin:/bin",
                       "LANG": "C.UTF-8", "DISPLAY": display.name, "QT_QPA_PLATFORM": "xcb",
                       "XDG_RUNTIME_DIR": "/run/user/%d" % user.pw_uid, **overrides}
        self.output = tempfile.TemporaryFile()
        self.addCleanup(self.output.close)
        process = subprocess.Popen([*as_user, PROGRAM], env=environment, cwd=HOME, stdout=self.output,
                                   stderr=subprocess.STDOUT)
        self.addCleanup(stop, process)
        try:
            window = UninstallerWindow(display, process)
        except AssertionError as error:
            raise AssertionError("%s; its output:\n%s" % (error, self.program_output())) from None
        if self.log:
            # Shown twice (before the event loop and once it runs), logged each time alike.
            lines = wait_until(lambda: (found := new_log_lines(self.log, log_before))[1:] and found, 10,
                               "two \"Uninstaller shown\" lines")
            shown = [line.split("] ", 1)[1] for line in lines]
            self.assertEqual(shown[0], shown[1])
            self.assertRegex(shown[0], SHOWN)
        return window

    def program_output(self):
        self.output.seek(0)
        return self.output.read().decode(errors="replace")

    def step_cancel(self, step):
        log_before, before = read_log(self.log), snapshot(*ROOTS)
        self.window.cancel_action(step["button"])
        self.assertEqual(read_log(self.log), log_before, "cancelling must not log anything")
        self.assertEqual(read_calls(), [])
        self.assertEqual(snapshot(*ROOTS), before)

    def step_action(self, step):
        """Checks the status text and the log's report block line by line, the
        stand-ins' calls in order, the Trash (trash-list, info files, each
        moved item whole) and every other file, byte for byte."""
        report, moved = step["report"], step.get("moved", [])
        before, log_before = snapshot(*ROOTS), read_log(self.log)
        clear_calls()
        # On screen the report ends with the line that names the log.
        status = "\n".join(report + ["[OK] Uninstall log saved: " + self.where.uninstaller_log])
        self.assertEqual(self.window.run_action(step["button"], status), status, "status text\n" + self.program_output())
        if self.log:
            self.assertEqual(report_block(new_log_lines(self.log, log_before)), report, "report block")
        self.assertEqual(read_calls(), step.get("calls", []))
        self.assert_only_expected_changes(before, snapshot(*ROOTS), moved + step.get("deleted", []),
                                          step.get("changed", []))
        self.trashed += moved
        self.assertEqual(self.trash.listed_paths(), sorted(self.trashed))
        self.assertEqual(self.trash.problems(), [])
        for original in moved:
            stored = self.trash.stored_item(original)
            self.assertIsNotNone(stored, original)
            # As it was, less what was moved out of it on its own.
            inner = [path for path in moved if path != original and is_within(path, original)]
            expected = {relative: value for relative, value in subtree(before, original).items()
                        if not any(is_within(os.path.join(original, relative), path) for path in inner)}
            self.assertEqual(subtree(snapshot(stored), stored), expected, "the Trash holds %s changed" % original)
        if "preferences" in step:
            with open(self.where.preferences, "rb") as handle:
                self.assertEqual(plistlib.load(handle), step["preferences"])
        for other in self.others:
            self.assertIsNone(other.poll(), "a process of another app or user was stopped")
        if "app_exit" in step:
            status = self.fake_app.poll() if step["app_exit"] is None else self.fake_app.wait(5)
            self.assertEqual(status, step["app_exit"], "the app's state after the action")

    def assert_only_expected_changes(self, before, after, gone, changed):
        # The log grows where it is an ordinary file; anything else there must stay.
        if before.get(self.where.uninstaller_log, ("",))[0] == "file":
            changed = changed + [self.where.uninstaller_log]
        for path, value in before.items():
            if any(is_within(path, top) for top in gone):
                self.assertNotIn(path, after, "still in place")
            elif path not in changed and not self.trash.holds(path):
                self.assertEqual(after.get(path), value, "changed although it had to stay: " + path)
        # The Trash, and the folders that hold it, may appear; nothing else.
        for path in after.keys() - before.keys():
            self.assertTrue(self.trash.holds(path, or_above=True), "appeared: " + path)

    def step_restore(self, step):
        for original in step["paths"]:
            stored = self.trash.stored_item(original)
            held = subtree(snapshot(stored), stored)
            self.trash.restore(original)
            self.assertEqual(subtree(snapshot(original), original), held, "trash-restore put back " + original)
            self.assertIsNone(self.trash.stored_item(original))
            self.assertNotIn(original, self.trash.listed_paths())

    def step_quit(self, step):
        self.assertEqual(self.window.quit(), 0, "the uninstaller did not end cleanly\n" + self.program_output())


for name in sorted(os.listdir(os.path.join(HERE, "cases"))):
    if name.endswith(".json") and name != "fragments.json":
        with open(os.path.join(HERE, "cases", name), encoding="utf-8") as source:
            setattr(Case, "test_" + name[:-5], lambda self, case=json.load(source): self.run_file(case))

if __name__ == "__main__":
    unittest.main(verbosity=2)
