#!/usr/bin/env bash
# Whole-process timings of the client library and vltadm on one repository:
# load N objects with vltadm, iterate them with a query, delete M of them by
# id in transactions of the server maximum.
#
# Usage: vltapi/bench/bench_vltapi.sh BUILD_DIR [N=1000000] [M=100000]
# BUILD_DIR must be configured with -DZEBO_BENCH=ON (for bench/vltapi_bench).
set -euo pipefail
build=$(cd "${1:?usage: bench_vltapi.sh BUILD_DIR [N] [M]}" && pwd)
n=${2:-1000000}
m=${3:-100000}
adm=$build/bin/vltadm
client=$build/bench/vltapi_bench
for f in "$adm" "$client"; do
    [ -x "$f" ] || { echo "missing $f: build with -DZEBO_BENCH=ON" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vltbench.XXXXXX")
trap 'rm -rf "$work"' EXIT
opt=$work/rvk.opt
printf 'REPOSITORY bench.db\nSERVERNAME BENCH\nNODENAME BENCH1\nPASSWORDACCESS PROMPT\n' >"$opt"
"$adm" -c "$opt" init >/dev/null
printf 'bench-pw\n' | "$adm" -c "$opt" node add bench1

awk -v n="$n" 'BEGIN {
    for (i = 0; i < n; i++)
        printf "/oracle\t/ORCL\t/piece_%08d\t2024-%02d-%02d 12:00:00\t%d\n", i, i % 12 + 1, i % 28 + 1, i * 1000
}' >"$work/objects.txt"

timed() {
    local label=$1
    shift
    local start end
    start=$(date +%s.%N)
    "$@"
    end=$(date +%s.%N)
    awk -v l="$label" -v s="$start" -v e="$end" 'BEGIN { printf "%-32s %7.2f s\n", l, e - s }'
}

echo "objects: $n, deletions: $m, $(nproc) CPUs"
timed "load $n objects (vltadm)" "$adm" -c "$opt" load bench1 <"$work/objects.txt"
timed "count (vltadm)" "$adm" -c "$opt" count bench1 >/dev/null
timed "query all (library)" "$client" query "$opt" bench1 bench-pw
timed "list all (vltadm)" sh -c "'$adm' -c '$opt' list bench1 >'$work/list.txt'"
head -n "$m" "$work/list.txt" | cut -f1 >"$work/ids.txt"
timed "delete $m by id (library)" "$client" delete "$opt" bench1 bench-pw <"$work/ids.txt"
timed "query the rest (library)" "$client" query "$opt" bench1 bench-pw
ls -l "$work/bench.db" | awk '{ printf "repository size: %.1f MB\n", $5 / 1048576 }'
