#!/usr/bin/env bash
# The end-to-end suite as CTest runs it:
#
#   run.sh PROGRAM FAKE_APP
#
# Runs suite.py inside a fresh isolated root (isolated_root.sh), then checks
# that the host kept no trace of it: the system locations the program works on
# and the real home's Library and Trash look exactly as they did before.
# Anything that keeps the isolated root from being built fails the suite.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here

fail() {
  echo "end-to-end suite FAILED: $*" >&2
  exit 1
}

[ $# -eq 2 ] || fail "usage: run.sh PROGRAM FAKE_APP"
program=$(realpath "$1")
fake_app=$(realpath "$2")
[ -x "$program" ] || fail "the uninstaller is not built: $program"
[ -x "$fake_app" ] || fail "the fake app is not built: $fake_app"
[ "$(id -u)" -eq 0 ] || fail "the isolated root needs root (mount namespace, overlay, chroot); running as $(id -un)"
for tool in unshare chroot setpriv Xvfb xdotool xclip trash-list trash-restore /usr/bin/python3; do
  command -v "$tool" >/dev/null || fail "$tool is missing (see tools/test-deps.txt)"
done

real_home=$(getent passwd "$(id -u)" | cut -d: -f6)
watched=(/Applications /Users /opt/homebrew /usr/bin/tccutil /usr/bin/defaults /usr/bin/osascript
  /var/lib/talvoren-standins /run/talvoren-finder.sock /run/talvoren-isolated-root /etc/passwd /etc/group
  "$real_home/Library" "$real_home/.local/share/Trash")

# Names, kinds, sizes and modes of everything at the watched paths.
host_state() {
  local path
  for path in "${watched[@]}"; do
    if [ -e "$path" ] || [ -L "$path" ]; then
      find "$path" -printf '%p %y %s %m\n' | sort
    else
      echo "absent $path"
    fi
  done
}

before=$(host_state)
status=0
"$here/isolated_root.sh" --scratch-parent "$PWD" \
  --carry "$(dirname "$program")" --carry "$(dirname "$fake_app")" -- \
  /usr/bin/env TALVOREN_PROGRAM="$program" TALVOREN_FAKE_APP="$fake_app" \
  /usr/bin/python3 "$here/suite.py" || status=$?
after=$(host_state)

if [ "$before" != "$after" ]; then
  diff <(echo "$before") <(echo "$after") >&2 || true
  fail "the host shows traces of the run (above: before and after)"
fi
if compgen -G "$PWD/talvoren-root.*" >/dev/null; then
  fail "the scratch folder of the isolated root was left behind in $PWD"
fi
[ "$status" -eq 0 ] || fail "the suite inside the isolated root failed (status $status)"
echo "end-to-end suite passed; the host shows no trace of it"
