#!/usr/bin/env bash
# Builds the uninstaller and starts it as the user whose Talvoren it is to
# remove; with --demo, on a throwaway installation (tools/demo.sh).
#
#   ./tools/run.sh         builds and runs as you; asks sudo only to install
#                          missing packages (tools/install-deps.sh)
#   sudo ./tools/run.sh    installs what is missing as root, then builds and
#                          runs as the user who called sudo, on that user's home
#   ./tools/run.sh talvoren-uninstall ARGUMENT...
#                          the same, for the command line instead of the window
#
# The program works on the home and the processes of whoever runs it, so it
# never runs as root: started as root with no user behind it (a root login),
# the script refuses. Its build folder belongs to that user too, so that the
# checkout holds nothing of root's. --demo keeps its own ways: as root it runs
# in the isolated root, as a user on a throwaway home.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=$(cat tools/build-deps.txt)
program=TalvorenUninstaller
if [ "${1:-}" = talvoren-uninstall ]; then
  program=talvoren-uninstall
  shift
fi
demo=no
if [ "${1:-}" = --demo ] && [ "$program" = TalvorenUninstaller ]; then
  demo=yes
  packages+=" $(cat tools/test-deps.txt)"
fi

fail() {
  echo "run.sh: $*" >&2
  exit 1
}

install_packages() {
  if [ "$(id -u)" -eq 0 ]; then
    tools/install-deps.sh $packages
  elif ! tools/install-deps.sh --check $packages; then
    echo "Installing them needs root: asking sudo."
    sudo tools/install-deps.sh $packages
  fi
}

# The command prefix that runs as `user`, with that user's groups and home and
# what the window needs to open; empty when we are that user already.
as_user=()
run_as() {
  local user=$1 entry uid gid home shell runtime
  entry=$(getent passwd "$user") || fail "there is no user '$user'"
  IFS=: read -r _ _ uid gid _ home shell <<<"$entry"
  [ "$uid" -ne 0 ] || fail "'$user' is root; the uninstaller runs as the user whose Talvoren it removes"
  # sudo drops the runtime folder, or leaves root's: the user's own is the one.
  runtime=${XDG_RUNTIME_DIR:-}
  if [ -z "$runtime" ] || [ "$(stat -c %u "$runtime" 2>/dev/null)" != "$uid" ]; then
    runtime=/run/user/$uid
    [ -d "$runtime" ] || runtime=
  fi
  as_user=(setpriv --reuid="$uid" --regid="$gid" --init-groups
    env -i HOME="$home" USER="$user" LOGNAME="$user" SHELL="${shell:-/bin/sh}" PATH="$PATH"
    LANG="${LANG:-C.UTF-8}" ${LC_ALL:+LC_ALL="$LC_ALL"} ${TERM:+TERM="$TERM"}
    ${DISPLAY:+DISPLAY="$DISPLAY"} ${XAUTHORITY:+XAUTHORITY="$XAUTHORITY"}
    ${WAYLAND_DISPLAY:+WAYLAND_DISPLAY="$WAYLAND_DISPLAY"} ${runtime:+XDG_RUNTIME_DIR="$runtime"}
    ${QT_QPA_PLATFORM:+QT_QPA_PLATFORM="$QT_QPA_PLATFORM"})
  # A build folder that an earlier run as root left behind becomes the user's.
  if [ -e build-run ] && [ "$(stat -c %u build-run)" = 0 ]; then
    echo "build-run was built as root by an earlier run; it now belongs to $user."
    chown -R -h "$uid:$gid" build-run
  fi
}

if [ "$demo" = yes ]; then
  install_packages
  exec tools/demo.sh
fi

if [ "$(id -u)" -eq 0 ]; then
  user=${SUDO_USER:-}
  [ -n "$user" ] && [ "$user" != root ] ||
    fail "started as root with no user behind it: run it as yourself, or with sudo from your own login"
  install_packages
  run_as "$user"
else
  install_packages
fi
"${as_user[@]}" test -w . || fail "the build goes into $PWD, which is not writable for the user who runs it"
"${as_user[@]}" test ! -e build-run -o -O build-run ||
  fail "build-run belongs to another user: remove it first (sudo rm -rf build-run)"

"${as_user[@]}" cmake -S . -B build-run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF >/dev/null
"${as_user[@]}" cmake --build build-run --parallel "$(nproc)"
exec "${as_user[@]}" "build-run/TalvorenUninstaller/$program" "$@"
