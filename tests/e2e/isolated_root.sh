#!/usr/bin/env bash
# Runs a command inside a throwaway root in which the uninstaller finds, at
# their real absolute paths, everything it works on, while the host stays
# untouched:
#
#   isolated_root.sh [--scratch-parent DIR] -- COMMAND [ARGUMENT...]
#
# A private mount and PID namespace gets an overlay of "/" whose writable layer
# lives in a tmpfs, so nothing written inside reaches the disk, and the root is
# entered with chroot. Inside are the stand-ins for /usr/bin/tccutil,
# /usr/bin/defaults and /usr/bin/osascript (with the Finder service they talk
# to), the user "tester" (uid 2001, also in group "admin") and a fresh /tmp and
# /run. When the command ends, the namespace ends: its processes are killed and
# its mounts and files vanish. Needs root; fails loudly with the reason when the
# root cannot be built.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here
readonly tester_uid=2001 admin_gid=80

die() {
  echo "isolated root: $*" >&2
  exit 1
}

build_root() {
  local scratch=$1 root=$1/root
  mount -t tmpfs -o mode=0755 talvoren-scratch "$scratch" || die "cannot mount a tmpfs on $scratch"
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
  install -m 0755 "$here/standins/tccutil" "$here/standins/defaults" "$here/standins/osascript" "$root/usr/bin/"
  # Any user may append to the call log; the folder itself is root's.
  install -d -m 0755 "$root/var/lib/talvoren-standins"
  install -m 0666 /dev/null "$root/var/lib/talvoren-standins/calls.log"
  echo com.quvex.Talvoren.direct >"$root/var/lib/talvoren-standins/tcc-known-bundles"
  echo "tester:x:$tester_uid:$tester_uid:Talvoren Tester:/Users/tester:/bin/sh" >>"$root/etc/passwd"
  echo "tester:x:$tester_uid:" >>"$root/etc/group"
  echo "admin:x:$admin_gid:tester" >>"$root/etc/group"
  install -d -m 0755 "$root/Users" "$root/Applications"
  install -d -m 0700 -o "$tester_uid" -g "$tester_uid" "$root/run/user/$tester_uid"
  touch "$root/run/talvoren-isolated-root"
}

# Finder answers the osascript stand-in; it lives as long as the namespace.
start_finder() {
  local root=$1 ready
  coproc finder { chroot "$root" /usr/bin/python3 "$here/finder_service.py"; }
  read -r -t 10 ready <&"${finder[0]}" || true
  [ "${ready:-}" = ready ] || die "the Finder service did not start"
}

inside() {
  local scratch=$1
  shift
  build_root "$scratch"
  populate_root "$scratch/root"
  start_finder "$scratch/root"
  local status=0
  chroot "$scratch/root" /usr/bin/env PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin "$@" || status=$?
  return "$status"
}

outside() {
  local parent=${TMPDIR:-/tmp}
  if [ "${1:-}" = --scratch-parent ]; then
    parent=$2
    shift 2
  fi
  [ "${1:-}" = -- ] && shift
  [ $# -gt 0 ] || die "usage: isolated_root.sh [--scratch-parent DIR] -- COMMAND [ARGUMENT...]"
  [ "$(id -u)" -eq 0 ] || die "building the isolated root needs root (mount namespace, overlay, chroot)"
  command -v unshare >/dev/null || die "unshare (util-linux) is missing"

  local scratch status=0
  scratch=$(mktemp -d "$parent/talvoren-root.XXXXXX") || die "cannot create a scratch folder in $parent"
  unshare --mount --pid --fork --mount-proc --propagation private \
    "$0" --inside "$scratch" "$@" || status=$?
  rmdir "$scratch" || echo "isolated root: could not remove $scratch" >&2
  return "$status"
}

if [ "${1:-}" = --inside ]; then
  shift
  inside "$@"
else
  outside "$@"
fi
