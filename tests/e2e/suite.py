#!/usr/bin/python3
"""The uninstaller end to end, as a user meets it: the built program under
Xvfb, driven through its window, on a fresh installation inside the isolated
root (run by isolated_root.sh, never on a real system). Each action runs twice:
on the full installation, then on what the first run left.

Environment: TALVOREN_PROGRAM (the built uninstaller), TALVOREN_FAKE_APP (the
fake_talvoren fixture program)."""
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
from observe import (Trash, UninstallerLog, clear_calls, is_within, read_calls, snapshot,  # noqa: E402
                     split_action_entries, subtree)

PROGRAM = os.environ.get("TALVOREN_PROGRAM", "")
FAKE_APP = os.environ.get("TALVOREN_FAKE_APP", "")
HOME = "/Users/tester"
ADMIN_GID = 80
STANDIN_STATE = "/var/lib/talvoren-standins"

APP = make_fixture.APP_BUNDLE
DIRECT = make_fixture.APP_ID
DEV = "com.quvex.Talvoren.dev"
FINDER_SCRIPT = 'tell application "Finder" to delete POSIX file "%s"' % APP
TCC_CALLS = [["tccutil", "reset", category, identifier]
             for identifier in (DIRECT, DEV) for category in ("Microphone", "Accessibility")]
MARKER_READ = ["defaults", "read", DIRECT, "setupCompleted"]
MARKER_DELETE = ["defaults", "delete", DIRECT, "setupCompleted"]
PERMISSIONS_OK = "[OK] Permission categories were reset; unavailable categories were skipped by macOS."
# Only the ".direct" identifier is registered on the test system, so two of
# the four resets succeed.
PERMISSIONS_LOGGED = "Reset 2 macOS permission categories"
MARKER_LOGGED = "Removed defaults key com.quvex.Talvoren.direct setupCompleted"

display = None


def setUpModule():
    global display
    if not (os.path.exists("/run/talvoren-isolated-root") and os.getuid() == 0):
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    for program in (PROGRAM, FAKE_APP):
        if not os.access(program, os.X_OK):
            raise RuntimeError("not an executable program: %r" % program)
    display = Display()


def tearDownModule():
    if display is not None:
        display.close()


