#!/usr/bin/env bash
# Builds and tests Tarvelo on Debian 13 (Qt 6.8, whose only multimedia back end there is FFmpeg,
# the one Qt uses on Windows): inside a Debian 13 root it installs the dependencies, builds the
# working tree and runs the CTest suite without the "vivid" label (offscreen, in a chroot); then it
# boots that root in the vivid virtual machine and runs the "vivid" checks there. The root is made
# once with debootstrap and reused. Needs root and the network to Debian's mirror. Slow (the first
# run takes half an hour or more), so it is not part of scripts/test.sh.
#   scripts/trixie-check.sh      root: $TARVELO_TRIXIE_ROOT, else ~/.cache/tarvelo/trixie-root
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

fail() { echo "trixie-check: $*" >&2; exit 2; }
step() { echo "== trixie-check: $*"; }

[ "$(id -u)" -eq 0 ] || fail "needs root (debootstrap, chroot, mounts)"
trixie=${TARVELO_TRIXIE_ROOT:-${XDG_CACHE_HOME:-$HOME/.cache}/tarvelo/trixie-root}
mkdir -p "$(dirname "$trixie")"
trixie=$(cd "$(dirname "$trixie")" && pwd -P)/$(basename "$trixie")
# The virtual machine mounts a fresh tmpfs on /tmp, hiding anything kept there.
case $trixie in
/tmp | /tmp/*) fail "$trixie is under /tmp, which the virtual machine replaces" ;;
esac

if [ ! -x "$trixie/usr/bin/apt-get" ]; then
    command -v debootstrap >/dev/null \
        || DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends debootstrap
    step "making a Debian 13 root in $trixie"
    rm -rf "$trixie.partial"
    debootstrap --variant=minbase trixie "$trixie.partial"
    mv "$trixie.partial" "$trixie"
fi

# The working tree as it is (uncommitted changes included). Only files whose content changed are
# replaced, so the build directory inside the root rebuilds just what changed.
source_dir=/opt/tarvelo/src
build_dir=/opt/tarvelo/build
incoming=$trixie/opt/tarvelo/incoming
step "copying the working tree to $trixie$source_dir"
rm -rf "$incoming"
mkdir -p "$incoming" "$trixie$source_dir"
(cd "$root" && git ls-files -z --cached --others --exclude-standard \
    | xargs -0 -r sh -c 'for f; do [ -e "$f" ] && printf "%s\0" "$f"; done' sh \
    | tar --null -T - -cf -) | tar -xf - -C "$incoming"
(cd "$incoming" && find . -type f -print0) | while IFS= read -r -d '' file; do
    target=$trixie$source_dir/$file
    cmp -s "$incoming/$file" "$target" && continue
    mkdir -p "$(dirname "$target")"
    rm -f "$target"
    cp "$incoming/$file" "$target"
done
(cd "$trixie$source_dir" && find . -type f -print0) | while IFS= read -r -d '' file; do
    [ -e "$incoming/$file" ] || rm -f "$trixie$source_dir/$file"
done
rm -rf "$incoming"

# shellcheck source=chroot-mounts.sh
. "$root/scripts/chroot-mounts.sh"
mount_kernel_filesystems "$trixie"

# The whole-window check finds the AT-SPI driver next to the source, as in a checkout.
atspi=${ATSPI_RIG:-$root/../shared/rigs/atspi}
[ -f "$atspi/session.sh" ] || fail "AT-SPI rig not found (shared/rigs/atspi; or set ATSPI_RIG)"
rm -rf "$trixie$source_dir/../shared/rigs/atspi"
mkdir -p "$trixie$source_dir/../shared/rigs"
cp -r "$atspi" "$trixie$source_dir/../shared/rigs/atspi"

step "installing the dependencies, building, running the tests without the vivid label"
unit_status=0
chroot "$trixie" /usr/bin/env -i HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    DEBIAN_FRONTEND=noninteractive QT_XCB_GL_INTEGRATION=none \
    bash -euo pipefail -c "
        $source_dir/scripts/install-deps.sh
        # What the virtual machine needs of the root: udevd for the device list, v4l2-ctl, and
        # what the whole-window check drives the program with.
        apt-get install -y -q --no-install-recommends udev kmod v4l-utils xvfb x11-utils dbus \
            at-spi2-core gir1.2-atspi-2.0 python3-gi python3-pyatspi imagemagick >/dev/null
        cmake -S $source_dir -B $build_dir -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
        nice cmake --build $build_dir -j 2
        cd $build_dir && ctest -LE vivid -j 1 --output-on-failure" || unit_status=$?
unmount_all
[ -x "$trixie$build_dir/tests/session/tst_session" ] || fail "the build in the root failed"

rig=${VIVID_RIG:-}
if [ -z "$rig" ]; then
    candidate="$root/../shared/rigs/vivid-vm/run.sh"
    [ -x "$candidate" ] && rig=$candidate
fi
[ -n "$rig" ] && [ -x "$rig" ] || fail "vivid rig not found (shared/rigs/vivid-vm/run.sh; or set VIVID_RIG)"

# Qt's software OpenGL crashed under the emulator; the tests draw nothing on screen anyway.
step "running the vivid checks in the virtual machine booted with the Debian 13 root"
vivid_status=0
"$rig" -r "$trixie" -t "${VIVID_TIMEOUT:-900}" -e QT_XCB_GL_INTEGRATION=none \
    "cd $build_dir && ctest -L vivid --output-on-failure" || vivid_status=$?

step "tests without the vivid label: exit $unit_status; vivid checks: exit $vivid_status"
[ "$unit_status" -eq 0 ] && [ "$vivid_status" -eq 0 ]
