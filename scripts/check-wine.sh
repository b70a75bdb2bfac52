#!/usr/bin/env bash
# check-wine.sh [TEST.cpp ...]
# Builds the Windows code that needs no Qt with its tests (tests/wine) and runs them under wine, without a display.
# A test names what it is built from in its first lines:
#   // sources: src/platform/windows/plain/ClaimMutex.cpp ...
#   // libraries: powrprof ...
#   // flags: -g ...
# and prints one line per thing tested: "ok NAME", "not run NAME: why (error 120)" or "FAILED NAME: why".
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=x86_64-w64-mingw32-g++-posix
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
server=$(command -v wineserver || echo /usr/lib/wine/wineserver)
work=$(mktemp -d)
export WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=' WINESERVER="$server"
unset DISPLAY WAYLAND_DISPLAY
finish() {
    "$server" -k 2>/dev/null || true # the server of this prefix
    "$server" -w 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
timeout 180 "$wine" wineboot -i >/dev/null 2>&1 || { echo "wine: no prefix could be made"; exit 1; }
# Windows that are drawn nowhere, instead of none at all.
timeout 60 "$wine" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
"$server" -k && "$server" -w || true # the desktop that runs has no windows yet

# The words after "// KEY:" in the first lines of a test.
words() { sed -n "1,10s|^// $1:||p" "$2"; }

status=0
shopt -s nullglob
tests=("$@")
((${#tests[@]} > 0)) || tests=(tests/wine/*.cpp)
for test in "${tests[@]}"; do
    name=$(basename "$test" .cpp)
    program="$work/$name.exe"
    read -ra sources <<<"$(words sources "$test")"
    read -ra libraries <<<"$(words libraries "$test")"
    read -ra flags <<<"$(words flags "$test")"
    if ! "$compiler" -std=c++20 -static -Wall -Wextra -Werror -D_WIN32_WINNT=0x0A00 -DUNICODE -D_UNICODE -Isrc \
        "${flags[@]}" "$test" "${sources[@]}" -o "$program" "${libraries[@]/#/-l}"; then
        echo "FAILED $name: does not build"
        status=1
        continue
    fi
    code=0
    (cd "$work" && timeout 120 "$wine" "$program" >"$work/$name.out" 2>/dev/null) || code=$?
    tr -d '\r' <"$work/$name.out" >"$work/$name.txt"
    cat "$work/$name.txt"
    if ! grep -qE '^(ok|not run|FAILED) ' "$work/$name.txt"; then
        echo "FAILED $name: printed no result, exit status $code"
        status=1
    elif ((code != 0)) || grep -q '^FAILED ' "$work/$name.txt"; then
        ((code == 0)) || echo "FAILED $name: exit status $code"
        status=1
    fi
done
((${#tests[@]} > 0)) || status=1
((status == 0)) && echo "wine: ${#tests[@]} programs run"
exit $status
