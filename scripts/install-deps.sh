#!/usr/bin/env bash
# Installs what building, running and testing Tarvelo need on Debian 12 (bookworm, Qt 6.4) or
# Debian 13 (trixie, Qt 6.8). Safe to run again.
set -euo pipefail

# shellcheck source=/dev/null
. /etc/os-release

packages=(
    cmake ninja-build g++ git pkg-config
    qt6-base-dev qt6-multimedia-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
    qt6-svg-dev libqt6svg6 qt6-qpa-plugins
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
    # the preview's frame conversion
    libyuv-dev
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools gstreamer1.0-x
    # H.264 encoder for recordings; decoder and gst-discoverer-1.0 to check them
    gstreamer1.0-plugins-ugly gstreamer1.0-libav gstreamer1.0-plugins-base-apps
    xvfb xauth x11-utils fonts-noto-cjk
    # the stress benchmark prints every thread's stack when the window hangs
    gdb
    # packaging: the .deb (dpkg-shlibdeps reads ELF files with file) and the validators
    dpkg-dev file desktop-file-utils appstream
    g++-mingw-w64-x86-64 mingw-w64-x86-64-dev binutils-mingw-w64-x86-64
)
case ${VERSION_CODENAME:-} in
bookworm) ;;
# Qt's SVG image plug-in moved out of libqt6svg6.
trixie) packages+=(qt6-svg-plugins) ;;
*)
    echo "install-deps: ${PRETTY_NAME:-this system} is not supported; Debian 12 and 13 are" >&2
    exit 2
    ;;
esac

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' \
        || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
