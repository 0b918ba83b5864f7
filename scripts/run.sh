#!/usr/bin/env bash
# Installs what is missing, builds, and runs Kestrum's main job.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
scripts/build.sh release
# The command-line tool lists the record kinds the engine reads and writes, each checked by a
# round trip through its stored body.
build/release/cli/kestrum-cli types
