"""What an end-to-end run looks at afterwards: the files, the Trash, the uninstaller's log and the calls the
stand-ins received."""
import configparser
import hashlib
import json
import os
import re
import stat
import urllib.parse

CALL_LOG = "/var/lib/talvoren-standins/calls.log"
REPORT_HEADING = re.compile(r"\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\] Action report:")


def describe(path):
    """Kind and mode, and a file's contents or a link's target: nothing else is opened, a pipe would block."""
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


def read_calls(clear=False):
    with open(CALL_LOG, "r+", encoding="utf-8") as log:
        calls = [json.loads(line) for line in log]
        if clear:
            log.truncate(0)
    return calls


class Trash:
    """The freedesktop.org Trash folders of one home: its own, and those of other file systems
    (`volumes`: {top: (_, trash folder relative to the top)})."""

    def __init__(self, home, volumes, tester):
        self.folders = {top: top + "/" + trash for top, (_, trash) in volumes.items()}
        self.home_folder = home + "/.local/share/Trash"
        self.tester = tester

    def listed_paths(self):
        """The original paths that trash-list shows."""
        return sorted(line.split(" ", 2)[2] for line in self.tester("trash-list").splitlines() if line)

    def restore(self, original):
        """trash-restore, answering its question with the first (only) candidate."""
        self.tester("trash-restore", original, input="0\n")

    def holds(self, path, or_above=False):
        """Whether `path` is in one of the Trash folders (or above one)."""
        return any(is_within(path, folder) or or_above and is_within(folder, path)
                   for folder in [self.home_folder, *self.folders.values()])

    def records(self, folder):
        """{item name: original path, or None when the info file is incomplete}. A volume's info files name
        the path below its top."""
        top = next((top + "/" for top, trash in self.folders.items() if trash == folder), "")
        found = {}
        for name in os.listdir(folder + "/info") if os.path.isdir(folder + "/info") else []:
            info = configparser.ConfigParser(interpolation=None)
            info.read(folder + "/info/" + name, encoding="utf-8")
            path = info.get("Trash Info", "Path", fallback=None)
            complete = path and info.has_option("Trash Info", "DeletionDate")
            found[name[:-len(".trashinfo")]] = top + urllib.parse.unquote(path) if complete else None
        return found

    def stored_item(self, original):
        """Where the Trash keeps the item that came from `original`."""
        folder = next((trash for top, trash in self.folders.items() if is_within(original, top)), self.home_folder)
        found = [name for name, path in self.records(folder).items() if path == original]
        return folder + "/files/" + found[0] if found else None

    def info_file(self, original):
        """The info file that records the item that came from `original`."""
        folder, name = self.stored_item(original).rsplit("/files/", 1)
        return folder + "/info/" + name + ".trashinfo"

    def problems(self):
        """Incomplete info files, and the names that have an info file or an item but not both."""
        found = []
        for folder in [self.home_folder, *self.folders.values()]:
            records = self.records(folder)
            items = set(os.listdir(folder + "/files") if os.path.isdir(folder + "/files") else [])
            found += [name for name, path in records.items() if path is None] + sorted(records.keys() ^ items)
        return found


def read_log(path):
    """The uninstaller log's bytes; none when it is not to be read (it may be a pipe)."""
    if path is None:
        return b""
    with open(path, "rb") as handle:
        return handle.read()


def new_log_lines(path, since):
    contents = read_log(path)
    assert contents.startswith(since), "the log's earlier bytes changed"
    return contents[len(since):].decode("utf-8").split("\n")[:-1]


def report_block(lines):
    """What follows an empty line and the stamped heading "Action report:"."""
    for index in range(len(lines) - 1):
        if lines[index] == "" and REPORT_HEADING.fullmatch(lines[index + 1]):
            return lines[index + 2:]
    raise AssertionError("no report block in the log lines %r" % lines)
