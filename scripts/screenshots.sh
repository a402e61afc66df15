#!/usr/bin/env bash
# Installs and builds Tarvelo, then photographs its window under Xvfb with the virtual camera, once
# in Chinese and once in English, into docs/ (the pictures the README shows). Each run has its own
# temporary home whose settings choose the language. TARVELO_SCREENSHOT_DELAY (default 6) is the
# number of seconds to wait for the live picture.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
out=$root/docs
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"

tmp=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    rm -rf "$tmp"
}
trap cleanup EXIT

Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$tmp/display" >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 50); do [ -s "$tmp/display" ] && break; sleep 0.1; done
export DISPLAY=:$(cat "$tmp/display")
export QT_MEDIA_BACKEND=gstreamer
# Only the virtual camera, from the build tree, with a registry of its own.
export GST_PLUGIN_PATH="$build/tools/virtualcamera/plugin/gst"
export GST_REGISTRY_1_0="$tmp/gst-registry.bin"
export GST_PLUGIN_FEATURE_RANK="v4l2deviceprovider:NONE,pipewiredeviceprovider:NONE,libcameraprovider:NONE"
unset TARVELO_VIRTUAL_CAMERAS

mkdir -p "$out"
for language in zh_CN en_US; do
    home=$tmp/home-$language
    mkdir -p "$home/.config/Mossgrove"
    printf '[ui]\nlanguage=%s\n' "$language" >"$home/.config/Mossgrove/Tarvelo.conf"
    HOME=$home XDG_CONFIG_HOME=$home/.config XDG_RUNTIME_DIR=$tmp \
        "$build/src/tarvelo" &
    app=$!
    pids+=("$app")
    sleep "${TARVELO_SCREENSHOT_DELAY:-6}"
    # The main window's size and absolute position, e.g. "1180x742+0+0 +0+0"; only it is kept.
    read -r w h x y < <(xwininfo -root -tree | awk '/"Tarvelo v/ {
        split($(NF - 1), size, /[x+]/); split($NF, at, /\+/); print size[1], size[2], at[2], at[3]; exit }')
    [ -n "${w:-}" ] || { echo "screenshots: the window did not appear" >&2; exit 1; }
    shot="$out/screenshot-$language.png"
    gst-launch-1.0 -q ximagesrc display-name="$DISPLAY" use-damage=false show-pointer=false \
        startx="$x" starty="$y" endx=$((x + w - 1)) endy=$((y + h - 1)) num-buffers=1 \
        ! videoconvert ! pngenc compression-level=9 ! filesink location="$shot" >/dev/null 2>&1
    kill "$app"
    wait "$app" 2>/dev/null || true
    echo "$shot"
done
