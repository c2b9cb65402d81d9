"""What an end-to-end run looks at afterwards: the files, the Trash, the
uninstaller's log and the calls the stand-ins received."""
import configparser
import hashlib
import json
import os
import re
import stat
import subprocess
import urllib.parse

CALL_LOG = "/var/lib/talvoren-standins/calls.log"
TIMESTAMPED = re.compile(r"^\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\] (.*)$")


def describe(path):
    """One entry's identity: its kind and mode, and a regular file's contents
    or a link's target. Nothing else is opened: a pipe would block the reader."""
    info = os.lstat(path)
    if stat.S_ISLNK(info.st_mode):
        return ("link", os.readlink(path))
    if not stat.S_ISREG(info.st_mode):
        return (stat.filemode(info.st_mode),)
    with open(path, "rb") as handle:
        return ("file", oct(info.st_mode & 0o7777), hashlib.sha256(handle.read()).hexdigest())


def snapshot(*roots):
    """Every entry under the roots (the roots included), by absolute path."""
    roots = [root for root in roots if os.path.lexists(root)]
    inside = [os.path.join(folder, name) for root in roots for folder, subfolders, files in os.walk(root)
              for name in subfolders + files]
    return {path: describe(path) for path in roots + inside}


def is_within(path, top):
    return path == top or path.startswith(top + "/")


def subtree(entries, top):
    """The entries at and below `top`, keyed relative to it."""
    return {os.path.relpath(path, top): value for path, value in entries.items() if is_within(path, top)}


def read_calls():
    with open(CALL_LOG, encoding="utf-8") as log:
        return [[entry["tool"], *entry["args"]] for entry in map(json.loads, log)]


def clear_calls():
    open(CALL_LOG, "w", encoding="utf-8").close()


class Trash:
    """The freedesktop.org Trash of one home, read with the trash tools and by
    its info files."""

    def __init__(self, home, run_as, volumes):
        """`volumes`: {top of another file system: (_, its trash folder relative to the top)}."""
        self.folder = os.path.join(home, ".local", "share", "Trash")
        self.volumes = {top: os.path.join(top, trash) for top, (_, trash) in volumes.items()}
        self.run_as = run_as
        self.environment = {"HOME": home, "XDG_DATA_HOME": os.path.join(home, ".local", "share"),
                            "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8"}

    def _tool(self, *command, stdin=""):
        completed = subprocess.run([*self.run_as, *command], input=stdin, env=self.environment,
                                   capture_output=True, text=True, timeout=60)
        if completed.returncode != 0:
            raise AssertionError("%s failed: %s%s" % (command[0], completed.stdout, completed.stderr))
        return completed.stdout

    def listed_paths(self):
        """The original paths that trash-list shows."""
        return sorted(line.split(" ", 2)[2] for line in self._tool("trash-list").splitlines() if line.strip())

    def folder_for(self, original):
        return next((trash for top, trash in self.volumes.items() if is_within(original, top)), self.folder)

    def holds(self, path, or_above=False):
        """Whether `path` is in one of the trash folders (or above one)."""
        return any(is_within(path, trash) or or_above and is_within(trash, path)
                   for trash in [self.folder, *self.volumes.values()])

    def _records(self, folder):
        """(item name, original path, or None when the info file is incomplete) per info file."""
        info = os.path.join(folder, "info")
        for name in sorted(os.listdir(info)) if os.path.isdir(info) else []:
            parser = configparser.ConfigParser(interpolation=None)
            parser.read(os.path.join(info, name), encoding="utf-8")
            complete = parser.has_option("Trash Info", "Path") and parser.has_option("Trash Info", "DeletionDate")
            yield name[: -len(".trashinfo")], urllib.parse.unquote(parser["Trash Info"]["Path"]) if complete else None

    def stored_item(self, original):
        """Where the Trash keeps the item that came from `original`."""
        folder = self.folder_for(original)
        found = [name for name, path in self._records(folder) if path == original]
        return os.path.join(folder, "files", found[0]) if found else None

    def problems(self):
        """What the Trash cannot account for: incomplete info files and items
        without an info file, or the other way round."""
        found = []
        for folder in [self.folder, *self.volumes.values()]:
            records = dict(self._records(folder))
            files = os.path.join(folder, "files")
            items = set(os.listdir(files) if os.path.isdir(files) else [])
            found += (["incomplete info file for " + name for name, path in records.items() if path is None] +
                      ["info file without its item: " + name for name in records.keys() - items] +
                      ["item without an info file: " + name for name in items - records.keys()])
        return found

    def restore(self, original):
        """trash-restore, answering its question with the first (only) candidate."""
        self._tool("trash-restore", original, stdin="0\n")


def read_log(path):
    """The uninstaller log's bytes; none when it is not to be read (it may be a pipe)."""
    if path is None:
        return b""
    with open(path, "rb") as handle:
        return handle.read()


def new_log_lines(path, since):
    contents = read_log(path)
    if not contents.startswith(since):
        raise AssertionError("the log's earlier bytes changed")
    return contents[len(since):].decode("utf-8").split("\n")[:-1]


def report_block(lines):
    """The report block among the lines one action added to the log: all that
    follows an empty line and the stamped heading "Action report:"."""
    for index in range(len(lines) - 1):
        heading = TIMESTAMPED.match(lines[index + 1])
        if lines[index] == "" and heading and heading.group(1) == "Action report:":
            return lines[index + 2:]
    raise AssertionError("no report block in the log lines %r" % lines)
