#!/usr/bin/python3
"""The uninstaller end to end, as a user meets it: the built program (TALVOREN_PROGRAM) under Xvfb, driven
through its window inside the isolated root, as the user "tester", and the command talvoren-uninstall beside
it, with no display, as tester or as root on tester's behalf. Each case is a JSON file in cases/ (their
README gives the keys): an installation, then steps, each with everything that must follow from it."""
import json
import os
import plistlib
import pwd
import re
import select
import shutil
import subprocess
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
# The throwaway installation is the demo's too.
sys.path.insert(0, os.path.join(HERE, "..", "..", "sandbox"))
import make_installation as sandbox  # noqa: E402
from gui import DISPLAY, UninstallerWindow, start_display, wait_until
from observe import Trash, is_within, new_log_lines, read_calls, read_log, report_block, snapshot, subtree

PROGRAM, FAKE_APP = os.environ.get("TALVOREN_PROGRAM", ""), os.environ.get("TALVOREN_FAKE_APP", "")
HOME = "/Users/tester"
ROOTS = (HOME, "/Applications", "/opt/homebrew")
NAMES = sandbox.locations(HOME)
SHOWN = r"Uninstaller shown bundle=%s version=\S+ frame=\(-?\d+\.\d+(, -?\d+\.\d+){3}\)"
AS_TESTER = ["setpriv", "--reuid=2001", "--regid=2001", "--init-groups"]
ENVIRONMENT = {"HOME": HOME, "USER": "tester", "LOGNAME": "tester", "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8",
               "DISPLAY": DISPLAY, "QT_QPA_PLATFORM": "xcb", "XDG_RUNTIME_DIR": "/run/user/2001"}
# The command line needs no display and is given none.
CLI = os.path.join(os.path.dirname(PROGRAM), "talvoren-uninstall")
CLI_ENVIRONMENT = {key: value for key, value in ENVIRONMENT.items() if key not in ("DISPLAY", "QT_QPA_PLATFORM")}
ROOT_ENVIRONMENT = {**CLI_ENVIRONMENT, "HOME": "/root", "USER": "root", "LOGNAME": "root"}
WINDOW_STEPS = ("action", "cancel", "quit")
# Where a preview cannot know what a system program does, the real run differs from it in these lines: deleting
# the preferences domain removes the preferences file, and with it the first-run marker.
PREVIEW_EXCEPTIONS = {("[OK] Preferences: moved to Trash", "[OK] Preferences removed."),
                      ("[OK] First-run setup marker removed.", "[Skipped] First-run setup marker: not found")}
with open(os.path.join(HERE, "cases", "fragments.json"), encoding="utf-8") as source:
    FRAGMENTS = json.load(source)
tester = None


def setUpModule():
    global tester
    if not os.path.exists(sandbox.ISOLATED_ROOT_MARKER) or os.getuid() != 0:
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    tester = pwd.getpwnam("tester")
    unittest.addModuleCleanup(stop, start_display())


def as_tester(*command, input=""):
    completed = subprocess.run([*AS_TESTER, *command], input=input, env=ENVIRONMENT, capture_output=True,
                               text=True, timeout=60)
    assert completed.returncode == 0, "%s failed: %s%s" % (command[0], completed.stdout, completed.stderr)
    return completed.stdout


def expand(value):
    """Fills in the {placeholders}; a list item "@name" becomes the fragment's lines (or line)."""
    if isinstance(value, str):
        return sandbox.fill(value, NAMES)
    if isinstance(value, dict):
        return {expand(key): expand(item) for key, item in value.items()}
    if not isinstance(value, list):
        return value
    parts = [expand(FRAGMENTS[item[1:]]) if str(item).startswith("@") else [expand(item)] for item in value]
    return [item for part in parts for item in (part if isinstance(part, list) else [part])]


def change_line(change):
    """A change of a JSON preview in the text form's words."""
    kind = change["change"]
    if kind == "trash":
        return "trash: %s (%s)" % (change["path"], change["label"])
    if kind == "run":
        return "run: " + " ".join([change["program"], *change["arguments"]])
    if kind in ("quit", "force-quit"):
        return "%s: pid %d" % (kind, change["pid"])
    return "%s: %s" % (kind, change["id"])


