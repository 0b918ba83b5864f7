#!/usr/bin/env bash
# Times two commands as whole processes, alternating A B A B ... after one warm-up run of each,
# and prints each one's median, minimum and maximum wall time and peak memory, and the median
# and range of the pairwise ratio A/B (robust when the machine's speed drifts between runs).
#   bench/compare.sh RUNS 'COMMAND A' 'COMMAND B'
set -euo pipefail
runs=$1 a=$2 b=$3
one() { /usr/bin/time -f "%e %M" bash -c "exec $1 >/dev/null 2>&1" 2>&1 | tail -1; }
one "$a" >/dev/null
one "$b" >/dev/null
results=()
for _ in $(seq "$runs"); do
  results+=("$(one "$a") $(one "$b")")
done
printf '%s\n' "${results[@]}" | awk -v a="$a" -v b="$b" '
  # Sorts v[1..n] in place and returns its median.
  function median(v, n,   i, j, t) {
    for (i = 2; i <= n; i++) for (j = i; j > 1 && v[j-1] > v[j]; j--) { t = v[j]; v[j] = v[j-1]; v[j-1] = t }
    return n % 2 ? v[(n+1)/2] : (v[n/2] + v[n/2+1]) / 2
  }
  { n++; wa[n] = $1; ma[n] = $2; wb[n] = $3; mb[n] = $4; r[n] = $1 / ($3 > 0 ? $3 : 0.001) }
  END {
    # Medians first: they sort, so that [1] and [n] are then the minimum and maximum.
    wam = median(wa, n); mam = median(ma, n); wbm = median(wb, n); mbm = median(mb, n); rm = median(r, n)
    printf "A: %s\n   wall median %.3f s (%.3f-%.3f), peak %.1f MB\n", a, wam, wa[1], wa[n], mam / 1024
    printf "B: %s\n   wall median %.3f s (%.3f-%.3f), peak %.1f MB\n", b, wbm, wb[1], wb[n], mbm / 1024
    printf "A/B wall, pairwise: median %.2f (%.2f-%.2f), %d pairs\n", rm, r[1], r[n], n
  }'
