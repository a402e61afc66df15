#!/usr/bin/env bash
# Builds and runs the benchmarks under Xvfb, with the program's default settings. A desktop
# session has a D-Bus session bus; without one Qt's accessibility bridge waits for a bus that a
# bare Xvfb never provides, which no user sees, so the benchmark runs inside a bus of its own.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
session=()
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ] && command -v dbus-run-session >/dev/null; then
    session=(dbus-run-session --)
fi
exec "${session[@]}" xvfb-run -a -s "-screen 0 1920x1080x24" "$build/bench/tarvelo_bench" "$@"
