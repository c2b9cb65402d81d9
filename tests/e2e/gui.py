"""Drives the uninstaller's window the way a user does: an Xvfb display, mouse
clicks on the buttons and keys on the dialogs, through xdotool; the status
text is copied to the clipboard, read with xclip. Every wait is bounded."""
import os
import subprocess
import tempfile
import time

WINDOW_TITLE = "Uninstall Talvoren"
# Frames of the buttons and the status text in the 620 x 520 content area
# from its top left: x, y, width, height.
AREAS = {
    "Reset macOS Permissions": (28, 186, 270, 34),
    "Remove AI Model": (322, 186, 270, 34),
    "Remove App Only": (28, 234, 270, 34),
    "Full Uninstall": (322, 234, 270, 34),
    "Quit": (468, 474, 124, 30),
    "status": (28, 314, 564, 150),
}


def wait_until(condition, timeout, what):
    deadline = time.monotonic() + timeout
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError("timed out after %.0f s waiting for %s" % (timeout, what))
        time.sleep(0.1)
    return result


class Display:
    """An Xvfb server on the first free display number. It never resets: by
    default it would each time its last client leaves, and refuse the next
    case's program while it does."""

    def __init__(self):
        self._number_file = tempfile.TemporaryFile()
        self._server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(self._number_file.fileno()), "-screen", "0", "1280x800x24",
             "-nolisten", "tcp", "-noreset"], pass_fds=[self._number_file.fileno()],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.name = ":" + wait_until(self._announced_number, 20, "Xvfb to start")

    def _announced_number(self):
        if self._server.poll() is not None:
            raise AssertionError("Xvfb exited with status %d" % self._server.returncode)
        self._number_file.seek(0)
        text = self._number_file.read().decode().strip()
        return text if text.isdigit() else None

    def run(self, *command, check=True):
        completed = subprocess.run(command, env=dict(os.environ, DISPLAY=self.name), capture_output=True,
                                   text=True, timeout=20)
        if check and completed.returncode != 0:
            raise AssertionError("%s failed: %s" % (" ".join(command), completed.stderr.strip()))
        return completed.stdout

    def xdotool(self, *arguments, check=True):
        return self.run("xdotool", *arguments, check=check).split()

    def clipboard(self):
        return self.run("xclip", "-selection", "clipboard", "-o", check=False)

    def close(self):
        self._server.terminate()
        self._server.wait(10)
        self._number_file.close()


class UninstallerWindow:
    """One run of the program, with its window found on the display."""

    def __init__(self, display, process):
        self.display = display
        self.process = process
        self.window = wait_until(self._main_window, 30, "the window \"%s\"" % WINDOW_TITLE)

    def _main_window(self):
        if self.process.poll() is not None:
            raise AssertionError("the uninstaller exited with status %d" % self.process.returncode)
        found = self.display.xdotool("search", "--onlyvisible", "--name", "^%s$" % WINDOW_TITLE, check=False)
        return found[0] if found else None

    def dialogs(self):
        found = self.display.xdotool("search", "--onlyvisible", "--pid", str(self.process.pid), check=False)
        return [wid for wid in found if wid != self.window]

    def press(self, title):
        x, y, width, height = AREAS[title]
        # No --sync: it waits for the pointer to move, which it does not when
        # the same button is pressed twice.
        self.display.xdotool("mousemove", "--window", self.window, str(x + width // 2), str(y + height // 2),
                             "click", "1")

    def answer_dialog(self, key, timeout=30):
        """Answers the dialog in front with a key and waits until it is gone."""
        dialog = wait_until(lambda: self.dialogs()[:1], timeout, "a dialog")[0]
        self.display.xdotool("windowfocus", "--sync", dialog)
        self.display.xdotool("key", "--clearmodifiers", key)
        wait_until(lambda: dialog not in self.dialogs(), 10, "the dialog to close")

    def run_action(self, title, expected, action_timeout=40):
        """Presses an action button, confirms with the default button,
        dismisses the completion dialog once the action has finished and
        returns the status text, copied as a user would: a click into it,
        Ctrl+A, Ctrl+C. The copy reaches the clipboard a moment later: it is
        read until it is `expected`, at most 5 s."""
        self.press(title)
        self.answer_dialog("Return")
        self.answer_dialog("Return", action_timeout)
        self.display.xdotool("windowfocus", "--sync", self.window)
        self.press("status")
        self.display.xdotool("key", "--clearmodifiers", "ctrl+a", "ctrl+c")
        deadline = time.monotonic() + 5
        while (copied := self.display.clipboard()) != expected and time.monotonic() < deadline:
            time.sleep(0.1)
        return copied

    def cancel_action(self, title):
        self.press(title)
        self.answer_dialog("Escape")

    def quit(self):
        self.press("Quit")
        return self.process.wait(15)
