#!/usr/bin/env bash
# clang-tidy over the program's sources, with the compile commands of the clang preset.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ -f build/clang/compile_commands.json ]] || scripts/build.sh clang
mapfile -t files < <(git ls-files -- 'src/*.cpp' | grep -vE '^src/platform/windows/|Tables\.cpp$')
printf '%s\0' "${files[@]}" | xargs -0 -P2 -n4 clang-tidy -p build/clang --quiet
echo "lint: ${#files[@]} files"
