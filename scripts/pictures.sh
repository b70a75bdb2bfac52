#!/usr/bin/env bash
# Saves a picture of every page, tab and dialog, light and dark, to docs/images (or the folder given).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh dev --target vt_screenshots
build/dev/tools/screenshots/vt_screenshots "$@"
