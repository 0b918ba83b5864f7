#!/usr/bin/env bash
# Checks the desktop entry and the MIME type: desktop-file-validate passes on the entry, and a
# MIME database built from the package alone knows *.lgr and the database file's signature.
# Exits 77 (skipped) when the tools are missing.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
for tool in desktop-file-validate update-mime-database; do
  if ! command -v "$tool" >/dev/null 2>&1; then
    echo "skipped: $tool is not installed (scripts/deps.sh installs it)"
    exit 77
  fi
done
desktop-file-validate "$here/kestrum.desktop"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/mime/packages"
cp "$here/kestrum-mime.xml" "$work/mime/packages/"
update-mime-database "$work/mime" >/dev/null 2>&1
grep -q "application/x-kestrum-database" "$work/mime/globs2" ||
  { echo "error: the *.lgr glob is not in the MIME database"; exit 1; }
grep -q "\*\.lgr" "$work/mime/globs2" || { echo "error: no *.lgr glob"; exit 1; }
# The magic file holds the match: offset 8, the nine bytes of the signature.
grep -aq "Vemra DBE" "$work/mime/magic" || { echo "error: the signature is not in the magic"; exit 1; }
grep -aq "^>8=" "$work/mime/magic" || { echo "error: the signature is not at offset 8"; exit 1; }
echo "desktop entry and MIME type: ok"
