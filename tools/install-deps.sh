#!/usr/bin/env bash
# Installs whichever of the named Debian packages are missing, without a prompt.
#   install-deps.sh [--check] PACKAGE...
# With --check it installs nothing: it names the missing ones and fails.
set -euo pipefail

check=no
if [ "${1:-}" = --check ]; then
  check=yes
  shift
fi

missing=()
for package in "$@"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$check" = yes ]; then
  echo "Missing packages: ${missing[*]}"
  exit 1
fi
echo "Installing: ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  echo "These packages are missing and installing them needs root: ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}"
