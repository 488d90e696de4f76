#!/usr/bin/env bash
# Times whole runs of the pick list over lists of growing size, so that a
# cost that grows faster than the list shows at once: each step of sizes is
# tenfold, and a linear command takes about ten times as long per step.
#
#   sync/bench/picklist_bench.sh BUILD_DIR [SIZE...]     (default 10000 100000 1000000)
#
# Scenarios (each ends with "q"): open only; "+" (mark everything); "+" then
# "-"; the range "1:N+"; "B" (page to the bottom); 100 redraws of the page.
# Prints seconds and peak memory (KB) per run; "open" is the cost of building
# the list itself, which the others include.
set -euo pipefail
build=$(cd "${1:?usage: picklist_bench.sh BUILD_DIR [SIZE...]}" && pwd)
shift
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(10000 100000 1000000)
src=$(cd "$(dirname "$0")/../.." && pwd)
bench=$build/bench/picklist_bench

if ! cmake --build "$build" --target picklist_bench >/dev/null 2>&1; then
    # The build tree was configured without benchmarks: link against its
    # libraries directly.
    cmake --build "$build" --target zebo_sync zebo_catalogs >/dev/null 2>&1 ||
        { echo "picklist_bench.sh: cannot build in $build" >&2; exit 1; }
    mkdir -p "$build/bench"
    g++ -std=c++17 -O2 -I"$src" -I"$build/generated" "$src/sync/bench/picklist_bench.cpp" \
        -o "$bench" "$build/sync/libzebo_sync.a" "$build/agent/libzebo_agent.a" \
        "$build/api/libzebo_api.a" "$build/common/nls/libzebo_nls.a" \
        "$build/common/ut/libzebo_ut.a" "$build/common/unx/libzebo_unx.a" \
        "$build/common/thrd/libzebo_thrd.a" -ldl -lpthread
fi

# The page is cleared through "tput clear" on every redraw, as in real use.
export TERM=${TERM:-xterm}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

commands() {  # scenario size
    case $1 in
        open) printf 'q\n' ;;
        plus) printf '+\nq\n' ;;
        plusminus) printf '+\n-\nq\n' ;;
        range) printf '1:%d+\nq\n' "$2" ;;
        bottom) printf 'B\nq\n' ;;
        redraw100) for _ in $(seq 100); do printf '\n'; done; printf 'q\n' ;;
    esac
}

printf '%-10s %-10s %8s %10s  %s\n' entries scenario seconds peakKB check
for size in "${sizes[@]}"; do
    for scenario in open plus plusminus range bottom redraw100; do
        commands "$scenario" "$size" >"$work/in"
        /usr/bin/time -f '%e %M' -o "$work/time" \
            "$bench" "$size" "$build/catalogs" <"$work/in" >/dev/null 2>"$work/err"
        read -r seconds kb <"$work/time"
        printf '%-10s %-10s %8s %10s  %s\n' "$size" "$scenario" "$seconds" "$kb" \
            "$(grep entries= "$work/err")"
    done
done
