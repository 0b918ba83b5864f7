#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: scripts/test.sh [preset]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:-release}
scripts/deps.sh
scripts/build.sh "$preset"
ctest --preset "$preset" -j "$(nproc)"
