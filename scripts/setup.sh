#!/usr/bin/env bash
# Installs what building, testing and running need, as Debian packages (Debian 12), where it is missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config ccache git
    qt6-base-dev libqt6serialport6-dev qt6-multimedia-dev libgl-dev
    libqcustomplot-dev libfftw3-dev libminizip-dev libdw-dev
    libgtest-dev libgmock-dev libbenchmark-dev dbus python3-dbusmock
    ffmpeg iproute2 gir1.2-gst-rtsp-server-1.0 python3-gi gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    gstreamer1.0-plugins-ugly
    fonts-dejavu-core python3 python3-numpy python3-scipy
)
# What only scripts/pictures.sh uses.
if [[ "${1:-}" == "--pictures" ]]; then
    packages+=(pngquant)
fi
# What only the slower gates of .ci/run use.
if [[ "${1:-}" == "--ci" ]]; then
    packages+=(clang clang-tidy clang-format libclang-rt-14-dev g++-mingw-w64-x86-64-posix wine64)
fi

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
    exit 0
fi
echo "Installing: ${missing[*]}"
sudo=()
if ((EUID != 0)); then
    sudo=(sudo)
fi
"${sudo[@]}" apt-get update -q
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
