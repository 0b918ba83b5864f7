#!/usr/bin/env bash
# Checks the desktop entry, the icon and the MIME type: desktop-file-validate passes on the entry
# without a warning, the XML files are well formed, and a MIME database built from the package
# alone gives the Kestrum type to *.lgr and *.kestrum files and to files that start with the
# database signature, but not to other files. Exits 77 (skipped) when a needed tool is missing.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
for tool in desktop-file-validate update-mime-database; do
  if ! command -v "$tool" >/dev/null 2>&1; then
    echo "skipped: $tool is not installed (scripts/deps.sh installs it)"
    exit 77
  fi
done
type=application/x-kestrum-database
fail() {
  echo "error: $*"
  exit 1
}

# desktop-file-validate exits 0 on warnings and hints; they count as faults here.
report=$(desktop-file-validate "$here/kestrum.desktop" 2>&1) || fail "desktop entry: $report"
[ -z "$report" ] || fail "desktop entry: $report"

if command -v xmllint >/dev/null 2>&1; then
  xmllint --noout "$here/kestrum-mime.xml" "$here/kestrum.svg" || fail "malformed XML"
else
  echo "note: no xmllint, the XML files are checked by update-mime-database only"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/mime/packages"
cp "$here/kestrum-mime.xml" "$work/mime/packages/"
update-mime-database "$work/mime" >"$work/update.log" 2>&1 ||
  fail "update-mime-database: $(cat "$work/update.log")"
for extension in lgr kestrum; do
  grep -q "^[0-9]*:$type:\*\.$extension$" "$work/mime/globs2" || fail "no *.$extension glob"
done
# The magic file keeps a match as ">OFFSET=", two bytes of length, then the value.
grep -aq "^>8=..Vemra DBE" "$work/mime/magic" || fail "the signature is not matched at offset 8"

# Real recognition needs a reader of the database: gio sniffs content when the name says nothing.
if ! command -v gio >/dev/null 2>&1; then
  echo "desktop entry and MIME type: ok (no gio: recognition of sample files not tried)"
  exit 0
fi
# A database's first bytes: the header size, the format, then the signature at offset 8.
{
  printf '\000\004\000\000\270\001\000\000Vemra DBE\000'
  head -c 1024 /dev/zero
} >"$work/book"
echo "plain words, no signature" >"$work/notes"
cp "$work/book" "$work/Household.lgr"
cp "$work/notes" "$work/Notes.kestrum"
content_type() {
  XDG_DATA_HOME=$work XDG_DATA_DIRS=$work gio info -a standard::content-type "$1" |
    sed -n 's/^ *standard::content-type: //p'
}
for sample in book Household.lgr Notes.kestrum; do
  got=$(content_type "$work/$sample")
  [ "$got" = "$type" ] || fail "$sample is seen as '$got', not $type"
done
got=$(content_type "$work/notes")
if [ -z "$got" ] || [ "$got" = "$type" ]; then
  fail "a text file is seen as '$got'"
fi
echo "desktop entry and MIME type: ok"