def shown_report(report):
    """A report as it is shown: with the line that names the log last."""
    return report + ["[OK] Uninstall log saved: " + NAMES["uninstaller_log"]]


def stop(process):
    process.kill()
    process.wait()


def make_fifo(path):
    os.remove(path)
    os.mkfifo(path, 0o644)
    os.chown(path, tester.pw_uid, tester.pw_gid)


class Case(unittest.TestCase):
    """Runs one case file; a test method per file is added below."""
    maxDiff = None

    def run_case(self, case):
        install = case.get("install", {})
        self.install(install)
        self.trash, self.trashed = Trash(HOME, install.get("volumes", {}), as_tester), []
        self.preview = None
        # A log that is no ordinary file, or cannot grow, is never read.
        self.log = None if "log" in install else NAMES["uninstaller_log"]
        app = NAMES["app"] + "/Contents/MacOS/Talvoren"
        self.fake_app = self.start_fake_app(app, install["app"]) if "app" in install else None
        self.others = [self.start_fake_app(path, ["quit"]) for path in install.get("others", [])]
        if any(step["do"] in WINDOW_STEPS for step in case["steps"]):
            self.window = self.start_uninstaller(install.get("environment", {}), install.get("file_size_limit"))
        for step in case["steps"]:
            getattr(self, "step_" + step["do"])(step)

    def install(self, install):
        administrator = install.get("administrator", True)
        if "full_home" in install:
            os.makedirs(HOME, exist_ok=True)
            subprocess.run(["mount", "-t", "tmpfs", "-o", "size=" + install["full_home"], "home", HOME], check=True)
            self.addCleanup(subprocess.run, ["umount", "--lazy", HOME], check=True)
        sandbox.build(HOME, tester, FAKE_APP)
        sandbox.build_system_items(NAMES, FAKE_APP)
        self.program = self.place_program(install.get("uninstaller"))
        if administrator:
            sandbox.chown_tree(NAMES["app"], tester)
        for path, contents in install.get("files", {}).items():
            sandbox.put(path, contents, FAKE_APP)
            sandbox.chown_tree("/".join(path.split("/")[:3]), tester)
        for path, target in install.get("links", {}).items():
            os.symlink(target, path)
            os.lchown(path, tester.pw_uid, tester.pw_gid)
        for path in install.get("others", []):
            sandbox.executable(path, FAKE_APP)
        for top, (shared_mode, _) in install.get("volumes", {}).items():
            self.mount_volume(top, shared_mode)
        if install.get("manifest") == "fifo":
            make_fifo(NAMES["manifest"])
        elif "manifest" in install:
            sandbox.write(NAMES["manifest"], json.dumps(sandbox.manifest(NAMES, install["manifest"])))
            os.chown(NAMES["manifest"], tester.pw_uid, tester.pw_gid)
        if install.get("log") == "fifo":
            make_fifo(NAMES["uninstaller_log"])
        os.chown("/Applications", 0, 80 if administrator else 0)
        os.chmod("/Applications", 0o775 if administrator else 0o755)
        with open("/var/lib/talvoren-standins/finder-mode", "w", encoding="utf-8") as mode:
            mode.write(install.get("finder", "perform"))
        if "full_home" in install:
            # Until no block is left: dd stops at the first write that finds none.
            subprocess.run(["dd", "if=/dev/zero", "of=%s/.filler" % HOME, "bs=64K"], capture_output=True)

    @staticmethod
    def place_program(path):
        """The program, or a copy of it with its resources at `path` (inside the app, as an installer may put it)."""
        if not path:
            return PROGRAM
        os.makedirs(os.path.dirname(path), exist_ok=True)
        shutil.copy2(PROGRAM, path)
        for name in os.listdir(os.path.dirname(PROGRAM)):
            if name.endswith(".png"):
                shutil.copy2(os.path.join(os.path.dirname(PROGRAM), name), os.path.dirname(path))
        return path

    def mount_volume(self, top, shared_mode):
        """Moves what is at `top` onto a file system of its own, with a shared ".Trash" of that mode (or none)."""
        os.rename(top, top + "~")
        os.mkdir(top)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "volume", top], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", top], check=True)
        shutil.copytree(top + "~", top, symlinks=True, dirs_exist_ok=True)
        shutil.rmtree(top + "~")
        sandbox.chown_tree(top, tester)
        if shared_mode:
            os.mkdir(top + "/.Trash")
            os.chmod(top + "/.Trash", int(shared_mode, 8))

    def start_fake_app(self, path, arguments):
        app = subprocess.Popen([*AS_TESTER, path, *arguments], stdout=subprocess.PIPE, text=True)
        self.addCleanup(app.stdout.close)
        self.addCleanup(stop, app)
        readable, _, _ = select.select([app.stdout], [], [], 10)
        self.assertTrue(readable and app.stdout.readline() == "ready\n", "the fake app did not start")
        return app

    def start_uninstaller(self, overrides, file_size_limit):
        log_before = read_log(self.log)
        limit = ["prlimit", "--fsize=%d" % file_size_limit] if file_size_limit else []
        # Its output goes with the suite's, for CTest to show when a case fails.
        process = subprocess.Popen([*AS_TESTER, *limit, self.program], env={**ENVIRONMENT, **overrides}, cwd=HOME)
        self.addCleanup(stop, process)
        window = UninstallerWindow(process)
        if self.log:
            # Shown twice (before the event loop and once it runs), logged each time alike.
            lines = wait_until(lambda: (found := new_log_lines(self.log, log_before))[1:] and found, 10,
                               "two \"Uninstaller shown\" lines")
            shown = [line.split("] ", 1)[1] for line in lines]
            self.assertEqual(shown[0], shown[1])
            self.assertRegex(shown[0], "^%s$" % (SHOWN % re.escape(os.path.dirname(self.program))))
        return window

    def step_cancel(self, step):
        log_before, before = read_log(self.log), snapshot(*ROOTS)
        self.window.cancel_action(step["button"])
        self.assertEqual(read_log(self.log), log_before, "cancelling must not log anything")
        self.assertEqual(read_calls(), [])
        self.assertEqual(snapshot(*ROOTS), before)

    def step_action(self, step):
        before, log_before = snapshot(*ROOTS), read_log(self.log)
        read_calls(clear=True)
        # On screen the report ends with the line that names the log.
        status = "\n".join(shown_report(step["report"]))
        self.assertEqual(self.window.run_action(step["button"], status), status, "status text")
        self.assert_effects(step, before, log_before)

    def step_command(self, step):
        """talvoren-uninstall with `arguments`, as tester or `as` root, with no terminal. With a `report` it
        must have run as the window's action does, with the same effects; without one it must have refused
        with one line naming `refusal` and changed nothing."""
        before, log_before = snapshot(*ROOTS), read_log(self.log)
        read_calls(clear=True)
        as_root = step.get("as") == "root"
        done = subprocess.run([*([] if as_root else AS_TESTER), CLI, *step["arguments"]], cwd=HOME,
                              env=ROOT_ENVIRONMENT if as_root else CLI_ENVIRONMENT, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=60)
        if "report" not in step:
            self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
            self.assertRegex(done.stderr, r"\Atalvoren-uninstall: [^\n]*%s[^\n]*\n\Z" % re.escape(step["refusal"]))
            self.assertEqual(read_log(self.log), log_before, "a refusal must not log anything")
            self.assertEqual(read_calls(), [])
            self.assertEqual(snapshot(*ROOTS), before)
            return
        shown = shown_report(step["report"])
        attention = any(line.startswith("[Needs attention] ") for line in shown)
        self.assertEqual((done.returncode, done.stderr), (1 if attention else 0, ""), "exit status and diagnostics")
        if "--json" in step["arguments"]:
            self.assertEqual(done.stdout.count("\n"), 1, "one JSON object on one line")
            action = [word for word in step["arguments"] if not word.startswith("-") and word != "tester"][0]
            self.assertEqual(json.loads(done.stdout),
                             {"action": action, "dryRun": False, "hasFailure": attention, "report": shown})
        else:
            self.assertEqual(done.stdout, "".join(line + "\n" for line in shown))
        self.assert_effects(step, before, log_before)
        # Acting for tester, root leaves everything it moved tester's.
        for original in step.get("moved", []) if as_root else []:
            for stored in (self.trash.stored_item(original), self.trash.info_file(original)):
                self.assertEqual(os.lstat(stored).st_uid, tester.pw_uid, stored)

    def step_preview(self, step):
        """talvoren-uninstall --dry-run `action`, in text and in JSON: the two say the same, and nothing changes
        (the installation byte for byte, the log, the app running); only the marker's `defaults read` runs.
        The next run of the action is compared with this preview."""
        before, log_before = snapshot(*ROOTS), read_log(self.log)
        running = self.fake_app is not None and self.fake_app.poll() is None
        read_calls(clear=True)
        runs = [subprocess.run([*AS_TESTER, CLI, "--dry-run", *mode, step["action"]], cwd=HOME, env=CLI_ENVIRONMENT,
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60)
                for mode in ([], ["--json"])]
        preview = json.loads(runs[1].stdout)
        self.assertEqual((preview["action"], preview["dryRun"]), (step["action"], True))
        self.assertEqual(runs[0].stdout, "".join(change_line(change) + "\n" for change in preview["changes"]) + "\n" +
                         "".join(line + "\n" for line in preview["report"]))
        self.assertRegex(runs[0].stderr, r"\AThis preview assumes [^\n]*\n\Z")
        self.assertEqual(runs[1].stderr, "")
        attention = any(line.startswith("[Needs attention] ") for line in preview["report"])
        self.assertEqual([run.returncode for run in runs], [1 if attention else 0] * 2)
        self.assertEqual(preview["hasFailure"], attention)
        self.assertEqual(snapshot(*ROOTS), before, "a preview must change nothing")
        self.assertEqual(read_log(self.log), log_before, "a preview must not log anything")
        self.assertEqual([call for call in read_calls() if call[:2] != ["defaults", "read"]], [])
        if running:
            self.assertIsNone(self.fake_app.poll(), "a preview must not stop the app")
        self.preview = preview

    def assert_as_previewed(self, report, logged, moved):
        """The run that follows a preview: the same report but for the known exceptions, and exactly the
        previewed items moved, in the same order where the log can tell it."""
        preview, self.preview = self.preview, None
        self.assertEqual(len(preview["report"]), len(report), "the preview's report has other lines")
        trashed = [change["path"] for change in preview["changes"] if change["change"] == "trash"]
        for predicted, real in zip(preview["report"], report):
            if predicted != real:
                self.assertIn((predicted, real), PREVIEW_EXCEPTIONS)
            if predicted.startswith("[OK] Preferences: moved"):
                trashed.remove(NAMES["preferences"])
        if not self.log:
            self.assertEqual(sorted(trashed), sorted(moved), "the preview's moves against what moved")
            return
        logged_moves = [line.split(" moved to Trash from ", 1)[1] for line in logged if " moved to Trash from " in line]
        self.assertEqual(trashed, logged_moves, "the preview's moves against the log's")

    def assert_effects(self, step, before, log_before):
        """What an action must leave behind, however it was started."""
        report, moved = step["report"], step.get("moved", [])
        if self.preview:
            self.assert_as_previewed(report, self.log and new_log_lines(self.log, log_before), moved)
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
            with open(NAMES["preferences"], "rb") as handle:
                self.assertEqual(plistlib.load(handle), step["preferences"])
        for other in self.others:
            self.assertIsNone(other.poll(), "a process of another app or user was stopped")
        if "app_exit" in step:
            status = self.fake_app.poll() if step["app_exit"] is None else self.fake_app.wait(5)
            self.assertEqual(status, step["app_exit"], "the app's state after the action")

    def assert_only_expected_changes(self, before, after, gone, changed):
        # The log grows where it is an ordinary file; anything else there must stay.
        if before.get(NAMES["uninstaller_log"], ("",))[0] == "file":
            changed = changed + [NAMES["uninstaller_log"]]
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
        self.assertEqual(self.window.quit(), 0, "the uninstaller did not end cleanly")


for name in sorted(os.listdir(os.path.join(HERE, "cases"))):
    if name.endswith(".json") and name != "fragments.json":
        with open(os.path.join(HERE, "cases", name), encoding="utf-8") as source:
            setattr(Case, "test_" + name[:-5], lambda self, case=expand(json.load(source)): self.run_case(case))

if __name__ == "__main__":
    unittest.main(verbosity=2)
