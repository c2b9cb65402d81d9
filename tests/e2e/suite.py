#!/usr/bin/python3
"""The uninstaller end to end, as a user meets it: the built program under
Xvfb, driven through its window, on a fresh installation inside the isolated
root (run.sh enters it). Each action runs twice: on the full installation,
then on what the first run left. The single operations' log lines are the
unit suites' concern. Environment: TALVOREN_PROGRAM (the uninstaller),
TALVOREN_FAKE_APP (the fake_talvoren fixture program)."""
import os
import plistlib
import pwd
import re
import select
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import make_fixture  # noqa: E402
from gui import Display, UninstallerWindow, wait_until  # noqa: E402
from observe import (Trash, UninstallerLog, clear_calls, is_within, read_calls, report_block,  # noqa: E402
                     snapshot, subtree)

PROGRAM = os.environ.get("TALVOREN_PROGRAM", "")
FAKE_APP = os.environ.get("TALVOREN_FAKE_APP", "")
HOME = "/Users/tester"
ROOTS = (HOME, "/Applications", "/opt/homebrew")
ADMIN_GID = 80

APP = make_fixture.APP_BUNDLE
DIRECT = make_fixture.APP_ID
FINDER_SCRIPT = 'tell application "Finder" to delete POSIX file "%s"' % APP
RESET_CALLS = [*(["tccutil", "reset", category, identifier] for identifier in (DIRECT, "com.quvex.Talvoren.dev")
                 for category in ("Microphone", "Accessibility")), ["defaults", "read", DIRECT, "setupCompleted"]]
MARKER_DELETE = ["defaults", "delete", DIRECT, "setupCompleted"]
FULL_CALLS = [["osascript", "-e", FINDER_SCRIPT], ["defaults", "delete", DIRECT], *RESET_CALLS]
PERMISSIONS_OK = "[OK] Permission categories were reset; unavailable categories were skipped by macOS."
MARKER_REMOVED = "[OK] First-run setup marker removed."
NO_MARKER = "[Skipped] First-run setup marker: not found"
PREFERENCES_WITHOUT_MARKER = {"hotkey": "fn", "language": "en"}

display = None


def setUpModule():
    global display
    if not (os.path.exists(make_fixture.ISOLATED_ROOT_MARKER) and os.getuid() == 0):
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    display = Display()


def tearDownModule():
    if display is not None:
        display.close()


def stop(process):
    if process.poll() is None:
        process.kill()
        process.wait()


