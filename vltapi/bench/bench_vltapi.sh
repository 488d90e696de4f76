#!/usr/bin/env bash
# Whole-process timings of the client library and vltadm, on the SQLite
# store and on the PostgreSQL store side by side: load N objects of one node
# with vltadm, iterate them with a query (three rounds alternating between
# the stores; the median counts), delete M of them by id in
# transactions of the server maximum (256). The deleting client first queries
# every object, as the program does, and the deletion's figure is its own
# timing of the deletion alone. The PostgreSQL server is a
# throwaway cluster (testing/pgcluster.sh) on a Unix socket of this machine.
#
# Usage: vltapi/bench/bench_vltapi.sh BUILD_DIR [N=1000000] [M=100000] [STORES]
# STORES: "sqlite postgresql" (default), or one of them.
# BUILD_DIR must be configured with -DZEBO_BENCH=ON (for bench/vltapi_bench).
# With both stores it checks the targets: the query at most 1.5 times the
# SQLite store's time, deletion at least half its rate (exit status 1 if not).
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: bench_vltapi.sh BUILD_DIR [N] [M] [STORES]}" && pwd)
n=${2:-1000000}
m=${3:-100000}
stores=${4:-sqlite postgresql}
adm=$build/bin/vltadm
client=$build/bench/vltapi_bench
for f in "$adm" "$client"; do
    [ -x "$f" ] || { echo "missing $f: build with -DZEBO_BENCH=ON" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/vltbench.XXXXXX")
cleanup() {
    [ -d "$work/pg" ] && "$root/testing/pgcluster.sh" stop "$work/pg" >/dev/null 2>&1
    rm -rf "$work"
}
trap cleanup EXIT

awk -v n="$n" 'BEGIN {
    for (i = 0; i < n; i++)
        printf "/oracle\t/ORCL\t/piece_%08d\t2024-%02d-%02d 12:00:00\t%d\n", i, i % 12 + 1, i % 28 + 1, i * 1000
}' >"$work/objects.txt"

declare -A seconds
# timed STORE STEP COMMAND...: runs the command and keeps its time.
timed() {
    local store=$1 step=$2
    shift 2
    local start end
    start=$(date +%s.%N)
    "$@"
    end=$(date +%s.%N)
    seconds[$store.$step]=$(awk -v s="$start" -v e="$end" 'BEGIN { printf "%.2f", e - s }')
}

# load_objects STORE OPTFILE: loads the objects. On PostgreSQL the load ends
# with the VACUUM ANALYZE that autovacuum would otherwise start on its own
# just after it, in the middle of the timings that follow; its time counts
# as the load's.
load_objects() {
    "$adm" -c "$2" load bench1 <"$work/objects.txt"
    if [ "$1" = postgresql ]; then
        "$root/testing/pgcluster.sh" sql "$work/pg" bench "VACUUM ANALYZE objects" >/dev/null
    fi
}

run_store() {
    local store=$1 repository
    case $store in
    sqlite) repository=$work/bench.db ;;
    postgresql)
        chmod 711 "$work"
        "$root/testing/pgcluster.sh" start "$work/pg" >/dev/null
        export PGPASSFILE=$work/pg/pgpass
        # A catalog server keeps its catalog in shared memory: 512 MB (a
        # quarter of a machine of 2 GB, the usual share) holds the 10^6
        # objects and their indexes, where the test cluster's default of
        # 128 MB would make the server read most pages from the system's
        # file cache, as the embedded store does with its own.
        "$root/testing/pgcluster.sh" sql "$work/pg" postgres \
            "ALTER SYSTEM SET shared_buffers = '512MB'" >/dev/null
        "$root/testing/pgcluster.sh" restart "$work/pg"
        "$root/testing/pgcluster.sh" sql "$work/pg" postgres "CREATE DATABASE bench" >/dev/null
        repository="postgresql://vltadmin@/bench?host=$work/pg/sock"
        ;;
    *) echo "unknown store $store" >&2; exit 2 ;;
    esac
    local opt=$work/$store.opt
    printf 'REPOSITORY %s\nSERVERNAME BENCH\nNODENAME BENCH1\nPASSWORDACCESS PROMPT\n' \
        "$repository" >"$opt"
    "$adm" -c "$opt" init >/dev/null
    printf 'bench-pw\n' | "$adm" -c "$opt" node add bench1
    timed "$store" load load_objects "$store" "$opt"
    timed "$store" count "$adm" -c "$opt" count bench1 >/dev/null
}

# The query of all objects, the figure the target is about: three rounds
# that alternate between the stores, so that both meet the same moments of
# a machine shared with other work; the median counts.
query_rounds() {
    local r s
    for r in 1 2 3; do
        for s in $stores; do
            timed "$s" "query$r" "$client" query "$work/$s.opt" bench1 bench-pw >/dev/null
        done
    done
    for s in $stores; do
        seconds[$s.query]=$(printf '%s\n' "${seconds[$s.query1]}" "${seconds[$s.query2]}" \
            "${seconds[$s.query3]}" | sort -g | sed -n 2p)
    done
}

finish_store() {
    local store=$1 opt=$work/$1.opt
    timed "$store" list sh -c "'$adm' -c '$opt' list bench1 >'$work/list.txt'"
    head -n "$m" "$work/list.txt" | cut -f1 >"$work/ids.txt"
    "$client" delete "$opt" bench1 bench-pw <"$work/ids.txt" | tee "$work/delete.out"
    seconds[$store.delete]=$(sed -n 's/.*the deletion took \([0-9.]*\) s$/\1/p' "$work/delete.out")
    timed "$store" rest "$client" query "$opt" bench1 bench-pw
}

for s in $stores; do run_store "$s"; done
query_rounds
for s in $stores; do finish_store "$s"; done

echo "objects: $n, deletions: $m, $(nproc) CPUs; seconds"
printf '%-34s' ""
for s in $stores; do printf '%12s' "$s"; done
echo
for step in load count query list delete rest; do
    case $step in
    load) label="load $n objects (vltadm)" ;;
    count) label="count (vltadm)" ;;
    query) label="query all (library, median of 3)" ;;
    list) label="list all (vltadm)" ;;
    delete) label="delete $m by id (library)" ;;
    rest) label="query the rest (library)" ;;
    esac
    printf '%-34s' "$label"
    for s in $stores; do printf '%12s' "${seconds[$s.$step]}"; done
    echo
done

status=0
if [ "$stores" = "sqlite postgresql" ]; then
    check() {
        local what=$1 ok=$2
        if [ "$ok" = 1 ]; then echo "met:     $what"; else echo "NOT MET: $what"; status=1; fi
    }
    q=$(awk -v p="${seconds[postgresql.query]}" -v s="${seconds[sqlite.query]}" \
        'BEGIN { printf "%.2f", p / (s > 0 ? s : 0.01) }')
    check "query all on PostgreSQL takes $q times the SQLite store's time (at most 1.5)" \
        "$(awk -v q="$q" 'BEGIN { print (q <= 1.5) ? 1 : 0 }')"
    d=$(awk -v p="${seconds[postgresql.delete]}" -v s="${seconds[sqlite.delete]}" \
        'BEGIN { printf "%.2f", s / (p > 0 ? p : 0.01) }')
    check "deletion on PostgreSQL runs at $d times the SQLite store's rate (at least 0.5)" \
        "$(awk -v d="$d" 'BEGIN { print (d >= 0.5) ? 1 : 0 }')"
fi
exit $status
