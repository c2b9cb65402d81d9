#!/usr/bin/env bash
# The suite of tools/run.sh's choice of user, as CTest runs it: suite.py inside a fresh isolated root (root
# only), where the users and stand-ins it needs can be made without touching the host.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
repo=$(cd "$here/../.." && pwd)

[ "$(id -u)" -eq 0 ] || { echo "run command suite FAILED: the isolated root needs root" >&2; exit 1; }
exec "$repo/sandbox/isolated_root.sh" --carry "$repo" -- /usr/bin/python3 "$here/suite.py"
