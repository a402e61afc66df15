#!/usr/bin/env bash
# Runs a build directory's "vivid"-labelled tests (the V4L2 backend against the kernel's vivid
# driver) inside the vivid virtual machine, which boots this machine's root around them. Builds
# nothing: build first. Slow (one to three minutes), so it is not part of scripts/test.sh.
#   scripts/vivid-check.sh [BUILD_DIR]     default: $TARVELO_BUILD_DIR, else build/
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

fail() { echo "vivid-check: $*" >&2; exit 2; }

build=${1:-${TARVELO_BUILD_DIR:-$root/build}}
[ -f "$build/CTestTestfile.cmake" ] || fail "$build is not a configured build directory"
build=$(cd "$build" && pwd -P)
# The guest mounts a fresh tmpfs on /tmp, hiding anything built there.
case $build in
/tmp | /tmp/*) fail "$build is under /tmp, which the virtual machine replaces; build elsewhere" ;;
esac

# What the rig boots with, and what the whole-window checks drive the program with (a display, the
# accessibility bus); installed on first use.
rig_packages=(qemu-system-x86 linux-image-amd64 v4l-utils busybox-static xvfb x11-utils dbus
    at-spi2-core gir1.2-atspi-2.0 python3-gi python3-pyatspi imagemagick)
missing=()
for package in "${rig_packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' \
        || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

rig=${VIVID_RIG:-}
if [ -z "$rig" ]; then
    candidate="$root/../shared/rigs/vivid-vm/run.sh"
    [ -x "$candidate" ] && rig=$candidate
fi
[ -n "$rig" ] && [ -x "$rig" ] || fail "vivid rig not found (shared/rigs/vivid-vm/run.sh; or set VIVID_RIG)"

count=$(cd "$build" && ctest -N -L vivid | sed -n 's/^Total Tests: //p')
[ "${count:-0}" -gt 0 ] || fail "$build has no tests labelled vivid"

exec "$rig" -t "${VIVID_TIMEOUT:-600}" "cd $(printf %q "$build") && ctest -L vivid --output-on-failure"
