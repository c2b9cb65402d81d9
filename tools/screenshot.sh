#!/usr/bin/env bash
# Starts the real uninstaller on a virtual X display, with a throwaway home so
# nothing of the real one is read or written, and writes a PNG of its window.
#   tools/screenshot.sh [output.png]      (default docs/window.png)
# BUILD_DIR chooses the build folder (default build-screenshot).
set -euo pipefail
cd "$(dirname "$0")/.."

out=${1:-docs/window.png}
build=${BUILD_DIR:-build-screenshot}

if [[ ${SCREENSHOT_INSIDE_DISPLAY:-} != 1 ]]; then
  tools/install-deps.sh $(cat tools/build-deps.txt) xvfb xauth imagemagick x11-utils
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null
  cmake --build "$build" --target TalvorenUninstaller --parallel 2
  export SCREENSHOT_INSIDE_DISPLAY=1 BUILD_DIR=$build
  exec xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$out"
fi

# From here on we are on the virtual display.
home=$(mktemp -d)
app_pid=
cleanup() {
  if [[ -n $app_pid ]]; then
    kill "$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
  fi
  rm -rf "$home"
}
trap cleanup EXIT

mkdir -m 700 "$home/.runtime"
HOME=$home XDG_RUNTIME_DIR=$home/.runtime XDG_CONFIG_HOME=$home/.config XDG_DATA_HOME=$home/.local/share XDG_CACHE_HOME=$home/.cache \
  QT_QPA_PLATFORM=xcb "$build/TalvorenUninstaller/TalvorenUninstaller" &
app_pid=$!

# The window appears once the program has started; find it by its title and
# capture it by its id (import given a name it cannot find yet would wait for
# a mouse click instead).
mkdir -p "$(dirname "$out")"
for _ in $(seq 1 100); do
  id=$(xwininfo -name "Uninstall Talvoren" 2>/dev/null | awk '/Window id:/ {print $4}') || true
  if [[ -n $id ]]; then
    sleep 1  # let the first paint and the second placement settle
    import -window "$id" -strip "$out"
    echo "wrote $out ($(identify -format '%wx%h' "$out"))"
    echo "log of this run:"
    cat "$home/Library/Logs/Talvoren-Uninstaller.log"
    exit 0
  fi
  sleep 0.2
done
echo "the uninstaller window did not appear" >&2
exit 1
