#!/usr/bin/env bash
# The SQLite baseline of the one-shot balances: every account's balance (initial balance plus
# its cleared transactions up to today) from an indexed table, as a whole sqlite3 process, beside
# `kestrum-cli accounts` over the same book.
#   bench/sqlite_baseline.sh [TRANSACTIONS] [RUNS]    (default 1000000 and 9; needs sqlite3)
set -euo pipefail
cd "$(dirname "$0")/.."
n=${1:-1000000}
runs=${2:-9}
dir=${KESTRUM_BENCH_DIR:-/tmp/kestrum-bench}
book=$dir/book-$n.kestrum
db=$dir/book-$n.sqlite
[ -f "$book" ] || build/release/bench/open_memory "$n" >/dev/null
if [ ! -f "$db" ]; then
  tmp=$(mktemp -d)
  build/release/bench/export_sides "$book" "$tmp"
  rm -f "$db.tmp"
  sqlite3 "$db.tmp" <<SQL
CREATE TABLE accounts(id INTEGER PRIMARY KEY, initial REAL);
CREATE TABLE sides(account INTEGER, date INTEGER, cleared INTEGER, amount REAL);
.mode csv
.import $tmp/accounts.csv accounts
.import $tmp/sides.csv sides
CREATE INDEX sides_by_account ON sides(account, cleared, date, amount);
ANALYZE;
SQL
  mv "$db.tmp" "$db"
  rm -rf "$tmp"
fi
# Today as the book counts days: local days since 1970-01-01.
offset=$(date +%z | awk '{ s = substr($0, 1, 1) == "-" ? -1 : 1;
                          print s * (substr($0, 2, 2) * 3600 + substr($0, 4, 2) * 60) }')
today=$(( ($(date +%s) + offset) / 86400 ))
query="SELECT a.id, a.initial + COALESCE(SUM(s.amount), 0) FROM accounts a LEFT JOIN sides s
       ON s.account = a.id AND s.cleared = 1 AND s.date <= $today GROUP BY a.id;"
bench/compare.sh "$runs" "build/release/cli/kestrum-cli accounts $book" "sqlite3 $db \"$query\""
