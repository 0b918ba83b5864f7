#!/usr/bin/env bash
# The app under a real X server (Xvfb): opens a generated book, shows the window and saves a
# picture of it, once at scale 1 in English and once at scale 2 in Russian; fails when the
# sidebar or this month's outline has no rows or a picture is missing. Skipped (77) without
# xvfb-run.
# Usage: smoke_test.sh KESTRUM KESTRUM_CLI [OUTPUT_FOLDER]
set -euo pipefail
app=$1
cli=$2
if ! command -v xvfb-run >/dev/null 2>&1; then
  echo "skipped: no xvfb-run (scripts/deps.sh installs xvfb and xauth)"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
out=${3:-$work}
mkdir -p "$out"
export XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_STATE_HOME=$work/state
export XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset WAYLAND_DISPLAY
export QT_QPA_PLATFORM=xcb
"$cli" generate "$work/Smoke.lgr" --transactions 2000 --seed 1 >/dev/null

# The width of a PNG: bytes 16-19 of the file, big-endian.
png_width() {
  od -An -tu1 -j16 -N4 "$1" | awk '{printf "%d\n", $1 * 16777216 + $2 * 65536 + $3 * 256 + $4}'
}

# Scale 1 in English, scale 2 in Russian.
for scale in 1 2; do
  png=$out/smoke-scale$scale.png
  language=en
  [ "$scale" = 2 ] && language=ru
  LANGUAGE=$language QT_SCALE_FACTOR=$scale timeout 120 xvfb-run -a -s "-screen 0 1280x800x24" \
    "$app" --smoke "$png" "$work/Smoke.lgr"
  [ -f "$png" ] || { echo "error: no picture $png"; exit 1; }
  [ "$(head -c 4 "$png" | tail -c 3)" = PNG ] || { echo "error: $png is not a PNG"; exit 1; }
  size=$(stat -c %s "$png")
  if [ "$size" -lt 10000 ]; then
    echo "error: $png is only $size bytes"
    exit 1
  fi
  echo "scale $scale: $png, $(png_width "$png") pixels wide, $size bytes"
done
w1=$(png_width "$out/smoke-scale1.png")
w2=$(png_width "$out/smoke-scale2.png")
if [ "$w2" -lt $((w1 * 3 / 2)) ] || [ "$w2" -gt $((w1 * 5 / 2)) ]; then
  echo "error: the scale-2 picture ($w2 px) is not about twice as wide as the first ($w1 px)"
  exit 1
fi
echo "smoke test: ok"
