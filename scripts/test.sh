#!/usr/bin/env bash
# Installs, builds and runs every test: the CTest suite (without the opt-in "vivid" label, which
# needs the vivid virtual machine), the syntax checks of the Windows-only sources and the checks of
# the installed tree and the .deb.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"

status=0
for check in "$root"/scripts/check-*.sh; do
    [ -x "$check" ] || continue
    "$check" || status=1
done
(cd "$build" && ctest --output-on-failure -LE vivid -j "$(nproc)") || status=1
exit $status
