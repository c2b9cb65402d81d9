#!/usr/bin/env bash
# Builds the uninstaller and starts it.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/install-deps.sh $(cat tools/build-deps.txt)
cmake -S . -B build-run -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF >/dev/null
cmake --build build-run --parallel "$(nproc)"
exec build-run/TalvorenUninstaller/TalvorenUninstaller
