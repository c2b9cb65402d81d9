#!/usr/bin/env bash
# The end-to-end suite as CTest runs it: run.sh PROGRAM FAKE_APP.
# Runs suite.py inside a fresh isolated root, then checks that the host kept no trace of it: the system
# locations the program works on and the real home's Library and Trash look exactly as they did before.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
sandbox=$(cd "$here/../../sandbox" && pwd)

fail() {
  echo "end-to-end suite FAILED: $*" >&2
  exit 1
}

[ "$(id -u)" -eq 0 ] || fail "the isolated root needs root (mount namespace, overlay, chroot)"
for tool in unshare chroot setpriv Xvfb xdotool xclip trash-list trash-restore; do
  command -v "$tool" >/dev/null || fail "$tool is missing (see tools/test-deps.txt)"
done
real_home=$(getent passwd 0 | cut -d: -f6)
watched=(/Applications /Users /opt/homebrew /usr/bin/tccutil /usr/bin/defaults /usr/bin/osascript
  /var/lib/talvoren-standins /run/talvoren-finder.sock /run/talvoren-isolated-root /etc/passwd /etc/group
  "$real_home/Library" "$real_home/.local/share/Trash")

# Names, kinds, sizes and modes of everything at the watched paths.
host_state() {
  { find "${watched[@]}" -printf '%p %y %s %m\n' 2>&1 || true; } | sort
}

# A run killed on timeout leaves its scratch folder, empty once its namespace
# is gone; it would otherwise fail every later run here.
rmdir "$PWD"/talvoren-root.* 2>/dev/null || true
before=$(host_state)
status=0
"$sandbox/isolated_root.sh" --scratch-parent "$PWD" --carry "$here" --carry "$here/../data" \
  --carry "$(dirname "$1")" --carry "$(dirname "$2")" -- \
  /usr/bin/env TALVOREN_PROGRAM="$1" TALVOREN_FAKE_APP="$2" /usr/bin/python3 "$here/suite.py" || status=$?
after=$(host_state)
diff <(echo "$before") <(echo "$after") >&2 || fail "the host shows traces of the run (above: before, after)"
! compgen -G "$PWD/talvoren-root.*" >/dev/null || fail "the isolated root's scratch folder was left in $PWD"
[ "$status" -eq 0 ] || fail "the suite inside the isolated root failed (status $status)"
echo "end-to-end suite passed; the host shows no trace of it"