class Scenario(unittest.TestCase):
    """One fresh installation, the fake app perhaps running, and the program
    started on it as the user "tester"."""

    # An administrator may write to /Applications (and owns the app there); a
    # standard user needs Finder to move the app.
    administrator = True
    finder_mode = "perform"
    app_behaviour = None  # how the running app answers a quit request; None: not running

    def setUp(self):
        self.user = pwd.getpwnam("tester")
        self.as_user = ["setpriv", "--reuid=%d" % self.user.pw_uid, "--regid=%d" % self.user.pw_gid,
                        "--init-groups"]
        self.where = make_fixture.build(HOME, self.user, FAKE_APP, system_items=True,
                                        app_owned_by_user=self.administrator)
        os.chown("/Applications", 0, ADMIN_GID if self.administrator else 0)
        os.chmod("/Applications", 0o775 if self.administrator else 0o755)
        with open("/var/lib/talvoren-standins/finder-mode", "w", encoding="utf-8") as mode:
            mode.write(self.finder_mode + "\n")
        clear_calls()
        self.trash = Trash(HOME, self.as_user)
        self.log = UninstallerLog(self.where.uninstaller_log)
        self.trashed_so_far = []
        self.fake_app = self._start_fake_app() if self.app_behaviour else None
        self.window = self._start_uninstaller()

    def _start_fake_app(self):
        app = subprocess.Popen([*self.as_user, APP + "/Contents/MacOS/Talvoren", *self.app_behaviour],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(app.stdout.close)
        self.addCleanup(stop, app)
        readable, _, _ = select.select([app.stdout], [], [], 10)
        self.assertTrue(readable and app.stdout.readline().strip() == "ready", "the fake app did not start")
        return app

    def _start_uninstaller(self):
        log_before = self.log.contents()
        environment = {"HOME": HOME, "USER": "tester", "LOGNAME": "tester", "PATH": "/usr/bin:/bin",
                       "LANG": "C.UTF-8", "DISPLAY": display.name, "QT_QPA_PLATFORM": "xcb",
                       "XDG_RUNTIME_DIR": "/run/user/%d" % self.user.pw_uid}
        self.program_output = tempfile.TemporaryFile()
        self.addCleanup(self.program_output.close)
        process = subprocess.Popen([*self.as_user, PROGRAM], env=environment, cwd=HOME,
                                   stdout=self.program_output, stderr=subprocess.STDOUT)
        self.addCleanup(stop, process)
        try:
            window = UninstallerWindow(display, process)
        except AssertionError as error:
            raise AssertionError("%s; its output:\n%s" % (error, self.program_log())) from None
        # Shown twice (before the event loop and once it runs), logged each time alike.
        shown = wait_until(lambda: self._shown_lines(log_before), 10, "two \"Uninstaller shown\" lines")
        self.assertEqual(shown[0], shown[1])
        self.assertRegex(shown[0], r"^Uninstaller shown bundle=%s version=\S+ frame=\(-?\d+\.\d+(, -?\d+\.\d+){3}\)$"
                         % re.escape(os.path.dirname(PROGRAM)))
        return window

    def _shown_lines(self, log_before):
        messages = [line.split("] ", 1)[1] for line in self.log.new_lines(log_before)]
        return messages if len(messages) >= 2 else None

    def program_log(self):
        self.program_output.seek(0)
        return self.program_output.read().decode(errors="replace")

    def check_action(self, button, report, calls, moved=(), deleted=(), changed=()):
        """Runs the action through the window and checks the log's report block
        line by line, the stand-ins' calls in order, the Trash (trash-list, and
        each moved item whole and unchanged) and every other file, byte for byte."""
        before = snapshot(*ROOTS)
        log_before = self.log.contents()
        clear_calls()
        self.window.run_action(button)

        self.assertEqual(report_block(self.log.new_lines(log_before)), report, "report block\n" + self.program_log())
        self.assertEqual(read_calls(), calls)
        self.assert_only_expected_changes(before, snapshot(*ROOTS), [*moved, *deleted], changed)
        self.trashed_so_far += moved
        self.assertEqual(self.trash.listed_paths(), sorted(self.trashed_so_far))
        for original in moved:
            stored = self.trash.stored_item(original)
            self.assertIsNotNone(stored, original)
            # As it was, less what was moved out of it on its own.
            inner = [path for path in moved if path != original and is_within(path, original)]
            expected = {relative: value for relative, value in subtree(before, original).items()
                        if not any(is_within(os.path.join(original, relative), path) for path in inner)}
            self.assertEqual(subtree(snapshot(stored), stored), expected, "the Trash holds %s changed" % original)

    def assert_only_expected_changes(self, before, after, gone, changed):
        for path, value in before.items():
            if any(is_within(path, top) for top in gone):
                self.assertNotIn(path, after, "still in place")
            elif path not in changed and path != self.log.path and not is_within(path, self.trash.folder):
                self.assertEqual(after.get(path), value, "changed although it had to stay: " + path)
        # The Trash, and the folders that hold it, may appear; nothing else.
        for path in after.keys() - before.keys():
            self.assertTrue(is_within(path, self.trash.folder) or is_within(self.trash.folder, path),
                            "appeared: " + path)

    def assert_preferences(self, expected):
        with open(self.where.preferences, "rb") as handle:
            self.assertEqual(plistlib.load(handle), expected)

    def assert_restorable(self, original):
        """trash-restore puts the item back where it was, as the Trash held it."""
        stored = self.trash.stored_item(original)
        held = subtree(snapshot(stored), stored)
        self.trash.restore(original)
        self.assertEqual(subtree(snapshot(original), original), held)
        self.assertIsNone(self.trash.stored_item(original))
        self.assertNotIn(original, self.trash.listed_paths())

    def quit(self):
        self.assertEqual(self.window.quit(), 0, "the uninstaller did not end cleanly\n" + self.program_log())

    def summary(self):
        return "[Skipped] Install manifest: 12 recorded components at " + self.where.manifest

    def full_report(self, stopping, app_line):
        return [self.summary(), *stopping, "[OK] Installer helper: moved to Trash",
                "[OK] AI model file: moved to Trash", "[OK] AI model folder: moved to Trash",
                "[OK] Temporary dictation files: moved to Trash", "[OK] Install manifest: moved to Trash",
                "[Skipped] Bundled speech engine: removed with Talvoren.app",
                "[OK] Application Support folder: moved to Trash", "[OK] Keyboard helper: moved to Trash",
                "[Skipped] Speech engine: external Homebrew component left untouched (%s)"
                % make_fixture.SPEECH_ENGINE_PATH,
                "[Skipped] Application Support folder: outside Talvoren uninstall scope (%s)" % self.where.transcripts,
                app_line, "[OK] Logs: moved to Trash", "[OK] Preferences removed.", "[OK] Caches: moved to Trash",
                "[OK] Saved window state: moved to Trash", PERMISSIONS_OK, NO_MARKER]

    def full_moved(self):
        w = self.where
        return [w.installer_helper, w.model_file, w.models, w.output, w.manifest, w.app_support, w.input_method,
                w.logs, w.cache, w.saved_state]


class ResetPermissions(Scenario):
    def test_cancel_then_reset_twice(self):
        log_before, before = self.log.contents(), snapshot(*ROOTS)
        self.window.cancel_action("Reset macOS Permissions")
        self.assertEqual(self.log.contents(), log_before, "cancelling must not log anything")
        self.assertEqual(read_calls(), [])
        self.assertEqual(snapshot(*ROOTS), before)

        self.check_action("Reset macOS Permissions", [self.summary(), PERMISSIONS_OK, MARKER_REMOVED],
                          [*RESET_CALLS, MARKER_DELETE], changed=[self.where.preferences])
        self.assert_preferences(PREFERENCES_WITHOUT_MARKER)
        self.check_action("Reset macOS Permissions", [self.summary(), PERMISSIONS_OK, NO_MARKER], RESET_CALLS)
        self.quit()


class RemoveModel(Scenario):
    app_behaviour = ["quit"]

    def test_remove_model_twice(self):
        w = self.where
        self.check_action("Remove AI Model", [self.summary(), "[OK] AI model file: moved to Trash",
                                              "[OK] AI model folder: moved to Trash"],
                          [], moved=[w.model_file, w.models])
        self.assertIsNone(self.fake_app.poll(), "removing the model must leave the app running")
        self.check_action("Remove AI Model", [self.summary(), "[Skipped] AI model file: not found",
                                              "[Skipped] AI model folder: not found"], [])
        self.quit()
        self.assert_restorable(w.models)


class RemoveAppOnly(Scenario):
    app_behaviour = ["quit"]

    def test_remove_app_twice(self):
        w = self.where
        self.check_action("Remove App Only",
                          [self.summary(), "[OK] Asked Talvoren to quit.",
                           "[Skipped] Bundled speech engine: removed with Talvoren.app",
                           "[OK] Keyboard helper: moved to Trash", "[OK] Talvoren app: moved to Trash",
                           PERMISSIONS_OK, MARKER_REMOVED],
                          [*RESET_CALLS, MARKER_DELETE], moved=[w.input_method, APP], changed=[w.preferences])
        self.assertEqual(self.fake_app.wait(5), 0, "the app should have quit on its own when asked")
        self.assert_preferences(PREFERENCES_WITHOUT_MARKER)

        self.check_action("Remove App Only",
                          [self.summary(), "[Skipped] Talvoren is not running.",
                           "[Skipped] Bundled speech engine: removed with Talvoren.app",
                           "[Skipped] Keyboard helper: not found", "[Skipped] Talvoren app: not found",
                           PERMISSIONS_OK, NO_MARKER], RESET_CALLS)
        self.quit()
        self.assert_restorable(w.input_method)


class FullUninstall(Scenario):
    # A standard user: the app in /Applications is root's, so only Finder can
    # move it. The app ignores the quit request and has to be forced.
    administrator = False
    app_behaviour = ["ignore"]

    def test_full_uninstall_twice(self):
        w = self.where
        self.check_action("Full Uninstall",
                          self.full_report(["[OK] Asked Talvoren to quit.", "[OK] Forced Talvoren to quit."],
                                           "[OK] Talvoren app: moved to Trash (Finder Trash fallback used)"),
                          FULL_CALLS, moved=[*self.full_moved(), APP], deleted=[w.preferences])
        self.assertEqual(self.fake_app.wait(5), -9, "the app should have been forced to quit")

        self.check_action("Full Uninstall",
                          ["[Skipped] Install manifest: not found", "[Skipped] Talvoren is not running.",
                           "[Skipped] Talvoren app: not found", "[Skipped] Application Support folder: not found",
                           "[Skipped] Keyboard helper: not found", "[Skipped] Logs: not found",
                           "[OK] Preferences removed.", "[Skipped] Caches: not found",
                           "[Skipped] Saved window state: not found", PERMISSIONS_OK, NO_MARKER],
                          FULL_CALLS[1:])
        self.quit()
        self.assert_restorable(w.logs)


class FullUninstallWhenFinderFails(Scenario):
    # A standard user who does not authorise Finder: the app stays where it is
    # and the report says so. The app takes a second to quit when asked.
    administrator = False
    finder_mode = "fail"
    app_behaviour = ["delay", "1"]

    def test_app_stays_and_needs_attention(self):
        finder_error = ("0:%d: execution error: Finder got an error: The operation can't be completed because you "
                        "don't have permission to access some of the items. (-10000)" % len(FINDER_SCRIPT))
        self.check_action("Full Uninstall",
                          self.full_report(["[OK] Asked Talvoren to quit."],
                                           "[Needs attention] Talvoren app: could not be moved to Trash (%s)"
                                           % finder_error),
                          FULL_CALLS, moved=self.full_moved(), deleted=[self.where.preferences])
        self.assertEqual(self.fake_app.wait(5), 0, "the app should have quit on its own after a second")
        self.quit()


if __name__ == "__main__":
    unittest.main(verbosity=2)
