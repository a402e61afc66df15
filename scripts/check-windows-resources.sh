#!/usr/bin/env bash
# Compiles the Windows executable resources (src/app/tarvelo.rc) with the MinGW resource
# compiler and checks what ends up in them: the IDI_APP_ICON group with its seven images and
# manifest id 1. The icon is rendered by the build, so run after scripts/build.sh (the build folder
# is TARVELO_BUILD_DIR, default build/).
# Prints one summary line; exits non-zero on failure.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
rc="$root/src/app/tarvelo.rc"
icon_dir=${TARVELO_BUILD_DIR:-$root/build}/src/resources/icons
windres=${WINDRES:-x86_64-w64-mingw32-windres}

fail() { echo "check-windows-resources: FAIL: $*"; exit 1; }

command -v "$windres" >/dev/null 2>&1 \
    || fail "$windres not found (install binutils-mingw-w64-x86-64)"
[ -f "$icon_dir/app-icon.ico" ] || fail "no rendered icon in $icon_dir (build first)"
# MSVC's linker would add a manifest of its own beside the .rc's, a duplicate resource.
grep -q '/MANIFEST:NO' "$root/src/CMakeLists.txt" \
    || fail "src/CMakeLists.txt does not turn off the MSVC linker's manifest"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# The object file is what the MinGW build links; the .res is decompiled below and checked.
"$windres" --include-dir="$icon_dir" -i "$rc" -O coff -o "$tmp/tarvelo_rc.o" 2>"$tmp/err" \
    || fail "windres: $(tr '\n' ' ' <"$tmp/err")"
"$windres" --include-dir="$icon_dir" -i "$rc" -O res -o "$tmp/tarvelo.res" 2>"$tmp/err" \
    || fail "windres (res): $(tr '\n' ' ' <"$tmp/err")"
"$windres" -i "$tmp/tarvelo.res" -O rc -o "$tmp/decompiled.rc" 2>"$tmp/err" \
    || fail "windres could not read back its own output: $(tr '\n' ' ' <"$tmp/err")"

icons=$(grep -c '/\* RT_ICON \*/' "$tmp/decompiled.rc")
grep -q '^"IDI_APP_ICON" 14 /\* RT_GROUP_ICON \*/' "$tmp/decompiled.rc" \
    || fail "no icon group named IDI_APP_ICON"
grep -q '^1 24 /\* RT_MANIFEST \*/' "$tmp/decompiled.rc" \
    || fail "no RT_MANIFEST resource with id 1"
[ "$icons" -eq 7 ] \
    || fail "the icon group has $icons images, expected 7 (16, 24, 32, 48, 64, 128, 256)"

# Each image PNG-compressed: Windows reads those, and 256-pixel bitmaps would be four times larger.
if command -v python3 >/dev/null 2>&1; then
    python3 - "$icon_dir/app-icon.ico" 2>"$tmp/err" <<'PYTHON' || fail "app-icon.ico: $(tail -n1 "$tmp/err")"
import struct, sys
data = open(sys.argv[1], "rb").read()
count = struct.unpack_from("<H", data, 4)[0]
for i in range(count):
    width, _, _, _, _, bits, size, offset = struct.unpack_from("<BBBBHHII", data, 6 + 16 * i)
    if data[offset:offset + 8] != b"\x89PNG\r\n\x1a\n" or bits != 32:
        sys.exit(f"image {i} ({width or 256} px) is not a 32-bit PNG")
PYTHON
fi

# A malformed manifest compiles fine but stops the executable from starting at all.
manifest="$root/src/app/tarvelo.manifest"
if command -v python3 >/dev/null 2>&1; then
    python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$manifest" \
        2>"$tmp/err" || fail "tarvelo.manifest is not well-formed XML: $(tail -n1 "$tmp/err")"
fi

size=$(stat -c %s "$tmp/tarvelo_rc.o")
echo "check-windows-resources: OK ($icons images in IDI_APP_ICON, manifest id 1, $size-byte object)"