class Scenario(unittest.TestCase):
    """One fresh installation, the fake app perhaps running, and the program
    started on it as the user "tester"."""

    # An administrator may write to /Applications (and owns the app there); a
    # standard user needs Finder to move the app.
    administrator = True
    finder_mode = "perform"
    # How the running app answers a quit request, or None for not running.
    app_behaviour = None

    def setUp(self):
        self.user = pwd.getpwnam("tester")
        self.as_user = ["setpriv", "--reuid=%d" % self.user.pw_uid, "--regid=%d" % self.user.pw_gid,
                        "--init-groups"]
        self.where = make_fixture.build(HOME, self.user, FAKE_APP, system_items=True,
                                        app_owned_by_user=self.administrator)
        os.chown("/Applications", 0, ADMIN_GID if self.administrator else 0)
        os.chmod("/Applications", 0o775 if self.administrator else 0o755)
        with open(os.path.join(STANDIN_STATE, "finder-mode"), "w", encoding="utf-8") as mode:
            mode.write(self.finder_mode + "\n")
        clear_calls()
        self.trash = Trash(HOME, self.as_user)
        self.log = UninstallerLog(self.where.uninstaller_log)
        self.roots = (HOME, "/Applications", "/opt/homebrew")
        self.trashed_so_far = []
        self.fake_app = self._start_fake_app() if self.app_behaviour else None
        self.window = self._start_uninstaller()

    def _stop_if_running(self, process):
        if process.poll() is None:
            process.kill()
            process.wait()

    def _start_fake_app(self):
        app = subprocess.Popen([*self.as_user, APP + "/Contents/MacOS/Talvoren", *self.app_behaviour],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(app.stdout.close)
        self.addCleanup(self._stop_if_running, app)
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
        self.addCleanup(self._stop_if_running, process)
        try:
            window = UninstallerWindow(display, process)
        except AssertionError as error:
            raise AssertionError("%s; its output:\n%s" % (error, self.program_log())) from None
        # Start-up shows the window twice (before the event loop and once the
        # loop has started), logging each time, with the same details.
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

    # --- One action, and everything it must have done ------------------------

    def check_action(self, button, report, messages, calls, moved=(), deleted=(), changed=()):
        """Runs the action through the window and checks the log's report
        block and the logged messages line by line, the stand-ins' calls in
        order, the Trash (trash-list, and each moved item whole and unchanged),
        and that every other file is as it was, byte for byte."""
        before = snapshot(*self.roots)
        log_before = self.log.contents()
        clear_calls()
        self.window.run_action(button)

        logged, report_block = split_action_entries(self.log.new_lines(log_before))
        self.assertEqual(report_block, report, "report block\n" + self.program_log())
        self.assert_lines_match(logged, messages)
        self.assertEqual(read_calls(), calls)

        after = snapshot(*self.roots)
        self.assert_only_expected_changes(before, after, [*moved, *deleted], changed)
        self.trashed_so_far += moved
        self.assertEqual(self.trash.listed_paths(), sorted(self.trashed_so_far))
        for original in moved:
            stored = self.trash.stored_item(original)
            self.assertIsNotNone(stored, original)
            self.assertEqual(subtree(snapshot(stored), stored), self.expected_item(before, original, moved),
                             "the Trash holds %s changed" % original)

    def assert_lines_match(self, actual, expected):
        """Like assertEqual for lists of lines, where an expected line may be a
        compiled pattern that the actual line must match whole."""
        self.assertEqual(len(actual), len(expected), "\n".join(actual))
        for line, wanted in zip(actual, expected):
            if isinstance(wanted, re.Pattern):
                self.assertRegex(line, wanted)
            else:
                self.assertEqual(line, wanted)

    @staticmethod
    def expected_item(before, original, moved):
        """How an item moved to the Trash must look there: as it was, less
        what was moved out of it on its own."""
        inner = [path for path in moved if path != original and is_within(path, original)]
        return {relative: value for relative, value in subtree(before, original).items()
                if not any(is_within(os.path.normpath(os.path.join(original, relative)), path) for path in inner)}

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


class ResetPermissions(Scenario):
    def test_cancel_then_reset_twice(self):
        log_before = self.log.contents()
        before = snapshot(*self.roots)
        self.window.cancel_action("Reset macOS Permissions")
        self.assertEqual(self.log.contents(), log_before, "cancelling must not log anything")
        self.assertEqual(read_calls(), [])
        self.assertEqual(snapshot(*self.roots), before)

        self.check_action("Reset macOS Permissions",
                          [self.summary(), PERMISSIONS_OK, "[OK] First-run setup marker removed."],
                          [PERMISSIONS_LOGGED, MARKER_LOGGED],
                          [*TCC_CALLS, MARKER_READ, MARKER_DELETE], changed=[self.where.preferences])
        self.assert_preferences({"hotkey": "fn", "language": "en"})

        self.check_action("Reset macOS Permissions",
                          [self.summary(), PERMISSIONS_OK, "[Skipped] First-run setup marker: not found"],
                          [PERMISSIONS_LOGGED], [*TCC_CALLS, MARKER_READ])
        self.quit()


class RemoveModel(Scenario):
    app_behaviour = ["quit"]

    def test_remove_model_twice(self):
        w = self.where
        self.check_action("Remove AI Model",
                          [self.summary(), "[OK] AI model file: moved to Trash", "[OK] AI model folder: moved to Trash"],
                          ["AI model file: moved to Trash from " + w.model_file,
                           "AI model folder: moved to Trash from " + w.models],
                          [], moved=[w.model_file, w.models])
        self.assertIsNone(self.fake_app.poll(), "removing the model must leave the app running")

        self.check_action("Remove AI Model",
                          [self.summary(), "[Skipped] AI model file: not found",
                           "[Skipped] AI model folder: not found"],
                          ["AI model file: not found at " + w.model_file, "AI model folder: not found at " + w.models],
                          [])
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
                           PERMISSIONS_OK, "[OK] First-run setup marker removed."],
                          ["Keyboard helper: moved to Trash from " + w.input_method,
                           "Talvoren app: moved to Trash from " + APP, PERMISSIONS_LOGGED, MARKER_LOGGED],
                          [*TCC_CALLS, MARKER_READ, MARKER_DELETE],
                          moved=[w.input_method, APP], changed=[w.preferences])
        self.assertEqual(self.fake_app.wait(5), 0, "the app should have quit on its own when asked")
        self.assert_preferences({"hotkey": "fn", "language": "en"})

        self.check_action("Remove App Only",
                          [self.summary(), "[Skipped] Talvoren is not running.",
                           "[Skipped] Bundled speech engine: removed with Talvoren.app",
                           "[Skipped] Keyboard helper: not found", "[Skipped] Talvoren app: not found",
                           PERMISSIONS_OK, "[Skipped] First-run setup marker: not found"],
                          ["Keyboard helper: not found at " + w.input_method, "Talvoren app: not found at " + APP,
                           PERMISSIONS_LOGGED],
                          [*TCC_CALLS, MARKER_READ])
        self.quit()
        self.assert_restorable(w.input_method)


