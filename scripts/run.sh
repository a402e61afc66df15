#!/usr/bin/env bash
# Installs, builds and runs Tarvelo. Without a camera it offers the test tree's virtual camera;
# without a display it runs under Xvfb, takes a screenshot after a few seconds and prints its path.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"

if ! compgen -G '/dev/video*' >/dev/null; then
    export GST_PLUGIN_PATH="$build/tools/virtualcamera/plugin/gst${GST_PLUGIN_PATH:+:$GST_PLUGIN_PATH}"
    export GST_REGISTRY_1_0="$build/tests/gst-registry-run.bin"
fi
export QT_MEDIA_BACKEND=gstreamer

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$build/src/tarvelo"
fi

display=:$((90 + RANDOM % 100))
Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill "$app" "$xvfb" 2>/dev/null || true' EXIT
export DISPLAY=$display
for _ in $(seq 50); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.1; done 2>/dev/null || sleep 1
"$build/src/tarvelo" &
app=$!
sleep "${TARVELO_SCREENSHOT_DELAY:-5}"
shot="$build/tarvelo-screenshot.png"
gst-launch-1.0 -q ximagesrc display-name="$display" use-damage=false num-buffers=1 \
    ! videoconvert ! pngenc ! filesink location="$shot" >/dev/null 2>&1
echo "$shot"
