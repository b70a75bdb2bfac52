#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job on the simulated unit: the window where there is a
# display, else a 30-second recording without one. Further arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh dev --target vellumtide
program=build/dev/src/app/vellumtide
if [[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]]; then
    exec "$program" --simulate --device sim "$@"
fi
folder=$(mktemp -d)
echo "No display: recording 30 s from the simulated unit to $folder/demo"
"$program" --headless --simulate --device sim --duration 30 --output "$folder/demo" "$@"
ls -l "$folder"