class FullUninstall(Scenario):
    # A standard user: the app in /Applications is root's, so only Finder can
    # move it. The app ignores the quit request and has to be forced.
    administrator = False
    app_behaviour = ["ignore"]

    def test_full_uninstall_twice(self):
        w = self.where
        moved_by_manifest = [w.installer_helper, w.model_file, w.models, w.output, w.manifest, w.app_support,
                             w.input_method]
        self.check_action(
            "Full Uninstall",
            [self.summary(), "[OK] Asked Talvoren to quit.", "[OK] Forced Talvoren to quit.",
             "[OK] Installer helper: moved to Trash", "[OK] AI model file: moved to Trash",
             "[OK] AI model folder: moved to Trash", "[OK] Temporary dictation files: moved to Trash",
             "[OK] Install manifest: moved to Trash", "[Skipped] Bundled speech engine: removed with Talvoren.app",
             "[OK] Application Support folder: moved to Trash", "[OK] Keyboard helper: moved to Trash",
             "[Skipped] Speech engine: external Homebrew component left untouched (%s)"
             % make_fixture.SPEECH_ENGINE_PATH,
             "[Skipped] Application Support folder: outside Talvoren uninstall scope (%s)" % w.transcripts,
             "[OK] Talvoren app: moved to Trash (Finder Trash fallback used)",
             "[OK] Logs: moved to Trash", "[OK] Preferences removed.", "[OK] Caches: moved to Trash",
             "[OK] Saved window state: moved to Trash", PERMISSIONS_OK,
             "[Skipped] First-run setup marker: not found"],
            ["Installer helper: moved to Trash from " + w.installer_helper,
             "AI model file: moved to Trash from " + w.model_file,
             "AI model folder: moved to Trash from " + w.models,
             "Temporary dictation files: moved to Trash from " + w.output,
             "Install manifest: moved to Trash from " + w.manifest,
             "Application Support folder: moved to Trash from " + w.app_support,
             "Keyboard helper: moved to Trash from " + w.input_method,
             re.compile(r"Talvoren app: FileManager trash failed for %s: .+" % re.escape(APP)),
             "Talvoren app: Finder Trash fallback used succeeded for " + APP,
             "Logs: moved to Trash from " + w.logs,
             "Caches: moved to Trash from " + w.cache,
             "Saved window state: moved to Trash from " + w.saved_state,
             PERMISSIONS_LOGGED],
            [["osascript", "-e", FINDER_SCRIPT], ["defaults", "delete", DIRECT], *TCC_CALLS, MARKER_READ],
            moved=[*moved_by_manifest, APP, w.logs, w.cache, w.saved_state], deleted=[w.preferences])
        self.assertEqual(self.fake_app.wait(5), -9, "the app should have been forced to quit")

        self.check_action(
            "Full Uninstall",
            ["[Skipped] Install manifest: not found", "[Skipped] Talvoren is not running.",
             "[Skipped] Talvoren app: not found", "[Skipped] Application Support folder: not found",
             "[Skipped] Keyboard helper: not found", "[Skipped] Logs: not found", "[OK] Preferences removed.",
             "[Skipped] Caches: not found", "[Skipped] Saved window state: not found", PERMISSIONS_OK,
             "[Skipped] First-run setup marker: not found"],
            ["Talvoren app: not found at " + APP, "Application Support folder: not found at " + w.app_support,
             "Keyboard helper: not found at " + w.input_method, "Logs: not found at " + w.logs,
             "Caches: not found at " + w.cache, "Saved window state: not found at " + w.saved_state,
             PERMISSIONS_LOGGED],
            [["defaults", "delete", DIRECT], *TCC_CALLS, MARKER_READ])
        self.quit()
        self.assert_restorable(w.logs)


