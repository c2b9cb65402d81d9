#!/usr/bin/env bash
# Opens the uninstaller on a throwaway Talvoren installation, so that every
# button can be pressed without risk (tools/run.sh --demo runs this).
#
# As root it runs inside the isolated root that the end-to-end suite uses too
# (sandbox/isolated_root.sh): /Applications/Talvoren.app, a running Talvoren,
# the stand-ins for tccutil, defaults and osascript, and a user "tester" whose
# home holds the installation; the host's display is passed in. Without root it
# runs on a throwaway home only. Either way the sandbox is removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD
readonly repo build=$PWD/build-demo

program=$build/TalvorenUninstaller/TalvorenUninstaller
fake_app=$build/sandbox/fake_talvoren

build_programs() {
  cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$build" --parallel "$(nproc)" --target TalvorenUninstaller fake_talvoren
}

explain_buttons() {
  cat <<EOF

Press the buttons; the reports land in $1/Library/Logs/Talvoren-Uninstaller.log.
Close the window or press Quit when done.
EOF
}

# How to look into the throwaway Trash, and a shell to do it in when there is
# a terminal to type into.
offer_trash() {
  local home=$1 run_as=("${@:2}")
  local trash_env=(HOME="$home" XDG_DATA_HOME="$home/.local/share" PATH=/usr/bin:/bin LANG=C.UTF-8)
  echo
  echo "== The throwaway Trash (trash-list with HOME=$home):"
  env -i "${trash_env[@]}" "${run_as[@]}" trash-list || true
  [ -t 0 ] || return 0
  cat <<EOF

A shell with HOME=$home opens now, so the trash tools act on the throwaway
Trash only:
  trash-list                     what the uninstaller moved, with original paths
  trash-restore ORIGINAL-FOLDER  bring items back (it asks which one)
Leave it with 'exit'; then the sandbox is removed.
EOF
  env -i "${trash_env[@]}" TERM="${TERM:-dumb}" PS1='(talvoren demo) \w\$ ' "${run_as[@]}" \
    bash --norc --noprofile -i || true
}

# Inside the isolated root, as root.
demo_in_isolated_root() {
  local home=/Users/tester as_tester=(setpriv --reuid=2001 --regid=2001 --init-groups)
  /usr/bin/python3 "$repo/sandbox/make_installation.py" "$home" --user tester --fake-app "$fake_app" --system-items
  # The demo user is an administrator, as most Mac users are.
  chgrp admin /Applications && chmod 0775 /Applications
  "${as_tester[@]}" /Applications/Talvoren.app/Contents/MacOS/Talvoren quit >/dev/null &
  cat <<EOF
== Sandbox
An isolated root (a private overlay of /), seen from the host at
  $TALVOREN_SCRATCH/upper
which holds everything created or changed inside it, for example
  $TALVOREN_SCRATCH/upper$home              the demo user's home (the installation)
  $TALVOREN_SCRATCH/upper/Applications/Talvoren.app
Inside: /Applications/Talvoren.app (running), $home, and stand-ins for
/usr/bin/tccutil, /usr/bin/defaults and /usr/bin/osascript, whose calls are
logged in /var/lib/talvoren-standins/calls.log.
EOF
  explain_buttons "$home"
  env -i HOME="$home" USER=tester LOGNAME=tester PATH=/usr/bin:/bin LANG=C.UTF-8 DISPLAY="$DISPLAY" \
    ${XAUTHORITY:+XAUTHORITY="$XAUTHORITY"} XDG_RUNTIME_DIR=/run/user/2001 "${as_tester[@]}" "$program" || true
  echo
  echo "== Calls the stand-ins received:"
  cat /var/lib/talvoren-standins/calls.log
  offer_trash "$home" "${as_tester[@]}"
}

demo_with_root() {
  echo "Building the sandbox; it is removed when the demo ends."
  "$repo/sandbox/isolated_root.sh" --on-disk --share-display --carry "$repo" -- /bin/bash "$repo/tools/demo.sh" --inside-root
  echo "Sandbox removed."
}

demo_without_root() {
  # Global, so that the exit trap still knows it after this function returns.
  sandbox=$(mktemp -d "${TMPDIR:-/tmp}/talvoren-demo.XXXXXX")
  trap 'rm -rf "$sandbox"; echo "Sandbox $sandbox removed."' EXIT
  local home=$sandbox/home
  /usr/bin/python3 "$repo/sandbox/make_installation.py" "$home"
  cat <<EOF
== Sandbox (no root, so a throwaway home only)
  $home
It leaves out what needs root to fake safely: /Applications/Talvoren.app and
a running Talvoren (reported as not found / not running), the Homebrew speech
engine, and stand-ins for tccutil, defaults and osascript (the permission and
setup-marker resets report that those programs could not be run). Run the demo
as root for all of it.
EOF
  explain_buttons "$home"
  # The display's cookie is looked up in the real home unless said otherwise.
  install -d -m 0700 "$sandbox/runtime"
  XAUTHORITY=${XAUTHORITY:-$HOME/.Xauthority} XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$sandbox/runtime} \
    HOME=$home XDG_DATA_HOME=$home/.local/share "$program" || true
  offer_trash "$home"
}

main() {
  if [ "${1:-}" = --inside-root ]; then
    demo_in_isolated_root
    return
  fi
  [ -n "${DISPLAY:-}" ] || { echo "The demo opens a window: set DISPLAY to an X display." >&2; exit 1; }
  build_programs
  if [ "$(id -u)" -eq 0 ]; then
    demo_with_root
  else
    demo_without_root
  fi
}

main "$@"
