#!/usr/bin/env bash
# Type-checks every source of the program for Windows: MinGW against the installed Qt headers. No linking.
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=x86_64-w64-mingw32-g++-posix
qt=/usr/include/x86_64-linux-gnu/qt6
includes=(-Isrc -isystem "$qt" -isystem /usr/include/x86_64-linux-gnu/qt6/QtCore)
for module in Core Gui Widgets Network SerialPort Multimedia MultimediaWidgets PrintSupport; do
    includes+=(-isystem "$qt/Qt$module")
done
# Headers of header-only use from the host, copied so that the host's C library headers stay out of sight.
shim=$(mktemp -d)
trap 'rm -rf "$shim"' EXIT
cp /usr/include/fftw3.h /usr/include/qcustomplot.h /usr/include/zlib.h /usr/include/zconf.h \
    /usr/include/minizip/unzip.h /usr/include/minizip/ioapi.h "$shim/" 2>/dev/null || true
flags=(-std=c++20 -fsyntax-only -Wall -Wextra -D_WIN32_WINNT=0x0A00 -DUNICODE -DQT_NO_CAST_FROM_ASCII
    -DQT_NO_CAST_TO_ASCII -DVELLUMTIDE_VERSION_MAJOR=0 -DVELLUMTIDE_VERSION_MINOR=0 '-DVELLUMTIDE_VERSION_BUILD="0"'
    -DQT_MESSAGELOGCONTEXT "${includes[@]}" -isystem "$shim")
export compiler
checked=0
status=0
mapfile -t files < <(git ls-files -- 'src/*.cpp' | grep -v '^src/platform/linux/')
printf '%s\0' "${files[@]}" | xargs -0 -P2 -n1 "$compiler" "${flags[@]}" || status=1
checked=${#files[@]}
((status == 0)) && echo "windows: $checked files type-checked"
exit $status
