#!/usr/bin/env bash
# Performance of "zebosync SYNCdb" against comparison programs run in the
# same invocation, alternating with them; every figure is a median of the
# rounds. See "Performance" in README.md for what each figure means.
#
# Usage: scripts/bench.sh BUILD_DIR [--sizes "N ..."] [--large "N ..."] [--rounds R]
#   --sizes  full measurement: whole run, load, matching, deletion, tracing
#            (default "100000 1000000")
#   --large  load and matching phases, release and whole run only (e.g. 10000000)
#   --rounds rounds per size (default 3)
# BUILD_DIR must be configured with -DZEBO_BENCH=ON and built (targets
# zebosync vltadm vltapi sqlplus zebo_catalogs hashset_bench btree_bench
# delete_bench). Scratch files go to $TMPDIR (about 1 GB at 10^6).
set -euo pipefail

usage() {
    echo "usage: $0 BUILD_DIR [--sizes \"N ...\"] [--large \"N ...\"] [--rounds R]" >&2
    exit 2
}
[ $# -ge 1 ] || usage
build=$(cd "$1" && pwd)
shift
sizes="100000 1000000"
large=""
rounds=3
while [ $# -gt 0 ]; do
    case "$1" in
        --sizes) sizes=$2; shift 2 ;;
        --large) large=$2; shift 2 ;;
        --rounds) rounds=$2; shift 2 ;;
        *) usage ;;
    esac
done

for f in bin/zebosync bin/vltadm lib/libApiQZ.so testbin/sqlplus catalogs/en_US/zebo.cat \
    bench/hashset_bench bench/btree_bench bench/delete_bench; do
    [ -e "$build/$f" ] || { echo "$0: $build/$f is missing (build with -DZEBO_BENCH=ON)" >&2; exit 2; }
done
command -v sqlite3 > /dev/null || { echo "$0: the sqlite3 shell is needed" >&2; exit 2; }

export LD_LIBRARY_PATH="$build/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export PATH="$build/testbin:$build/bin:$PATH"
export LANG=C
unset LC_ALL LC_MESSAGES || true

