#!/usr/bin/python3
"""The uninstaller end to end, as a user meets it: the built program under
Xvfb, driven through its window, on a fresh installation inside the isolated
root (run.sh enters it). Each case is one JSON file in cases/ (see
cases/README.md): an installation, then steps, each with everything that must
follow from it. Environment: TALVOREN_PROGRAM (the uninstaller),
TALVOREN_FAKE_APP (the fake_talvoren fixture program)."""
import json
import os
import plistlib
import pwd
import re
import select
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import make_fixture  # noqa: E402
from gui import Display, UninstallerWindow, wait_until  # noqa: E402
from observe import (Trash, UninstallerLog, clear_calls, is_within, read_calls, report_block,  # noqa: E402
                     snapshot, subtree)

PROGRAM = os.environ.get("TALVOREN_PROGRAM", "")
FAKE_APP = os.environ.get("TALVOREN_FAKE_APP", "")
HOME = "/Users/tester"
ROOTS = (HOME, "/Applications", "/opt/homebrew")
ADMIN_GID = 80
PLACEHOLDER = re.compile(r"\{(\w+)\}")

display = None


def setUpModule():
    global display
    if not (os.path.exists(make_fixture.ISOLATED_ROOT_MARKER) and os.getuid() == 0):
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    display = Display()


def tearDownModule():
    if display is not None:
        display.close()


def expand(value, names, fragments):
    """The value with its {placeholders} filled in and each "@fragment" item
    of a list replaced by that fragment's items (or by that one line)."""
    if isinstance(value, str):
        return PLACEHOLDER.sub(lambda match: names[match.group(1)], value)
    if isinstance(value, dict):
        return {key: expand(item, names, fragments) for key, item in value.items()}
    if not isinstance(value, list):
        return value
    expanded = []
    for item in value:
        if isinstance(item, str) and item.startswith("@"):
            fragment = expand(fragments[item[1:]], names, fragments)
            expanded += fragment if isinstance(fragment, list) else [fragment]
        else:
            expanded.append(expand(item, names, fragments))
    return expanded


def stop(process):
    if process.poll() is None:
        process.kill()
        process.wait()


def make_fifo(path, user):
    os.remove(path)
    os.mkfifo(path, 0o644)
    os.chown(path, user.pw_uid, user.pw_gid)


