#!/usr/bin/env bash
# Builds and runs the recording figures under Xvfb (see run.sh). Optional argument: the length of
# the timed recordings in seconds (60 unless told).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
"$root/scripts/build.sh"
session=()
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ] && command -v dbus-run-session >/dev/null; then
    session=(dbus-run-session --)
fi
exec "${session[@]}" xvfb-run -a -s "-screen 0 1920x1080x24" "$build/bench/tarvelo_recordbench" "$@"
