#!/usr/bin/env bash
# isolated_root.sh [--scratch-parent DIR] [--carry DIR]... [--on-disk] [--share-display] -- COMMAND...
# Runs COMMAND as root in a private mount, PID and network namespace, chrooted into an overlay of "/" (its
# writable layer in a tmpfs, or with --on-disk in $TALVOREN_SCRATCH/upper for the host to look at) that holds
# the stand-ins (standin.py), the user "tester" (uid 2001, in group "admin") and a fresh /tmp and /run.
# --carry shows a host folder there read-only (this one always); --share-display passes the host's $DISPLAY.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here tester_uid=2001

build_root() {
  local scratch=$1 on_disk=$2 root=$1/root
  [ "$on_disk" = yes ] || mount -t tmpfs -o mode=0755 talvoren-scratch "$scratch"
  mkdir "$scratch/upper" "$scratch/work" "$root"
  mount -t overlay talvoren-root -o "lowerdir=/,upperdir=$scratch/upper,workdir=$scratch/work" "$root"
  mount -t proc proc "$root/proc"
  mount --rbind /dev "$root/dev"
  mount --rbind /sys "$root/sys"
  mount -t tmpfs -o mode=1777 talvoren-tmp "$root/tmp"
  mount -t tmpfs -o mode=0755 talvoren-run "$root/run"
}

populate_root() {
  local root=$1 state=$1/var/lib/talvoren-standins tool
  for tool in tccutil defaults osascript; do install -m 0755 "$here/standin.py" "$root/usr/bin/$tool"; done
  install -d -m 0755 "$state" "$root/Users" "$root/Applications"
  # Any user may append to the call log; the folder itself is root's.
  install -m 0666 /dev/null "$state/calls.log"
  echo com.quvex.Talvoren.direct >"$state/tcc-known-bundles"
  echo perform >"$state/finder-mode"
  # Only the root's copies change; any host entries of these names give way.
  sed -i -e '/^tester:/d' "$root/etc/passwd" "$root/etc/shadow"
  sed -i -e '/^tester:/d' -e '/^admin:/d' "$root/etc/group"
  echo "tester:x:$tester_uid:$tester_uid:Talvoren Tester:/Users/tester:/bin/sh" >>"$root/etc/passwd"
  printf 'tester:x:%d:\nadmin:x:80:tester\n' "$tester_uid" >>"$root/etc/group"
  install -d -m 0700 -o "$tester_uid" -g "$tester_uid" "$root/run/user/$tester_uid"
  touch "$root/run/talvoren-isolated-root"
}

# The host's X sockets, read-only, and a copy of the display's cookie that "tester" can read.
share_display() {
  local root=$1 cookie=${XAUTHORITY:-${HOME:-/root}/.Xauthority}
  # Under sudo the cookie is usually in the invoking user's home.
  if [ ! -r "$cookie" ] && [ -n "${SUDO_USER:-}" ]; then
    cookie=$(getent passwd "$SUDO_USER" | cut -d: -f6)/.Xauthority
  fi
  if [ -d /tmp/.X11-unix ]; then
    mkdir "$root/tmp/.X11-unix"
    mount --bind -o ro /tmp/.X11-unix "$root/tmp/.X11-unix"
  fi
  if [ -r "$cookie" ]; then
    install -m 0644 "$cookie" "$root/run/talvoren-display.xauth"
    export XAUTHORITY=/run/talvoren-display.xauth
  fi
}

inside() {
  local scratch=$1 on_disk=$2 display=$3 root=$1/root carried dir ready
  IFS=: read -r -a carried <<<"$4"
  shift 4
  build_root "$scratch" "$on_disk"
  populate_root "$root"
  for dir in "${carried[@]}"; do
    mkdir -p "$root$dir"
    mount --bind -o ro "$dir" "$root$dir"
  done
  [ "$display" = no ] || share_display "$root"
  # Finder lives as long as the namespace.
  coproc finder { chroot "$root" /usr/bin/python3 "$here/standin.py"; }
  read -r -t 10 ready <&"${finder[0]}" && [ "$ready" = ready ] || { echo "Finder did not start" >&2; exit 1; }
  TALVOREN_SCRATCH=$scratch chroot "$root" /usr/bin/env PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin "$@"
}

outside() {
  local parent=${TMPDIR:-/tmp} on_disk=no display=no carried=$here network=--net scratch status=0
  while [ "${1:-}" != -- ]; do
    case $1 in
      --scratch-parent) parent=$2; shift ;;
      --carry) carried+=:$(realpath "$2"); shift ;;
      --on-disk) on_disk=yes ;;
      # The host's display may need the host's network (abstract sockets).
      --share-display) display=yes network= ;;
    esac
    shift
  done
  shift
  scratch=$(mktemp -d "$parent/talvoren-root.XXXXXX")
  # A network namespace of its own keeps abstract sockets, such as an X server's, apart from any other
  # isolated root running at the same time.
  unshare --mount --pid $network --fork --mount-proc --propagation private \
    "$0" --inside "$scratch" "$on_disk" "$display" "$carried" "$@" || status=$?
  # In a tmpfs the layers went with the namespace and only the empty mount point is left.
  if [ "$on_disk" = yes ]; then rm -rf --one-file-system "$scratch"; else rmdir "$scratch"; fi
  return "$status"
}

if [ "${1:-}" = --inside ]; then
  shift
  inside "$@"
else
  outside "$@"
fi
