#!/usr/bin/env bash
# Starts the real uninstaller on a virtual X display, with a throwaway home so
# nothing of the real one is read or written, and writes PNGs of what it shows.
#   tools/screenshot.sh [SHOT...]      (default: all four)
# SHOT is one of
#   window        the window as it opens                 -> docs/window.png
#   confirmation  the question Full Uninstall asks        -> docs/confirmation.png
#   details       that question on a throwaway installation, its preview
#                 unfolded with "Show Details..."        -> docs/confirmation-details.png
#   report        the completion dialog of Remove AI Model on a throwaway
#                 installation whose manifest names a path with a line feed,
#                 so that one report line takes two rows -> docs/report-multirow.png
# OUT_DIR chooses the folder (default docs), BUILD_DIR the build folder
# (default build-screenshot).
set -euo pipefail
cd "$(dirname "$0")/.."

out=${OUT_DIR:-docs}
build=${BUILD_DIR:-build-screenshot}
shots=("$@")
[[ ${#shots[@]} -gt 0 ]] || shots=(window confirmation details report)
for shot in "${shots[@]}"; do
  case $shot in
    window | confirmation | details | report) ;;
    *) echo "unknown shot '$shot': window, confirmation, details or report" >&2; exit 2 ;;
  esac
done

if [[ ${SCREENSHOT_INSIDE_DISPLAY:-} != 1 ]]; then
  tools/install-deps.sh $(cat tools/build-deps.txt) xvfb xauth imagemagick xdotool python3
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null
  cmake --build "$build" --target TalvorenUninstaller --parallel 2
  export SCREENSHOT_INSIDE_DISPLAY=1 BUILD_DIR=$build OUT_DIR=$out
  exec xvfb-run -a -s "-screen 0 1280x800x24" "$0" "${shots[@]}"
fi

# From here on we are on the virtual display.
home= app_pid= main_window=
stop_program() {
  if [[ -n $app_pid ]]; then
    kill "$app_pid" 2>/dev/null || true
    wait "$app_pid" 2>/dev/null || true
  fi
  app_pid=
  [[ -z $home ]] || rm -rf "$home"
  home=
}
trap stop_program EXIT

# The controls' frames in the window, as the window suite checks them.
button_centre() {
  python3 -c 'import json, sys
frame = next(c["frame"] for c in json.load(open(sys.argv[1]))["controls"] if c["name"] == sys.argv[2])
print(frame[0] + frame[2] // 2, frame[1] + frame[3] // 2)' tests/data/tables/window.json "$1"
}

# Waits up to 20 s for `command` to print a window id, and prints it.
wait_for_window() {
  local id
  for _ in $(seq 1 100); do
    id=$("$@" 2>/dev/null | head -n 1) || true
    if [[ -n $id ]]; then
      echo "$id"
      return
    fi
    sleep 0.2
  done
  echo "no window appeared ($*)" >&2
  exit 1
}

# A window of the program other than the main one: the dialog in front.
dialog_window() {
  xdotool search --onlyvisible --pid "$app_pid" | grep -vx "$main_window"
}

# Starts the program on a fresh home and waits for its window, found by its
# title among the mapped windows (import given a name it cannot find yet would
# wait for a mouse click).
start_program() {
  home=$(mktemp -d)
  mkdir -m 700 "$home/.runtime"
  if [[ ${1:-} = --installation ]]; then
    python3 sandbox/make_installation.py "$home"
    add_component_with_line_feed "$home"
  fi
  HOME=$home XDG_RUNTIME_DIR=$home/.runtime XDG_CONFIG_HOME=$home/.config XDG_DATA_HOME=$home/.local/share \
    XDG_CACHE_HOME=$home/.cache QT_QPA_PLATFORM=xcb "$build/TalvorenUninstaller/TalvorenUninstaller" &
  app_pid=$!
  main_window=$(wait_for_window xdotool search --onlyvisible --name '^Uninstall Talvoren$')
  sleep 1  # let the first paint and the second placement settle
}

# A model that the manifest names at a path, outside the app's folders, with a
# line feed in it: the report says it was left alone and shows the path.
add_component_with_line_feed() {
  python3 - "$1" <<'EOF'
import json, sys
sys.path.insert(0, "sandbox")
from make_installation import component, locations
home = sys.argv[1]
manifest_path = locations(home)["manifest"]
with open(manifest_path, encoding="utf-8") as source:
    manifest = json.load(source)
manifest["components"].append(component("model:shared", "model-file", home + "/Shared Models/Voice\nlarge.bin", "model"))
with open(manifest_path, "w", encoding="utf-8") as target:
    json.dump(manifest, target, indent=2)
EOF
}

# Keys go to the focused window: X ignores those sent to a window directly.
key() {
  xdotool windowfocus --sync "$1" key --clearmodifiers "$2"
}

press() {
  local x y
  read -r x y < <(button_centre "$1")
  xdotool mousemove --window "$main_window" "$x" "$y" click 1
}

capture() {
  mkdir -p "$out"
  import -window "$1" -strip "$out/$2"
  echo "wrote $out/$2 ($(identify -format '%wx%h' "$out/$2"))"
}

for shot in "${shots[@]}"; do
  case $shot in
    window)
      start_program
      capture "$main_window" window.png
      ;;
    confirmation)
      start_program
      press "Full Uninstall"
      dialog=$(wait_for_window dialog_window)
      sleep 0.5
      capture "$dialog" confirmation.png
      key "$dialog" Escape
      ;;
    details)
      start_program --installation
      press "Full Uninstall"
      dialog=$(wait_for_window dialog_window)
      sleep 0.5
      # "Show Details..." is the first button of the dialog's bottom row.
      eval "$(xdotool getwindowgeometry --shell "$dialog")"
      xdotool mousemove --window "$dialog" 60 $((HEIGHT - 30)) click 1
      sleep 2  # the preview is worked out, then the dialog grows to show it
      capture "$dialog" confirmation-details.png
      key "$dialog" Escape
      ;;
    report)
      start_program --installation
      press "Remove AI Model"
      question=$(wait_for_window dialog_window)
      key "$question" Return
      # The question closes and the completion dialog opens in its place.
      dialog=$(wait_for_window eval 'dialog_window | grep -vx "$question"')
      sleep 0.5
      capture "$dialog" report-multirow.png
      echo "report of this run:"
      sed -n '/Action report:/,$p' "$home/Library/Logs/Talvoren-Uninstaller.log"
      ;;
  esac
  stop_program
done
