"""What an end-to-end run looks at afterwards: the files, the Trash, the
uninstaller's log and the calls the stand-ins received."""
import configparser
import hashlib
import json
import os
import re
import subprocess
import urllib.parse

CALL_LOG = "/var/lib/talvoren-standins/calls.log"
TIMESTAMPED = re.compile(r"^\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\] (.*)$")


def describe(path):
    """One entry's identity: its kind, mode and contents (or link target)."""
    info = os.lstat(path)
    mode = oct(info.st_mode & 0o7777)
    if os.path.islink(path):
        return ("link", os.readlink(path))
    if os.path.isdir(path):
        return ("folder", mode)
    with open(path, "rb") as handle:
        return ("file", mode, hashlib.sha256(handle.read()).hexdigest())


def snapshot(*roots):
    """Every entry under the roots (the roots included), by absolute path."""
    entries = {}
    for root in roots:
        if not os.path.lexists(root):
            continue
        entries[root] = describe(root)
        for folder, subfolders, files in os.walk(root):
            for name in subfolders + files:
                path = os.path.join(folder, name)
                entries[path] = describe(path)
    return entries


def subtree(entries, top):
    """The entries at and below `top`, keyed relative to it."""
    return {os.path.relpath(path, top): value for path, value in entries.items()
            if path == top or path.startswith(top + "/")}


def is_within(path, top):
    return path == top or path.startswith(top + "/")


def read_calls():
    with open(CALL_LOG, encoding="utf-8") as log:
        return [[entry["tool"], *entry["args"]] for entry in map(json.loads, log)]


def clear_calls():
    with open(CALL_LOG, "w", encoding="utf-8"):
        pass


class Trash:
    """The freedesktop.org Trash of one home, read with the trash tools and by
    its info files."""

    def __init__(self, home, run_as):
        self.home = home
        self.folder = os.path.join(home, ".local", "share", "Trash")
        self.run_as = run_as
        self.environment = {"HOME": home, "XDG_DATA_HOME": os.path.join(home, ".local", "share"),
                            "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8"}

    def _tool(self, *command, stdin=""):
        return subprocess.run([*self.run_as, *command], input=stdin, env=self.environment,
                              capture_output=True, text=True, timeout=60)

    def listed_paths(self):
        """The original paths that trash-list shows."""
        completed = self._tool("trash-list")
        if completed.returncode != 0:
            raise AssertionError("trash-list failed: " + completed.stderr)
        return sorted(line.split(" ", 2)[2] for line in completed.stdout.splitlines() if line.strip())

    def stored_item(self, original):
        """Where the Trash keeps the item that came from `original`."""
        info_folder = os.path.join(self.folder, "info")
        for name in sorted(os.listdir(info_folder)) if os.path.isdir(info_folder) else []:
            parser = configparser.ConfigParser(interpolation=None)
            parser.read(os.path.join(info_folder, name), encoding="utf-8")
            if urllib.parse.unquote(parser["Trash Info"]["Path"]) == original:
                return os.path.join(self.folder, "files", name[: -len(".trashinfo")])
        return None

    def restore(self, original):
        """Restores the item with trash-restore, answering its question with
        the first (only) candidate."""
        completed = self._tool("trash-restore", original, stdin="0\n")
        if completed.returncode != 0:
            raise AssertionError("trash-restore failed: " + completed.stdout + completed.stderr)


class UninstallerLog:
    """The uninstaller's own log, read from a given byte offset on."""

    def __init__(self, path):
        self.path = path

    def contents(self):
        with open(self.path, "rb") as handle:
            return handle.read()

    def new_lines(self, since):
        contents = self.contents()
        if not contents.startswith(since):
            raise AssertionError("the log's earlier bytes changed")
        return contents[len(since):].decode("utf-8").split("\n")[:-1]


def split_action_entries(lines):
    """Splits what one action added to the log into the messages its
    operations logged (timestamps removed) and the report block's lines."""
    for index in range(len(lines) - 1):
        marker = TIMESTAMPED.match(lines[index + 1])
        if lines[index] == "" and marker and marker.group(1) == "Action report:":
            messages = [TIMESTAMPED.match(line) for line in lines[:index]]
            if not all(messages):
                raise AssertionError("untimestamped line before the report block: %r" % lines[:index])
            return [match.group(1) for match in messages], lines[index + 2:]
    raise AssertionError("no report block in the log lines %r" % lines)
