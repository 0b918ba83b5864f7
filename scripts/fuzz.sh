#!/usr/bin/env bash
# Fuzzes one reader of outside bytes with libFuzzer over instrumented libraries:
#   scripts/fuzz.sh TARGET [SECONDS] [libFuzzer options...]
# TARGET: database_file_fuzz, part_file_fuzz, decompress_fuzz, record_body_fuzz,
# quotes_reply_fuzz or receipts_fuzz. The search
# starts from the checked-in seeds (fuzz/corpus/TARGET) and keeps what it finds in
# build/fuzz/corpus/TARGET; crashes are written to build/fuzz/ as crash-*. Installs clang when
# it is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

target=${1:?usage: scripts/fuzz.sh TARGET [SECONDS] [libFuzzer options...]}
seconds=${2:-60}
shift $(($# < 2 ? $# : 2))

scripts/deps.sh
if ! command -v clang++ >/dev/null 2>&1; then
  sudo_cmd=()
  [ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends clang
fi
[ -f build/fuzz/build.ninja ] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "$target"

work=build/fuzz/corpus/$target
mkdir -p "$work"
cd build/fuzz
"./fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 "$@" \
  "corpus/$target" "../../fuzz/corpus/$target"
