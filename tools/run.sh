#!/usr/bin/env bash
# Builds the uninstaller and starts it; with --demo, on a throwaway installation.
set -euo pipefail
cd "$(dirname "$0")/.."

# --demo: the same program on a throwaway installation that any button may
# clean up; the program itself still takes no arguments.
if [ "${1:-}" = --demo ]; then
  tools/install-deps.sh $(cat tools/build-deps.txt tools/test-deps.txt)
  exec tools/demo.sh
fi

tools/install-deps.sh $(cat tools/build-deps.txt)
cmake -S . -B build-run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF >/dev/null
cmake --build build-run --parallel "$(nproc)"
exec build-run/TalvorenUninstaller/TalvorenUninstaller
