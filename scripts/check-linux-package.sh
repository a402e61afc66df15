#!/usr/bin/env bash
# Installs the built tree into a scratch prefix and validates the desktop entry and the AppStream
# metadata there, then makes the .deb with CPack and checks that it carries the same files.
#   scripts/check-linux-package.sh [BUILD_DIR]     default: $TARVELO_BUILD_DIR, else build/
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-${TARVELO_BUILD_DIR:-$root/build}}
build=$(cd "$build" && pwd -P)

fail() { echo "check-linux-package: $*" >&2; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/usr" >/dev/null
# Every installed name carries the application id; the desktop entry's tells it.
entries=("$scratch"/usr/share/applications/*.desktop)
[ ${#entries[@]} -eq 1 ] && [ -f "${entries[0]}" ] || fail "expected one desktop entry"
app_id=$(basename "${entries[0]}" .desktop)
expected=(
    "usr/bin/tarvelo"
    "usr/share/applications/$app_id.desktop"
    "usr/share/metainfo/$app_id.metainfo.xml"
    "usr/share/icons/hicolor/scalable/apps/$app_id.svg"
    "usr/share/icons/hicolor/256x256/apps/$app_id.png"
)
installed=$(cd "$scratch" && find usr -type f | sort)
[ "$installed" = "$(printf '%s\n' "${expected[@]}" | sort)" ] \
    || fail "cmake --install gave an unexpected tree:"$'\n'"$installed"

desktop-file-validate "$scratch/usr/share/applications/$app_id.desktop"
appstream_log=$(appstreamcli validate --no-net --explain \
    "$scratch/usr/share/metainfo/$app_id.metainfo.xml" 2>&1) \
    || fail "AppStream metadata does not validate:"$'\n'"$appstream_log"
icon_size=$(file -b "$scratch/usr/share/icons/hicolor/256x256/apps/$app_id.png")
case $icon_size in *"256 x 256"*) ;; *) fail "the hicolor 256x256 icon is $icon_size" ;; esac

(cd "$scratch" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/deb") \
    >"$scratch/cpack.log" 2>&1 || fail "cpack failed:"$'\n'"$(cat "$scratch/cpack.log")"
deb=$(find "$scratch/deb" -maxdepth 1 -name 'tarvelo_*.deb' | head -n 1)
[ -n "$deb" ] || fail "cpack made no tarvelo_*.deb"
listed=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { sub(/^\.\//, "", $NF); print $NF }' | sort)
[ "$listed" = "$(printf '%s\n' "${expected[@]}" | sort)" ] \
    || fail "$(basename "$deb") holds an unexpected set of files:"$'\n'"$listed"
depends=$(dpkg-deb -f "$deb" Depends)
for needed in libqt6multimedia6 libqt6widgets6 gstreamer1.0-plugins-good; do
    [[ $depends == *"$needed"* ]] || fail "$(basename "$deb") does not depend on $needed: $depends"
done
echo "check-linux-package: $(basename "$deb") and the installed tree are valid"
