#!/usr/bin/python3
"""tools/run.sh started as a user, as root through sudo and as a root login, on a copy of the checkout whose
cmake, sudo, apt-get, dpkg-query and demo are stand-ins that log who called them: who installs, who builds, who
runs the program with what environment, and what is refused. Runs as root inside isolated_root.sh; the cases are
tests/data/tables/run-command.json."""
import json
import os
import pwd
import shutil
import subprocess
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(os.path.dirname(HERE))
WORK = "/tmp/run-command"
CHECKOUT, LOG, BIN, MISSING = WORK + "/checkout", WORK + "/log", WORK + "/bin", WORK + "/missing"
HOMES = {"root": "/root", "tester": "/Users/tester", "other": "/home/other"}
with open(os.path.join(REPO, "tests", "data", "tables", "run-command.json"), encoding="utf-8") as table:
    CASES = json.load(table)["cases"]

STANDINS = {
    "cmake": """[ "$1" = --build ] || { mkdir -p "$4"; exit 0; }
mkdir -p "$2/TalvorenUninstaller"
printf '#!/bin/sh\\necho "program $(id -u) $(id -G) $HOME ${XDG_RUNTIME_DIR:-} ${DISPLAY:-}" >>%s\\n' "$LOG" \\
  >"$2/TalvorenUninstaller/TalvorenUninstaller"
printf '#!/bin/sh\\necho "command $(id -u) $*" >>%s\\n' "$LOG" >"$2/TalvorenUninstaller/talvoren-uninstall"
chmod +x "$2/TalvorenUninstaller/TalvorenUninstaller" "$2/TalvorenUninstaller/talvoren-uninstall"
""",
    "sudo": "", "apt-get": "", "demo.sh": "",
}
# Every package is installed except those named in MISSING.
DPKG_QUERY = """#!/bin/sh
for package; do :; done
grep -qx "$package" %s && exit 1
printf installed
""" % MISSING


def standin(name):
    """A script that logs its name, its caller's uid and its first argument, then does what STANDINS says."""
    return '#!/bin/sh\nLOG=%s\necho "%s $(id -u)${1:+ $1}" >>"$LOG"\n%s' % (LOG, name.replace(".sh", ""),
                                                                       STANDINS[name])


def write(path, text, mode):
    with open(path, "w", encoding="utf-8") as target:
        target.write(text)
    os.chmod(path, mode)


def setUpModule():
    if not os.path.exists("/run/talvoren-isolated-root") or os.getuid() != 0:
        raise RuntimeError("suite.py runs only as root inside isolated_root.sh")
    with open("/etc/passwd", "a", encoding="utf-8") as users:
        users.write("other:x:2002:2002::/home/other:/bin/sh\n")
    with open("/etc/group", "a", encoding="utf-8") as groups:
        groups.write("other:x:2002:\n")
    for folder, mode in (("/home/other", 0o755), ("/run/user/2002", 0o700)):
        os.makedirs(folder, mode)
        os.chown(folder, 2002, 2002)
    os.makedirs(BIN)
    for name in ("cmake", "sudo", "apt-get"):
        write(os.path.join(BIN, name), standin(name), 0o755)
    write(os.path.join(BIN, "dpkg-query"), DPKG_QUERY, 0o755)


class RunCommand(unittest.TestCase):
    maxDiff = None

    def test_cases(self):
        for case in CASES:
            with self.subTest(case["name"]):
                self.run_case(case)

    def run_case(self, case):
        runner, environment = case["as"], case.get("env", {})
        caller = environment.get("SUDO_USER", "root") if runner == "root" else runner
        owner = pwd.getpwnam(case.get("owner", caller))
        shutil.rmtree(CHECKOUT, ignore_errors=True)
        shutil.copytree(os.path.join(REPO, "tools"), CHECKOUT + "/tools")
        write(CHECKOUT + "/tools/demo.sh", standin("demo.sh"), 0o755)
        if case.get("build_run_by_root"):
            os.makedirs(CHECKOUT + "/build-run/stale")
        subprocess.run(["chown", "-R", "%d:%d" % (owner.pw_uid, owner.pw_gid), CHECKOUT + "/tools"], check=True)
        os.chown(CHECKOUT, owner.pw_uid, owner.pw_gid)
        write(MISSING, case.get("missing", "") + "\n", 0o644)
        write(LOG, "", 0o666)

        command = [CHECKOUT + "/tools/run.sh", *case.get("args", [])]
        if runner != "root":
            user = pwd.getpwnam(runner)
            command = ["setpriv", "--reuid=%d" % user.pw_uid, "--regid=%d" % user.pw_gid, "--init-groups", *command]
        env = {"PATH": BIN + ":/usr/bin:/bin", "HOME": HOMES[runner], "LANG": "C.UTF-8", **environment}
        result = subprocess.run(command, env=env, capture_output=True, text=True, timeout=60)

        self.assertEqual(result.returncode, case.get("status", 0), result.stdout + result.stderr)
        with open(LOG, encoding="utf-8") as log:
            self.assertEqual(log.read().splitlines(), case["log"])
        if "build_owner" in case:
            self.assertEqual(os.stat(CHECKOUT + "/build-run").st_uid, case["build_owner"])
        if "message" in case:
            self.assertEqual(result.stderr.splitlines(), [case["message"]])


if __name__ == "__main__":
    unittest.main(verbosity=2)
