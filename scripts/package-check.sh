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
(cd "$debs" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$debs" >/dev/null \
    && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$debs/earlier" \
        -D CPACK_PACKAGE_VERSION=0.9.3 >/dev/null)
current=$(find "$debs" -maxdepth 1 -name 'tarvelo_*.deb')
earlier=$(find "$debs/earlier" -maxdepth 1 -name 'tarvelo_0.9.3_*.deb')
[ -n "$current" ] && [ -n "$earlier" ] || fail "cpack made no packages"
expected=$(cd "$debs" && rm -rf tree && cmake --install "$build" --prefix tree/usr >/dev/null \
    && cd tree && find . -type f | sed 's/^\.//' | sort)

step "copying the pristine root to $work"
rm -rf "$work"
cp -a "$pristine" "$work"
mkdir -p "$work/opt/check"
cp "$current" "$earlier" "$work/opt/check/"
cp "$build"/tools/virtualcamera/plugin/gst/*.so "$work/opt/check/"

mounted=()
unmount_all() {
    local i
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount "${mounted[i]}" || umount -l "${mounted[i]}"
    done
    mounted=()
}
trap unmount_all EXIT
for fs in proc sys dev dev/shm; do
    mount --bind "/$fs" "$work/$fs"
    mounted+=("$work/$fs")
done
in_root() {
    chroot "$work" /usr/bin/env -i HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        DEBIAN_FRONTEND=noninteractive bash -euo pipefail -c "$1"
}
# Everything a package could leave behind; the home folder, logs and apt's own state are not.
snapshot() {
    in_root 'find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /root \
        -o -path /var/log -o -path /var/cache -o -path /var/lib/apt -o -path /var/lib/dpkg \
        -o -path /opt/check -o -path /run \) -prune -o -print | sort'
}

step "apt install of the earlier package, which brings the dependencies"
in_root "apt-get update -q >/dev/null && apt-get install -y -q /opt/check/$(basename "$earlier") >/dev/null"
# Test tools only: the program's own needs must all come from the package.
in_root "apt-get install -y -q --no-install-recommends xvfb xauth procps >/dev/null"
in_root "dpkg --purge tarvelo >/dev/null"
before=$(snapshot)

step "install, upgrade to $(basename "$current"), install it again"
in_root "apt-get install -y -q /opt/check/$(basename "$earlier") >/dev/null"
in_root "apt-get install -y -q /opt/check/$(basename "$current") >/dev/null"
in_root "apt-get install -y -q --reinstall /opt/check/$(basename "$current") >/dev/null"
owned=$(in_root 'dpkg -L tarvelo | while read -r f; do [ -f "$f" ] && echo "$f"; done | sort')
[ "$owned" = "$expected" ] || fail "dpkg -L differs from the install tree:"$'\n'"$(diff <(echo "$expected") <(echo "$owned"))"

step "starting the installed program under Xvfb with the virtual camera"
rm -rf "$work/tmp/fb" && mkdir -p "$work/tmp/fb"
in_root "Xvfb :7 -screen 0 1280x900x24 -nolisten tcp -fbdir /tmp/fb >/dev/null 2>&1 &
    for _ in \$(seq 100); do [ -e /tmp/fb/Xvfb_screen0 ] && break; sleep 0.1; done
    sleep 1
    DISPLAY=:7 GST_PLUGIN_PATH=/opt/check XDG_RUNTIME_DIR=/tmp/fb tarvelo &
    app=\$!
    sleep 12
    cp /tmp/fb/Xvfb_screen0 /tmp/fb/earlier.xwd
    sleep 1
    cp /tmp/fb/Xvfb_screen0 /tmp/fb/later.xwd
    kill \$app; wait \$app || true
    pkill Xvfb || true"
shot=$work.png
python3 "$root/scripts/package-check-picture.py" "$work/tmp/fb/earlier.xwd" "$work/tmp/fb/later.xwd" "$shot" \
    || fail "the installed program shows no live picture (screen: $shot)"
echo "package-check: screen of the installed program: $shot"

step "removing the package"
in_root "apt-get remove -y -q tarvelo >/dev/null && dpkg --purge tarvelo >/dev/null"
after=$(snapshot)
[ "$before" = "$after" ] || fail "removal left the system changed:"$'\n'"$(diff <(echo "$before") <(echo "$after"))"
step "passed: installed from the package alone, live picture, no stray files after removal"