def fill_up(folder):
    """Writes to a file in `folder` until its file system has no block left."""
    fd = os.open(os.path.join(folder, ".filler"), os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
    try:
        for size in (1 << 16, 1 << 12, 1):
            while True:
                try:
                    os.write(fd, b"\0" * size)
                except OSError:
                    break
    finally:
        os.close(fd)


class Case(unittest.TestCase):
    """Runs one case file; the test methods are added below, one per file."""

    def run_case(self, case):
        self.user = pwd.getpwnam("tester")
        self.as_user = ["setpriv", "--reuid=%d" % self.user.pw_uid, "--regid=%d" % self.user.pw_gid,
                        "--init-groups"]
        with open(os.path.join(HERE, "cases", "fragments.json"), encoding="utf-8") as shared:
            fragments = json.load(shared)
        names = {**vars(make_fixture.Locations(HOME)), "app": make_fixture.APP_BUNDLE,
                 "engine": make_fixture.SPEECH_ENGINE_PATH}
        case = expand(case, names, fragments)
        install = case.get("install", {})
        self.install(install)
        self.trash = Trash(HOME, self.as_user)
        # A log that is not an ordinary file (or that cannot grow) is never read.
        self.log = None if "log" in install else UninstallerLog(self.where.uninstaller_log)
        self.trashed_so_far = []
        self.fake_app = self.start_fake_app(install["app"]) if "app" in install else None
        self.window = self.start_uninstaller(install.get("environment", {}))
        for step in case["steps"]:
            getattr(self, "step_" + step["do"])(step)

    def install(self, install):
        administrator = install.get("administrator", True)
        if "full_home" in install:
            # The home is a small file system of its own, full once installed.
            subprocess.run(["mount", "-t", "tmpfs", "-o", "size=" + install["full_home"], "talvoren-home", HOME],
                           check=True)
            self.addCleanup(subprocess.run, ["umount", "--lazy", HOME], check=True)
        self.where = make_fixture.build(HOME, self.user, FAKE_APP, system_items=True,
                                        app_owned_by_user=administrator)
        for path, contents in install.get("files", {}).items():
            make_fixture.write(path, contents)
            make_fixture.chown_tree(os.path.dirname(path), self.user)
        self.install_manifest(install.get("manifest"))
        if install.get("log") == "fifo":
            make_fifo(self.where.uninstaller_log, self.user)
        os.chown("/Applications", 0, ADMIN_GID if administrator else 0)
        os.chmod("/Applications", 0o775 if administrator else 0o755)
        with open("/var/lib/talvoren-standins/finder-mode", "w", encoding="utf-8") as mode:
            mode.write(install.get("finder", "perform") + "\n")
        if "full_home" in install:
            fill_up(HOME)
        clear_calls()

    def install_manifest(self, manifest):
        """"fifo", or component rows [id, kind, path, group] added to the usual ones."""
        if manifest == "fifo":
            make_fifo(self.where.manifest, self.user)
        elif manifest:
            contents = make_fixture.manifest(self.where)
            contents["components"] += [make_fixture.component(*row) for row in manifest]
            make_fixture.write(self.where.manifest, json.dumps(contents, indent=2) + "\n")
            os.chown(self.where.manifest, self.user.pw_uid, self.user.pw_gid)

    def start_fake_app(self, arguments):
        app = subprocess.Popen([*self.as_user, make_fixture.APP_BUNDLE + "/Contents/MacOS/Talvoren", *arguments],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(app.stdout.close)
        self.addCleanup(stop, app)
        readable, _, _ = select.select([app.stdout], [], [], 10)
        self.assertTrue(readable and app.stdout.readline().strip() == "ready", "the fake app did not start")
        return app

    def start_uninstaller(self, overrides):
        log_before = self.log.contents() if self.log else b""
        environment = {"HOME": HOME, "USER": "tester", "LOGNAME": "tester", "PATH": "/usr/bin:/bin",
                       "LANG": "C.UTF-8", "DISPLAY": display.name, "QT_QPA_PLATFORM": "xcb",
                       "XDG_RUNTIME_DIR": "/run/user/%d" % self.user.pw_uid, **overrides}
        self.program_output = tempfile.TemporaryFile()
        self.addCleanup(self.program_output.close)
        process = subprocess.Popen([*self.as_user, PROGRAM], env=environment, cwd=HOME,
                                   stdout=self.program_output, stderr=subprocess.STDOUT)
        self.addCleanup(stop, process)
        try:
            window = UninstallerWindow(display, process)
        except AssertionError as error:
            raise AssertionError("%s; its output:\n%s" % (error, self.program_log())) from None
        if self.log:
            # Shown twice (before the event loop and once it runs), logged each time alike.
            shown = wait_until(lambda: self.shown_lines(log_before), 10, "two \"Uninstaller shown\" lines")
            self.assertEqual(shown[0], shown[1])
            self.assertRegex(shown[0], r"^Uninstaller shown bundle=%s version=\S+ frame=\(-?\d+\.\d+(, -?\d+\.\d+){3}\)$"
                             % re.escape(os.path.dirname(PROGRAM)))
        return window

    def shown_lines(self, log_before):
        messages = [line.split("] ", 1)[1] for line in self.log.new_lines(log_before)]
        return messages if len(messages) >= 2 else None

    def program_log(self):
        self.program_output.seek(0)
        return self.program_output.read().decode(errors="replace")

    def step_cancel(self, step):
        log_before, before = self.log.contents(), snapshot(*ROOTS)
        self.window.cancel_action(step["button"])
        self.assertEqual(self.log.contents(), log_before, "cancelling must not log anything")
        self.assertEqual(read_calls(), [])
        self.assertEqual(snapshot(*ROOTS), before)

    def step_action(self, step):
        """Runs the action through the window; checks the status text and the
        log's report block line by line, the stand-ins' calls in
        order, the Trash (trash-list, its info files, and each moved item
        whole and unchanged) and every other file, byte for byte."""
        report, moved = step["report"], step.get("moved", [])
        before = snapshot(*ROOTS)
        log_before = self.log.contents() if self.log else b""
        clear_calls()
        # On screen the report ends with the line that names the log.
        status = "\n".join(report + ["[OK] Uninstall log saved: " + self.where.uninstaller_log])
        self.assertEqual(self.window.run_action(step["button"], status), status, "status text\n" + self.program_log())
        if self.log:
            self.assertEqual(report_block(self.log.new_lines(log_before)), report, "report block")
        self.assertEqual(read_calls(), step.get("calls", []))
        self.assert_only_expected_changes(before, snapshot(*ROOTS), [*moved, *step.get("deleted", [])],
                                          step.get("changed", []))
        self.trashed_so_far += moved
        self.assertEqual(self.trash.listed_paths(), sorted(self.trashed_so_far))
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
        if "app_exit" in step:
            # null: still running; a number: its exit status (-9: forced).
            status = self.fake_app.poll() if step["app_exit"] is None else self.fake_app.wait(5)
            self.assertEqual(status, step["app_exit"], "the app's state after the action")

    def assert_only_expected_changes(self, before, after, gone, changed):
        # The log grows where it is an ordinary file; anything else there must stay.
        grows = [self.where.uninstaller_log] if before.get(self.where.uninstaller_log, ("",))[0] == "file" else []
        for path, value in before.items():
            if any(is_within(path, top) for top in gone):
                self.assertNotIn(path, after, "still in place")
            elif path not in changed + grows and not is_within(path, self.trash.folder):
                self.assertEqual(after.get(path), value, "changed although it had to stay: " + path)
        # The Trash, and the folders that hold it, may appear; nothing else.
        for path in after.keys() - before.keys():
            self.assertTrue(is_within(path, self.trash.folder) or is_within(self.trash.folder, path),
                            "appeared: " + path)

    def step_restore(self, step):
        """trash-restore puts each item back where it was, as the Trash held it."""
        for original in step["paths"]:
            stored = self.trash.stored_item(original)
            held = subtree(snapshot(stored), stored)
            self.trash.restore(original)
            self.assertEqual(subtree(snapshot(original), original), held)
            self.assertIsNone(self.trash.stored_item(original))
            self.assertNotIn(original, self.trash.listed_paths())

    def step_quit(self, step):
        self.assertEqual(self.window.quit(), 0, "the uninstaller did not end cleanly\n" + self.program_log())


def add_cases():
    folder = os.path.join(HERE, "cases")
    for name in sorted(os.listdir(folder)):
        if name.endswith(".json") and name != "fragments.json":
            with open(os.path.join(folder, name), encoding="utf-8") as source:
                case = json.load(source)
            setattr(Case, "test_" + name[:-len(".json")], lambda self, case=case: self.run_case(case))


add_cases()

if __name__ == "__main__":
    unittest.main(verbosity=2)
