"""Drives the uninstaller's window the way a user does: mouse clicks on the buttons and keys on the dialogs
through xdotool, on an Xvfb display; the status text is copied to the clipboard and read with xclip."""
import json
import os
import subprocess
import time

WINDOW_TITLE = "Uninstall Talvoren"
# The controls' frames in the 620 x 520 content area from its top left, [x, y, width, height], as the window
# suite checks them.
with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "tables", "window.json"),
          encoding="utf-8") as table:
    AREAS = {control["name"]: control["frame"] for control in json.load(table)["controls"]}
# The isolated root's /tmp and network are its own, so the first display number is free.
DISPLAY = ":1"


def wait_until(condition, timeout, what):
    deadline = time.monotonic() + timeout
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError("timed out after %.0f s waiting for %s" % (timeout, what))
        time.sleep(0.1)
    return result


def start_display():
    """An Xvfb server that never resets: by default it would each time its last client leaves, and refuse the
    next case's program while it does."""
    server = subprocess.Popen(["Xvfb", DISPLAY, "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_until(lambda: os.path.exists("/tmp/.X11-unix/X1"), 20, "Xvfb to start")
    return server


def x(*command, check=True):
    completed = subprocess.run(command, env=dict(os.environ, DISPLAY=DISPLAY), capture_output=True, text=True,
                               timeout=20)
    assert completed.returncode == 0 or not check, "%s failed: %s" % (command, completed.stderr)
    return completed.stdout


class UninstallerWindow:
    """One run of the program, with its window found on the display."""

    def __init__(self, process):
        self.process = process
        self.window = wait_until(lambda: self.windows("--name", "^%s$" % WINDOW_TITLE)[:1], 30, WINDOW_TITLE)[0]
        # The program's own icon, for the desktop to show with the window (only its first bytes are read).
        assert "_NET_WM_ICON(CARDINAL)" in x("xprop", "-id", self.window, "-len", "16", "_NET_WM_ICON"), "no icon"

    def windows(self, *criteria):
        assert self.process.poll() is None, "the uninstaller exited with status %d" % self.process.returncode
        return x("xdotool", "search", "--onlyvisible", *criteria, check=False).split()

    def press(self, title):
        x0, y0, width, height = AREAS[title]
        # No --sync: it waits for the pointer to move, which it does not when the same button is pressed twice.
        x("xdotool", "mousemove", "--window", self.window, str(x0 + width // 2), str(y0 + height // 2), "click", "1")

    def answer_dialog(self, key, timeout=30):
        """Checks the title of the dialog in front, answers it with a key and waits until it is gone."""
        dialogs = lambda: [wid for wid in self.windows("--pid", str(self.process.pid)) if wid != self.window]
        dialog = wait_until(dialogs, timeout, "a dialog")[0]
        # Under the program's title, not the executable's name.
        assert x("xdotool", "getwindowname", dialog).strip() == WINDOW_TITLE, "the dialog has no title"
        x("xdotool", "windowfocus", "--sync", dialog)
        x("xdotool", "key", "--clearmodifiers", key)
        wait_until(lambda: dialog not in dialogs(), 10, "the dialog to close")

    def run_action(self, title, expected):
        """Presses an action button, confirms, dismisses the completion dialog and returns the status text,
        copied as a user would (click, Ctrl+A, Ctrl+C). The copy reaches the clipboard a moment later: it is
        read until it is `expected`, at most 5 s."""
        self.press(title)
        self.answer_dialog("Return")
        self.answer_dialog("Return", 40)
        x("xdotool", "windowfocus", "--sync", self.window)
        self.press("status")
        x("xdotool", "key", "--clearmodifiers", "ctrl+a", "ctrl+c")
        deadline = time.monotonic() + 5
        while (copied := x("xclip", "-selection", "clipboard", "-o", check=False)) != expected:
            if time.monotonic() > deadline:
                break
            time.sleep(0.1)
        return copied

    def cancel_action(self, title):
        self.press(title)
        self.answer_dialog("Escape")

    def quit(self):
        self.press("Quit")
        return self.process.wait(15)
