#!/usr/bin/env bash
# Configures and builds one preset: scripts/build.sh [dev|release|asan|tsan|clang] [cmake --build arguments]
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-dev}"
shift || true
cmake --preset "$preset" >"build-$preset.log" 2>&1 || { cat "build-$preset.log"; exit 1; }
rm -f "build-$preset.log"
cmake --build --preset "$preset" "$@"
