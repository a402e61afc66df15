#!/usr/bin/env bash
# Builds Tarvelo and its tests with AddressSanitizer and UndefinedBehaviorSanitizer into
# build-sanitize/ (or $TARVELO_SANITIZE_DIR) and runs the suite there, as scripts/test.sh does.
# Leaks are not reported: Qt, GStreamer and the drivers keep process-lifetime allocations.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TARVELO_SANITIZE_DIR:-$root/build-sanitize}
"$root/scripts/install-deps.sh"
# The C++ code only: the virtual camera is a GStreamer plug-in that GStreamer's own plug-in
# scanner, a process without the sanitizers, also loads.
flags="-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined"
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" -j "$(nproc)"
cd "$build" && ctest --output-on-failure -LE vivid -j "$(nproc)"