work=$(mktemp -d "${TMPDIR:-/tmp}/zebobench.XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
# The program's temporary files (script and spool) go here too, so that the
# simulator can hand the ready spool over as a hard link.
export TMPDIR=$work

now() { date +%s.%N; }
elapsed() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", b - a }'; }
# Appends a value to the figure's list; median prints the median of a list.
note() { echo "$2" >> "$dir/fig.$1"; }
median() {
    [ -s "$dir/fig.$1" ] || { echo "-"; return; }
    sort -g "$dir/fig.$1" | awk '{ v[NR] = $1 } END {
        if (NR % 2) printf "%.3f", v[(NR + 1) / 2]; else printf "%.3f", (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "-" || b == "-" || b == 0) print "-"; else printf "%.2f", a / b }'; }
# A phase's seconds from the program's time marks (ZEBO_BENCH_PHASES):
# span FIRST-EVENT LAST-EVENT, the first's last mark to the second's first.
span() {
    awk -v a="$1" -v b="$2" '$1 == a { t = $2 } $1 == b && !done { e = $2; done = 1 }
        END { if (t == "" || e == "") print "-"; else printf "%.3f", e - t }' "$dir/marks"
}

make_data() {
    local n=$1
    mkdir -p "$dir/catalogs"
    ln -s "$build/catalogs/en_US" "$dir/en_US"
    cat > "$dir/rvk.opt" <<EOF
REPOSITORY $dir/vlt.db
SERVERNAME BENCHSRV
NODENAME BENCH
PASSWORDACCESS GENERATE
BUSYTIMEOUT 60
EOF
    # Untraced: no trace file, no trace flags.
    cat > "$dir/plain.opt" <<EOF
RVKI_DIR $build/lib
RVKI_LOG $dir
RVKI_ORC_DIR $dir
RVKI_ORC_CONFIG $dir/rvk.opt
ZEBO_FS /koruorc
EOF
    cp "$dir/plain.opt" "$dir/traced.opt"
    printf 'ZEBO_TRACE_FILE %s\nZEBO_TRACE_FLAGS ORCLEVEL1\n' "$dir/traced.trace" >> "$dir/traced.opt"
    vltadm -c "$dir/rvk.opt" init > /dev/null
    printf 'bench-pw\n' | vltadm -c "$dir/rvk.opt" node add BENCH > /dev/null
    # Objects c-<i>-<i*7>-1 over four high-level names; every tenth one is
    # missing from the catalog (an orphan). The catalog lists its handles
    # in reverse, so neither side arrives in the other's order.
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
    # The names the program looks up, in the order the server returns them,
    # and the orphans' ids in the order the program deletes them.
    sqlite3 -separator ' ' "$dir/vlt.db" "PRAGMA wal_checkpoint(TRUNCATE);" \
        "SELECT id, substr(ll, 2) FROM objects ORDER BY hl, ll, id" |
        awk 'NR > 1 { print $2 > "'"$dir"'/names"; split($2, p, "-"); if (p[2] % 10 == 0) print $1 > "'"$dir"'/orphan-ids" }'
    cp "$dir/vlt.db" "$dir/vlt.orig"
    sync
}

# A copy of the repository as made, written out with everything else still
# waiting to be written before anything is timed: otherwise the kernel
# writes the copy's hundreds of megabytes back (or the traced run's trace
# file) while the next program runs, on the same two processors and disk,
# and that program's time is partly theirs; a deletion's syncs wait behind
# them.
fresh_repository() {
    rm -f "$dir/vlt.db" "$dir/vlt.db-wal" "$dir/vlt.db-shm"
    cp "$dir/vlt.orig" "$dir/vlt.db"
    sync
}

# run_program KIND ANSWERS: one run of zebosync with the options KIND, its
# wall time in $dir/wall and its peak memory (MB) in $dir/rss.
run_program() {
    rm -f "$dir/$1.trace" "$dir/marks"
    local t0 t1
    t0=$(now)
    printf "$2" | SQLPLUS_SIM_DIR="$dir/catalogs" SQLPLUS_SIM_READY_SPOOL="$dir/ready.out" \
        ZEBO_AGENT_DIR="$dir" ZEBO_BENCH_PHASES="$dir/marks" /usr/bin/time -f %M -o "$dir/rss.kb" \
        zebosync SYNCdb "-ZEBO_OPTfile=$dir/$1.opt" > "$dir/out.txt" 2>&1 || {
        echo "zebosync failed (size $n); its last output:" >&2
        tail -20 "$dir/out.txt" >&2
        exit 1
    }
    t1=$(now)
    elapsed "$t0" "$t1" > "$dir/wall"
    awk '{ printf "%.1f", $1 / 1024 }' "$dir/rss.kb" > "$dir/rss"
}

leave='rman\nrman-pw\nbench\n01/01/2023\n12/31/2023\nq\n'
delete_all='rman\nrman-pw\nbench\n01/01/2023\n12/31/2023\n+\no\ny\nq\n'

# measure N FULL: R alternating rounds at size N; FULL=1 adds deletion and
# tracing.
measure() {
    local n=$1 full=$2 r t0 t1 out
    dir="$work/$n"
    mkdir -p "$dir"
    echo "== $n objects: making the data" >&2
    make_data "$n"
    # The first run spools through the simulator and keeps the spool.
    run_program plain "$leave"
    [ -s "$dir/ready.out" ] || { echo "$0: no ready spool" >&2; exit 1; }
    local orphans=$((n / 10))
    for r in $(seq 1 "$rounds"); do
        echo "== $n objects: round $r of $rounds" >&2
        t0=$(now)
        "$build/bench/hashset_bench" "$dir/ready.out" "$dir/names" > /dev/null
        t1=$(now)
        note hashset "$(elapsed "$t0" "$t1")"

        out=$("$build/bench/btree_bench" "$dir/ready.out" "$dir/names")
        note bt_insert "$(echo "$out" | sed 's/.*insert_s=\([0-9.]*\).*/\1/')"
        note bt_lookup "$(echo "$out" | sed 's/.*lookup_s=\([0-9.]*\).*/\1/')"
        note bt_release "$(echo "$out" | sed 's/.*release_s=\([0-9.]*\).*/\1/')"

        run_program plain "$leave"
        note whole "$(cat "$dir/wall")"
        note rss "$(cat "$dir/rss")"
        note load "$(span check.start load.end)"
        note match "$(span load.end pick.start)"
        note release "$(span release.start release.end)"

        [ "$full" = 1 ] || continue
        run_program traced "$leave"
        note traced "$(cat "$dir/wall")"
        local found
        found=$(sed -n 's/.*Server query and matching: [0-9.]* s, \([0-9]*\) orphans.*/\1/p' "$dir/traced.trace" | tail -1)
        [ "$found" = "$orphans" ] || { echo "$0: $found orphans, expected $orphans" >&2; exit 1; }
        rm -f "$dir/traced.trace"

        fresh_repository
        run_program plain "$delete_all"
        note delete "$(span delete.start delete.end)"
        local left
        left=$(sqlite3 "$dir/vlt.db" "SELECT count(*) FROM objects")
        [ "$left" = "$((n - orphans))" ] || { echo "$0: $left objects left, expected $((n - orphans))" >&2; exit 1; }

        fresh_repository
        out=$("$build/bench/delete_bench" "$dir/vlt.db" "$dir/orphan-ids")
        note raw_delete "$(echo "$out" | sed 's/.*delete_s=\([0-9.]*\).*/\1/')"
        fresh_repository
    done

    local whole hashset load ins match look del raw traced rel
    whole=$(median whole) hashset=$(median hashset) load=$(median load) ins=$(median bt_insert)
    match=$(median match) look=$(median bt_lookup) del=$(median delete) raw=$(median raw_delete)
    traced=$(median traced) rel=$(median release)
    printf '\n%s objects, %s orphans, %s rounds (medians; peak memory %s MB)\n' "$n" "$orphans" \
        "$rounds" "$(median rss)"
    printf '%-34s %9s %-24s %9s %7s %s\n' phase seconds "compared with" seconds ratio target
    printf '%-34s %9s %-24s %9s %7s %s\n' "whole run, leaving with Q" "$whole" "hash-set lower bound" \
        "$hashset" "$(ratio "$whole" "$hashset")" "<= 2.5"
    printf '%-34s %9s %-24s %9s %7s %s\n' "handle load into the index" "$load" "index insertion alone" \
        "$ins" "$(ratio "$load" "$ins")" "<= 1.0"
    printf '%-34s %9s %-24s %9s %7s %s\n' "server query + matching" "$match" "index lookups alone" \
        "$look" "$(ratio "$match" "$look")" "<= 1.5"
    printf '%-34s %9s %-24s %9s %7s %s\n' "index release at the end" "$rel" "whole run" \
        "$whole" "$(ratio "$rel" "$whole")" "<= 0.05"
    if [ "$full" = 1 ]; then
        printf '%-34s %9s %-24s %9s %7s %s\n' "deleting $((n / 10)), 256 per txn" "$del" \
            "raw SQLite delete-by-id" "$raw" "$(ratio "$del" "$raw")" "<= 1.0 (time)"
        printf '%-34s %9s %-24s %9s %7s %s\n' "whole run with ORCLEVEL1 trace" "$traced" \
            "the untraced run" "$whole" "$(ratio "$traced" "$whole")" "<= 2.0"
    fi
    for f in whole load match release; do
        echo "$(median $f)" > "$work/result.$n.$f"
    done
    rm -rf "$dir"
}

echo "zebosync benchmark, $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores," \
    "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1)"
for n in $sizes; do measure "$n" 1; done
for n in $large; do measure "$n" 0; done

# Growth from each size to the next tenfold one.
all="$sizes $large"
for n in $all; do
    m=$((n * 10))
    [ -e "$work/result.$m.whole" ] && [ -e "$work/result.$n.whole" ] || continue
    printf '\ngrowth from %s to %s objects (target: at most 11x each)\n' "$n" "$m"
    for f in whole load match release; do
        printf '  %-8s %7sx\n' "$f" "$(ratio "$(cat "$work/result.$m.$f")" "$(cat "$work/result.$n.$f")")"
    done
done
