#!/usr/bin/env bash
# Saves a picture of every page, tab and dialog, light and dark, to docs/images or the folder given.
set -euo pipefail
cd "$(dirname "$0")/.."
folder="${1:-docs/images}"
scripts/setup.sh --pictures
scripts/build.sh dev --target vt_screenshots
build/dev/tools/screenshots/vt_screenshots "$folder"
# 256 colours: a third of the size, and nothing to see of it.
pngquant --ext .png --force --strip "$folder"/*.png
