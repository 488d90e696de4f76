#!/bin/sh
# Whole-process benchmark of "zebosync SYNCdb": for each size N it builds a
# repository with N backup objects of one node and a simulated recovery
# catalog that lists 90% of them (so 10% are orphans), runs the synchronisation
# with its answers piped in (the pick list is left at once with "q"), and
# reports the time of each phase and the peak memory of the zebosync process.
#
# Phases, from zebosync's own trace (class ORCLEVEL1):
#   catalog  SQL*Plus run, spool file read into the filename index
#   server   server query and matching against the index (orphan list built)
#   total    the whole process, start-up and pick list included
#
# Usage: sync/bench/syncdb_bench.sh BUILD_DIR [N ...]    (default N: 100000 1000000)
# BUILD_DIR must hold bin/zebosync, bin/vltadm, lib/libApiQZ.so,
# testbin/sqlplus and catalogs/ (cmake --build BUILD_DIR --target zebosync
# vltadm vltapi sqlplus zebo_catalogs). Scratch files go to $TMPDIR.
set -eu

if [ $# -lt 1 ]; then
    echo "usage: $0 BUILD_DIR [N ...]" >&2
    exit 2
fi
build=$(cd "$1" && pwd)
shift
[ $# -gt 0 ] || set -- 100000 1000000

for f in bin/zebosync bin/vltadm lib/libApiQZ.so testbin/sqlplus catalogs/en_US/zebo.cat; do
    [ -e "$build/$f" ] || { echo "$0: $build/$f is missing" >&2; exit 2; }
done
[ -x /usr/bin/time ] || { echo "$0: /usr/bin/time is needed for the peak memory" >&2; exit 2; }

export LD_LIBRARY_PATH="$build/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export PATH="$build/testbin:$build/bin:$PATH"
export LANG=C
unset LC_ALL LC_MESSAGES || true

work=$(mktemp -d "${TMPDIR:-/tmp}/zebobench.XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM

printf '%-9s %10s %10s %10s %10s %12s %9s\n' objects orphans catalog_s server_s total_s peak_rss_MB ok
for n in "$@"; do
    dir="$work/$n"
    mkdir -p "$dir/catalogs"
    # The agent directory of the run: message catalogs and the error log.
    ln -s "$build/catalogs/en_US" "$dir/en_US"
    cat > "$dir/rvk.opt" <<EOF
REPOSITORY vlt.db
SERVERNAME BENCHSRV
NODENAME BENCH
PASSWORDACCESS GENERATE
BUSYTIMEOUT 60
EOF
    cat > "$dir/zebo.opt" <<EOF
RVKI_DIR $build/lib
RVKI_LOG $dir
RVKI_ORC_DIR $dir
RVKI_ORC_CONFIG $dir/rvk.opt
ZEBO_FS /koruorc
ZEBO_TRACE_FILE $dir/zebosync.trace
ZEBO_TRACE_FLAGS ORCLEVEL1
EOF
    vltadm -c "$dir/rvk.opt" init > /dev/null
    printf 'bench-pw\n' | vltadm -c "$dir/rvk.opt" node add BENCH > /dev/null

    # Objects c-<i>-<i*7>-1, spread over 2023; every tenth one is missing from
    # the catalog. Handles in the catalog are shuffled against the server's
    # order by their numbering, so neither side arrives sorted for the other.
    awk -v n="$n" 'BEGIN {
        for (i = 1; i <= n; i++) {
            d = 1 + (i % 28); m = 1 + (i % 12)
            printf "/koruorc\t/db%d\t/c-%d-%d-1\t2023-%02d-%02d 12:00:00\t%d\n", i % 4, i, i * 7, m, d, 1048576 + i
        }
    }' | vltadm -c "$dir/rvk.opt" load BENCH > /dev/null
    SQLPLUS_SIM_DIR="$dir/catalogs" sqlplus --sim-create bench rman rman-pw > /dev/null
    awk -v n="$n" 'BEGIN {
        for (k = n; k >= 1; k--) {
            if (k % 10 == 0) continue
            d = 1 + (k % 28); m = 1 + (k % 12)
            printf "c-%d-%d-1\t2023-%02d-%02d 12:00:00\n", k, k * 7, m, d
        }
    }' | SQLPLUS_SIM_DIR="$dir/catalogs" sqlplus --sim-load bench > /dev/null

    # User, password, connect string, from-date, to-date, then leave the
    # pick list.
    printf 'rman\nrman-pw\nbench\n01/01/2023\n12/31/2023\nq\n' |
        SQLPLUS_SIM_DIR="$dir/catalogs" ZEBO_AGENT_DIR="$dir" \
        /usr/bin/time -v -o "$dir/time.txt" \
        zebosync SYNCdb "-ZEBO_OPTfile=$dir/zebo.opt" > "$dir/out.txt" 2>&1 || true

    catalog=$(sed -n 's/.*Catalog query and load: \([0-9.]*\) s.*/\1/p' "$dir/zebosync.trace" | tail -1)
    server=$(sed -n 's/.*Server query and matching: \([0-9.]*\) s.*/\1/p' "$dir/zebosync.trace" | tail -1)
    orphans=$(sed -n 's/.*Server query and matching: [0-9.]* s, \([0-9]*\) orphans.*/\1/p' "$dir/zebosync.trace" | tail -1)
    wall=$(sed -n 's/.*Elapsed (wall clock) time.*: //p' "$dir/time.txt" |
        awk -F: '{ s = 0; for (i = 1; i <= NF; i++) s = s * 60 + $i; printf "%.2f", s }')
    rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$dir/time.txt" |
        awk '{ printf "%.1f", $1 / 1024 }')
    status=$(sed -n 's/.*Exit status: //p' "$dir/time.txt")
    ok=yes
    [ "$status" = 0 ] && [ "${orphans:-x}" = "$((n / 10))" ] || ok="no(rc=$status)"
    printf '%-9s %10s %10s %10s %10s %12s %9s\n' "$n" "${orphans:--}" "${catalog:--}" \
        "${server:--}" "${wall:--}" "${rss:--}" "$ok"
    if [ "$ok" != yes ]; then
        echo "--- output of the failed run:" >&2
        tail -20 "$dir/out.txt" >&2
    fi
    rm -rf "$dir"
done
