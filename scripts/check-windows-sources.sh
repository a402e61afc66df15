#!/usr/bin/env bash
# Compiles the Windows-only C++ sources (those a CMakeLists.txt under src/ adds inside an
# if(WIN32) block) for syntax with MinGW against the host's Qt headers, since no Windows build
# runs here. Prints one summary line; on errors prints them and exits non-zero. -v also shows
# warnings.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cxx=${MINGW_CXX:-x86_64-w64-mingw32-g++}
qt=${QT_INCLUDE_DIR:-/usr/include/x86_64-linux-gnu/qt6}
verbose=0
[ "${1:-}" = "-v" ] && verbose=1

fail() { echo "check-windows-sources: FAIL: $*"; exit 1; }

command -v "$cxx" >/dev/null 2>&1 || fail "$cxx not found (install g++-mingw-w64-x86-64)"
[ -d "$qt/QtCore" ] || fail "no Qt headers in $qt (install qt6-base-dev)"

# Source files named inside if(WIN32) ... else/elseif/endif, or in the else branch of
# if(NOT WIN32), at any nesting depth.
windows_sources() {
    find "$root/src" -name CMakeLists.txt | sort | while read -r list; do
        awk -v dir="$(dirname "$list")" '
            {
                line = $0
                sub(/#.*/, "", line)
                if (line ~ /^[ \t]*if[ \t]*\(/) {
                    depth++
                    if (!win && line ~ /^[ \t]*if[ \t]*\([ \t]*WIN32[ \t]*\)/) win = depth
                    if (!win && line ~ /^[ \t]*if[ \t]*\([ \t]*NOT[ \t]+WIN32[ \t]*\)/) notwin = depth
                    next
                }
                if (line ~ /^[ \t]*else[ \t]*\(/ && notwin == depth) { win = depth; notwin = 0; next }
                if (line ~ /^[ \t]*(else|elseif)[ \t]*\(/) { if (win == depth) win = 0; next }
                if (line ~ /^[ \t]*endif[ \t]*\(/) {
                    if (win == depth) win = 0
                    if (notwin == depth) notwin = 0
                    depth--
                    next
                }
                if (!win) next
                n = split(line, words, /[ \t()"]+/)
                for (i = 1; i <= n; i++) {
                    if (words[i] !~ /\.(cpp|cc|cxx)$/) continue
                    file = words[i]
                    sub(/^\$\{CMAKE_CURRENT_SOURCE_DIR\}\//, "", file)
                    print (file ~ /^\// ? file : dir "/" file)
                }
            }' "$list"
    done
}

mapfile -t sources < <(windows_sources | sort -u)
[ ${#sources[@]} -gt 0 ] || fail "found no Windows-only sources under src/ (expected at least windowscameracontrols.cpp)"

includes=(-I"$root/src")
for module in "" QtCore QtGui QtWidgets QtMultimedia QtMultimediaWidgets; do
    [ -d "$qt/$module" ] && includes+=(-isystem "$qt/$module")
done
# What Qt's CMake package and the project's own CMakeLists give a Windows build.
flags=(-std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic
    -DUNICODE -D_UNICODE -DWIN32 -DWIN64 -D_WIN64 -DMINGW_HAS_SECURE_API=1
    -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII -DQT_NO_URL_CAST_FROM_STRING)

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
start=$(date +%s.%N)
for i in "${!sources[@]}"; do
    source=${sources[$i]}
    if [ ! -f "$source" ]; then
        echo "missing: $source" >"$tmp/$i.log"
        echo 1 >"$tmp/$i.rc"
        continue
    fi
    ("$cxx" "${flags[@]}" "${includes[@]}" -I"$(dirname "$source")" "$source" >"$tmp/$i.log" 2>&1
        echo $? >"$tmp/$i.rc") &
done
wait

failed=0
warnings=0
for i in "${!sources[@]}"; do
    count=$(grep -c 'warning:' "$tmp/$i.log")
    warnings=$((warnings + count))
    if [ "$(cat "$tmp/$i.rc")" != 0 ]; then
        failed=$((failed + 1))
        echo "== ${sources[$i]#"$root"/}"
        cat "$tmp/$i.log"
    elif [ $verbose = 1 ] && [ -s "$tmp/$i.log" ]; then
        cat "$tmp/$i.log"
    fi
done
elapsed=$(printf '%.1f' "$(echo "$(date +%s.%N) - $start" | bc)")
names=$(for source in "${sources[@]}"; do printf '%s ' "${source#"$root"/}"; done)
[ $failed = 0 ] || fail "$failed of ${#sources[@]} Windows-only sources do not compile: ${names% }"
note=""
[ $warnings = 0 ] || note="; -v shows them"
plural=s; [ ${#sources[@]} = 1 ] && plural=""
echo "check-windows-sources: OK (${#sources[@]} source$plural, $warnings warnings$note, ${elapsed}s: ${names% })"
