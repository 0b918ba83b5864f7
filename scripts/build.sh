#!/usr/bin/env bash
# Configures (once) and builds one CMake preset: scripts/build.sh [release|debug|asan] [cmake -D...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:-release}
shift || true
extra=("$@")
if [ -n "${CI:-}" ]; then
  extra+=(-DKESTRUM_WERROR=ON)
fi

if [ ! -f "build/$preset/build.ninja" ] || [ ${#extra[@]} -gt 0 ]; then
  cmake --preset "$preset" "${extra[@]}" >/dev/null
fi
cmake --build --preset "$preset"
