#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests. Arguments go to ctest (for example: -L fast).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh dev
QT_QPA_PLATFORM=offscreen ctest --preset dev -j2 "$@"
