#!/usr/bin/env bash
# Builds and runs the camera stress under Xvfb, with the program's default settings.
#   bench/stress.sh [--seed N] [--actions N]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
exec xvfb-run -a -s "-screen 0 1920x1080x24" "$build/bench/tarvelo_stress" "$@"
