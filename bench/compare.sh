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
  function median(v, n,   i, j, t) {
    for (i = 2; i <= n; i++) for (j = i; j > 1 && v[j-1] > v[j]; j--) { t = v[j]; v[j] = v[j-1]; v[j-1] = t }
    return n % 2 ? v[(n+1)/2] : (v[n/2] + v[n/2+1]) / 2
  }
  { n++; wa[n] = $1; ma[n] = $2; wb[n] = $3; mb[n] = $4; r[n] = $1 / ($3 > 0 ? $3 : 0.001)
    if (n == 1 || $1 < mina) mina = $1; if ($1 > maxa) maxa = $1
    if (n == 1 || $3 < minb) minb = $3; if ($3 > maxb) maxb = $3 }
  END {
    printf "A: %s\n   wall median %.3f s (%.3f-%.3f), peak %.1f MB\n", a, median(wa, n), mina, maxa, median(ma, n) / 1024
    printf "B: %s\n   wall median %.3f s (%.3f-%.3f), peak %.1f MB\n", b, median(wb, n), minb, maxb, median(mb, n) / 1024
    for (i = 1; i <= n; i++) s[i] = r[i]
    printf "A/B wall, pairwise: median %.2f (%.2f-%.2f), %d pairs\n", median(r, n), s[1] < 0 ? 0 : minr(s, n), maxr(s, n), n
  }
  function minr(v, n,   i, m) { m = v[1]; for (i = 2; i <= n; i++) if (v[i] < m) m = v[i]; return m }
  function maxr(v, n,   i, m) { m = v[1]; for (i = 2; i <= n; i++) if (v[i] > m) m = v[i]; return m }'
