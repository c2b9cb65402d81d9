#!/usr/bin/env bash
# Runs a command inside a throwaway root that holds, at their real paths,
# everything the uninstaller works on, while the host stays untouched:
#
#   isolated_root.sh [--scratch-parent DIR] [--carry DIR]... [--on-disk] [--share-display] -- COMMAND [ARGUMENT...]
#
# A private mount and PID namespace gets an overlay of "/" (its writable layer
# in a tmpfs, or with --on-disk in SCRATCH/upper, for the host to look at),
# entered with chroot. Inside: the stand-ins for tccutil, defaults and
# osascript (with their Finder service), the user "tester" (uid 2001, in group
# "admin") and a fresh /tmp and /run. --carry DIR shows the host's DIR there
# read-only (the harness's own folder always); --share-display lets programs
# inside use the host's $DISPLAY. The command sees the scratch folder as
# $TALVOREN_SCRATCH. Needs root; fails loudly when the root cannot be built.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here
readonly tester_uid=2001 admin_gid=80

die() {
  echo "isolated root: $*" >&2
  exit 1
}

build_root() {
  local scratch=$1 on_disk=$2 root=$1/root
  if [ "$on_disk" = no ]; then
    mount -t tmpfs -o mode=0755 talvoren-scratch "$scratch" || die "cannot mount a tmpfs on $scratch"
  fi
  mkdir "$scratch/upper" "$scratch/work" "$root"
  mount -t overlay talvoren-root -o "lowerdir=/,upperdir=$scratch/upper,workdir=$scratch/work" "$root" ||
    die "cannot mount an overlay of / (is overlayfs available?)"
  mount -t proc proc "$root/proc" || die "cannot mount /proc for the new PID namespace"
  mount --rbind /dev "$root/dev" || die "cannot bind /dev"
  mount --rbind /sys "$root/sys" || die "cannot bind /sys"
  mount -t tmpfs -o mode=1777 talvoren-tmp "$root/tmp" || die "cannot mount /tmp"
  mount -t tmpfs -o mode=0755 talvoren-run "$root/run" || die "cannot mount /run"
}

populate_root() {
  local root=$1
  local tool
  for tool in tccutil defaults osascript; do install -m 0755 "$here/standin.py" "$root/usr/bin/$tool"; done
  # Any user may append to the call log; the folder itself is root's.
  install -d -m 0755 "$root/var/lib/talvoren-standins"
  install -m 0666 /dev/null "$root/var/lib/talvoren-standins/calls.log"
  echo com.quvex.Talvoren.direct >"$root/var/lib/talvoren-standins/tcc-known-bundles"
  # Only the root's copies change; any host entries of these names give way.
  sed -i -e '/^tester:/d' "$root/etc/passwd" "$root/etc/shadow"
  sed -i -e '/^tester:/d' -e '/^admin:/d' "$root/etc/group"
  echo "tester:x:$tester_uid:$tester_uid:Talvoren Tester:/Users/tester:/bin/sh" >>"$root/etc/passwd"
  echo "tester:x:$tester_uid:" >>"$root/etc/group"
  echo "admin:x:$admin_gid:tester" >>"$root/etc/group"
  install -d -m 0755 "$root/Users" "$root/Applications"
  install -d -m 0700 -o "$tester_uid" -g "$tester_uid" "$root/run/user/$tester_uid"
  touch "$root/run/talvoren-isolated-root"
}

carry() {
  local root=$1 dir
  shift
  for dir in "$@"; do
    mkdir -p "$root$dir" || die "cannot make $dir inside the root"
    mount --bind -o ro "$dir" "$root$dir" || die "cannot carry $dir into the root"
  done
}

# The host's X sockets, read-only, and a copy of the display's cookie that the
# user "tester" can read.
share_display() {
  local root=$1 cookie=${XAUTHORITY:-${HOME:-/root}/.Xauthority}
  [ -n "${DISPLAY:-}" ] || die "--share-display needs DISPLAY"
  # Under sudo the cookie is usually in the invoking user's home.
  if [ ! -r "$cookie" ] && [ -n "${SUDO_USER:-}" ]; then
    cookie=$(getent passwd "$SUDO_USER" | cut -d: -f6)/.Xauthority
  fi
  if [ -d /tmp/.X11-unix ]; then
    mkdir "$root/tmp/.X11-unix"
    mount --bind -o ro /tmp/.X11-unix "$root/tmp/.X11-unix" || die "cannot bind /tmp/.X11-unix"
  fi
  if [ -r "$cookie" ]; then
    install -m 0644 "$cookie" "$root/run/talvoren-display.xauth"
    export XAUTHORITY=/run/talvoren-display.xauth
  fi
}

# Finder answers the osascript stand-in; it lives as long as the namespace.
start_finder() {
  local root=$1 ready
  coproc finder { chroot "$root" /usr/bin/python3 "$here/finder_service.py"; }
  read -r -t 10 ready <&"${finder[0]}" || true
  [ "${ready:-}" = ready ] || die "the Finder service did not start"
}

inside() {
  local scratch=$1 on_disk=$2 display=$3 carried
  IFS=: read -r -a carried <<<"$4"
  shift 4
  build_root "$scratch" "$on_disk"
  populate_root "$scratch/root"
  carry "$scratch/root" "${carried[@]}"
  [ "$display" = yes ] && share_display "$scratch/root"
  start_finder "$scratch/root"
  local status=0
  TALVOREN_SCRATCH=$scratch chroot "$scratch/root" \
    /usr/bin/env PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin "$@" || status=$?
  return "$status"
}

outside() {
  local parent=${TMPDIR:-/tmp} on_disk=no display=no carried=$here
  while [ $# -gt 0 ]; do
    case $1 in
      --scratch-parent) parent=$2; shift 2 ;;
      --carry) carried+=:$(realpath "$2"); shift 2 ;;
      --on-disk) on_disk=yes; shift ;;
      --share-display) display=yes; shift ;;
      --) shift; break ;;
      *) break ;;
    esac
  done
  [ $# -gt 0 ] || die "usage: isolated_root.sh [--scratch-parent DIR] [--carry DIR]... [--on-disk] [--share-display] -- COMMAND..."
  [ "$(id -u)" -eq 0 ] || die "building the isolated root needs root (mount namespace, overlay, chroot)"
  command -v unshare >/dev/null || die "unshare (util-linux) is missing"

  local scratch status=0
  scratch=$(mktemp -d "$parent/talvoren-root.XXXXXX") || die "cannot create a scratch folder in $parent"
  # A network namespace of its own keeps abstract sockets, such as those of
  # an X server started inside, apart from any other isolated root running at
  # the same time; a shared display may need the host's network.
  local network=--net
  [ "$display" = yes ] && network=
  unshare --mount --pid $network --fork --mount-proc --propagation private \
    "$0" --inside "$scratch" "$on_disk" "$display" "$carried" "$@" || status=$?
  # On disk the overlay's layers stay behind once unmounted; in a tmpfs they
  # went with it and only the empty mount point is left.
  if [ "$on_disk" = yes ]; then
    rm -rf --one-file-system "$scratch" || echo "isolated root: could not remove $scratch" >&2
  else
    rmdir "$scratch" || echo "isolated root: could not remove $scratch" >&2
  fi
  return "$status"
}

if [ "${1:-}" = --inside ]; then
  shift
  inside "$@"
else
  outside "$@"
fi
