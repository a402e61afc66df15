#!/usr/bin/env bash
# Proves the .deb complete on a brand-new Debian 12: a copy of a pristine debootstrap root gets
# `apt install ./tarvelo_*.deb` and nothing else of the program's, then the installed program runs
# under Xvfb with the virtual camera and must show a live picture. Also installs twice, upgrades over
# an earlier package and removes it, and checks that no file is left behind. Needs root and the
# network to Debian's mirror; slow (the first run makes the root), so it is not part of test.sh.
#   scripts/package-check.sh [BUILD_DIR]     default: $TARVELO_BUILD_DIR, else build/
#   roots: $TARVELO_BOOKWORM_ROOT, else ~/.cache/tarvelo/bookworm-root (pristine, made once), and a
#   working copy beside it made afresh on every run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-${TARVELO_BUILD_DIR:-$root/build}}
build=$(cd "$build" && pwd -P)

fail() { echo "package-check: $*" >&2; exit 1; }
step() { echo "== package-check: $*"; }

[ "$(id -u)" -eq 0 ] || fail "needs root (debootstrap, chroot, mounts)"
pristine=${TARVELO_BOOKWORM_ROOT:-${XDG_CACHE_HOME:-$HOME/.cache}/tarvelo/bookworm-root}
work=$pristine-work
if [ ! -x "$pristine/usr/bin/apt-get" ]; then
    command -v debootstrap >/dev/null \
        || DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends debootstrap
    step "making a Debian 12 root in $pristine"
    mkdir -p "$(dirname "$pristine")"
    rm -rf "$pristine.partial"
    debootstrap --variant=minbase bookworm "$pristine.partial"
    mv "$pristine.partial" "$pristine"
fi

step "making the packages: the current one and an earlier version to upgrade from"
debs=$work.debs
rm -rf "$debs" && mkdir -p "$debs"
(cd "$debs" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$debs" >/dev/null 2>&1 \
    && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$debs/earlier" \
        -D CPACK_PACKAGE_VERSION=0.9.3 >/dev/null 2>&1)
current=$(find "$debs" -maxdepth 1 -name 'tarvelo_*.deb')
earlier=$(find "$debs/earlier" -maxdepth 1 -name 'tarvelo_0.9.3_*.deb')
[ -n "$current" ] && [ -n "$earlier" ] || fail "cpack made no packages"
expected=$(cd "$debs" && rm -rf tree && cmake --install "$build" --prefix tree/usr >/dev/null \
    && cd tree && find . -type f | sed 's/^\.//' | sort)

step "copying the pristine root to $work"
rm -rf "$work" "$work.log"
cp -a "$pristine" "$work"
mkdir -p "$work/opt/check"
cp "$current" "$earlier" "$work/opt/check/"
cp "$build"/tools/virtualcamera/plugin/gst/*.so "$work/opt/check/"

# shellcheck source=chroot-mounts.sh
. "$root/scripts/chroot-mounts.sh"
mount_kernel_filesystems "$work" dev/pts dev/shm
in_root() {
    chroot "$work" /usr/bin/env -i HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        DEBIAN_FRONTEND=noninteractive bash -euo pipefail -c "$1"
}
# apt's and dpkg's chatter goes to a log, shown only when a step fails.
log=$work.log
quietly() { in_root "$1" >>"$log" 2>&1 || fail "failed: $1 (see $log)"; }
# Everything a package could leave behind; the home folder, logs and apt's own state are not.
snapshot() {
    in_root 'find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /root \
        -o -path /var/log -o -path /var/cache -o -path /var/lib/apt -o -path /var/lib/dpkg \
        -o -path /opt/check -o -path /run \) -prune -o -print | sort'
}

step "apt install of the earlier package, which brings the dependencies"
quietly "apt-get update -q && apt-get install -y -q /opt/check/$(basename "$earlier")"
quietly "dpkg --purge tarvelo"
before=$(snapshot)

step "install, upgrade to $(basename "$current"), install it again"
quietly "apt-get install -y -q /opt/check/$(basename "$earlier")"
quietly "apt-get install -y -q /opt/check/$(basename "$current")"
quietly "apt-get install -y -q --reinstall /opt/check/$(basename "$current")"
owned=$(in_root 'dpkg -L tarvelo | while read -r f; do [ -f "$f" ] && echo "$f"; done | sort')
[ "$owned" = "$expected" ] || fail "dpkg -L differs from the install tree:"$'\n'"$(diff <(echo "$expected") <(echo "$owned"))"

step "starting the installed program under Xvfb with the virtual camera"
# The X server runs outside the root, so that nothing but the package and what it depends on is
# installed there; the program reaches it through the abstract socket the two share.
screens=$(mktemp -d)
display=:$((90 + RANDOM % 100))
Xvfb "$display" -screen 0 1280x900x24 -nolisten tcp -fbdir "$screens" >/dev/null 2>&1 &
xvfb=$!
for _ in $(seq 100); do [ -e "$screens/Xvfb_screen0" ] && break; sleep 0.1; done
sleep 1
in_root "mkdir -p -m 700 /tmp/runtime
    DISPLAY=$display GST_PLUGIN_PATH=/opt/check XDG_RUNTIME_DIR=/tmp/runtime tarvelo &
    echo \$! >/tmp/tarvelo.pid
    wait" &
session=$!
sleep 12
cp "$screens/Xvfb_screen0" "$screens/earlier.xwd"
sleep 1
cp "$screens/Xvfb_screen0" "$screens/later.xwd"
kill "$(cat "$work/tmp/tarvelo.pid")" 2>/dev/null || true
wait "$session" || true
kill "$xvfb" 2>/dev/null || true
shot=$work.png
python3 "$root/scripts/package-check-picture.py" "$screens/earlier.xwd" "$screens/later.xwd" "$shot" \
    || fail "the installed program shows no live picture (screen: $shot)"
rm -rf "$screens"
echo "package-check: screen of the installed program: $shot"

step "removing the package"
quietly "apt-get purge -y -q tarvelo"
after=$(snapshot)
[ "$before" = "$after" ] || fail "removal left the system changed:"$'\n'"$(diff <(echo "$before") <(echo "$after"))"
step "passed: installed from the package alone, live picture, no stray files after removal"
