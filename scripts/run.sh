#!/usr/bin/env bash
# Installs what is missing, builds, and runs Kestrum's main job: makes the demo book (once), then
# opens it in the desktop app when a display is there, or else shows what it holds: its records,
# the account list and this month's transactions by category.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
scripts/build.sh release
cli=build/release/cli/kestrum-cli

# The demo book: two years and more of a household's money in several currencies, made the
# same way for the same seed on the same day. Delete the file to make a fresh one.
book=demo/demo.kestrum
if [ ! -f "$book" ]; then
  mkdir -p demo
  "$cli" generate "$book" --transactions 20000 --seed 1
fi
# With a display, the desktop app on the demo book; without one, what the book holds.
app=build/release/app/kestrum
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -x "$app" ]; then
  echo "Starting $app $book"
  exec "$app" "$book"
fi
"$cli" check "$book"
echo
"$cli" accounts "$book"
echo
"$cli" transactions "$book" --period month --group-by category
echo
echo "kestrum-cli is $cli (cmake --install build/release puts it on the PATH). Try:"
echo "  $cli help"
echo "  $cli add $book --expense --amount 4.50 --account Wallet --category Food"
echo "  $cli cache $book"
