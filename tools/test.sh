#!/usr/bin/env bash
# Builds the uninstaller and runs every test: once in an ordinary build and
# once under AddressSanitizer and UndefinedBehaviorSanitizer, with a short
# fuzz run of the manifest reader in between.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/install-deps.sh $(cat tools/build-deps.txt tools/test-deps.txt)

jobs=$(nproc)
build() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug "$@" >/dev/null
  cmake --build "$dir" --parallel "$jobs"
}

# GUI suites use Qt's offscreen platform; no display is needed.
export QT_QPA_PLATFORM=offscreen

echo "== Build and test"
build build
ctest --test-dir build --output-on-failure --parallel "$jobs"

# Both sanitized runs below stop at the first report.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export LSAN_OPTIONS="suppressions=$PWD/tools/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# The manifest reader's libFuzzer target, in a clang build of its own, seeded
# with the JSON conformance cases and run briefly.
if command -v clang++ >/dev/null; then
  echo "== Fuzz the manifest reader"
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DTALVOREN_SANITIZE=ON -DTALVOREN_FUZZ=ON >/dev/null
  cmake --build build-fuzz --parallel "$jobs" --target manifest_fuzz
  corpus=$(mktemp -d)
  trap 'rm -rf "$corpus"' EXIT
  build-fuzz/tests/manifest_fuzz -runs=20000 -max_total_time=30 -timeout=10 -artifact_prefix=build-fuzz/ \
    "$corpus" tests/data/fuzz-seeds tests/data/json-conformance
fi

# Last, so that the test runner's summary closes the output.
echo "== Build and test under AddressSanitizer and UndefinedBehaviorSanitizer"
build build-sanitize -DTALVOREN_SANITIZE=ON
ctest --test-dir build-sanitize --output-on-failure --parallel "$jobs"