class FullUninstallWhenFinderFails(Scenario):
    # A standard user who does not authorise Finder: the app stays where it is
    # and the report says so. The app takes a second to quit when asked.
    administrator = False
    finder_mode = "fail"
    app_behaviour = ["delay", "1"]

    def test_app_stays_and_needs_attention(self):
        w = self.where
        finder_error = ("0:%d: execution error: Finder got an error: The operation can't be completed because you "
                        "don't have permission to access some of the items. (-10000)" % len(FINDER_SCRIPT))
        report = [self.summary(), "[OK] Asked Talvoren to quit.",
                  "[OK] Installer helper: moved to Trash", "[OK] AI model file: moved to Trash",
                  "[OK] AI model folder: moved to Trash", "[OK] Temporary dictation files: moved to Trash",
                  "[OK] Install manifest: moved to Trash",
                  "[Skipped] Bundled speech engine: removed with Talvoren.app",
                  "[OK] Application Support folder: moved to Trash", "[OK] Keyboard helper: moved to Trash",
                  "[Skipped] Speech engine: external Homebrew component left untouched (%s)"
                  % make_fixture.SPEECH_ENGINE_PATH,
                  "[Skipped] Application Support folder: outside Talvoren uninstall scope (%s)" % w.transcripts,
                  "[Needs attention] Talvoren app: could not be moved to Trash (%s)" % finder_error,
                  "[OK] Logs: moved to Trash", "[OK] Preferences removed.", "[OK] Caches: moved to Trash",
                  "[OK] Saved window state: moved to Trash", PERMISSIONS_OK,
                  "[Skipped] First-run setup marker: not found"]
        moved = [w.installer_helper, w.model_file, w.models, w.output, w.manifest, w.app_support, w.input_method,
                 w.logs, w.cache, w.saved_state]
        messages = [f"{label}: moved to Trash from {path}" for label, path in (
            ("Installer helper", w.installer_helper), ("AI model file", w.model_file),
            ("AI model folder", w.models), ("Temporary dictation files", w.output),
            ("Install manifest", w.manifest), ("Application Support folder", w.app_support),
            ("Keyboard helper", w.input_method))]
        messages += [re.compile(r"Talvoren app: FileManager trash failed for %s: .+" % re.escape(APP)),
                     "Logs: moved to Trash from " + w.logs, "Caches: moved to Trash from " + w.cache,
                     "Saved window state: moved to Trash from " + w.saved_state, PERMISSIONS_LOGGED]
        self.check_action("Full Uninstall", report, messages,
                          [["osascript", "-e", FINDER_SCRIPT], ["defaults", "delete", DIRECT], *TCC_CALLS,
                           MARKER_READ], moved=moved, deleted=[w.preferences])
        self.assertEqual(self.fake_app.wait(5), 0, "the app should have quit on its own after a second")
        self.quit()


if __name__ == "__main__":
    unittest.main(verbosity=2)
