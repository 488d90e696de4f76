#!/usr/bin/env bash
# The long fuzz campaign: runs every fuzz target of fuzz/ for SECONDS each,
# one after another (one process: the machine's cores are shared), merges
# what each run found into its committed seed corpus (fuzz/corpus/<target>,
# only inputs that add coverage) and keeps every crash, leak or timeout as a
# regression input (fuzz/regressions/<target>), which the CTest fuzz tests
# replay. Prints one line per target: executions, new corpus files, findings;
# and appends them to fuzz/campaign.log.
#
#   scripts/fuzz-campaign.sh SECONDS [TARGET...]
#
# Builds the clang fuzz build (build-fuzz/, or FUZZ_BUILD_DIR) first. Exits
# 1 when any target found something.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ $# -lt 1 ] || ! [[ $1 =~ ^[0-9]+$ ]]; then
    echo "usage: $0 SECONDS [TARGET...]" >&2
    exit 2
fi
seconds=$1
shift
build=${FUZZ_BUILD_DIR:-$root/build-fuzz}
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DZEBO_TESTS=OFF -DZEBO_FUZZ=ON >/dev/null
cmake --build "$build" -j2 --target zebo_fuzz >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for f in "$root"/fuzz/*_fuzz.cpp; do
        n=$(basename "$f" _fuzz.cpp)
        targets+=("$n")
    done
fi

found=0
for t in "${targets[@]}"; do
    exe=$build/fuzzbin/${t}_fuzz
    seeds=$root/fuzz/corpus/$t
    regressions=$root/fuzz/regressions/$t
    # One folder per run, so that two runs of the same target (one per core)
    # keep out of each other's way.
    work=$build/campaign/$t.$$
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/artifacts" "$seeds" "$regressions"
    log=$work/fuzz.log
    # A finding stops the run: it is kept, and the next campaign replays it
    # from regressions/ at once until it is fixed.
    set +e
    (cd "$work" && "$exe" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$work/artifacts/" \
        "$work/corpus" "$seeds" "$regressions") >"$log" 2>&1
    rc=$?
    set -e
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    findings=0
    for a in "$work"/artifacts/*; do
        [ -f "$a" ] || continue
        cp "$a" "$regressions/"
        findings=$((findings + 1))
        echo "$t: finding kept as fuzz/regressions/$t/$(basename "$a")"
    done
    if [ $rc -ne 0 ]; then
        tail -40 "$log" >&2
        [ "$findings" -gt 0 ] || findings=1
    fi
    found=$((found + findings))
    # The seeds gain only the new inputs that reach new code (edges, not hit
    # counts, so that the committed corpus stays small).
    before=$(find "$seeds" -type f | wc -l)
    merged=1
    (cd "$work" && "$exe" -merge=1 -use_counters=0 -timeout=10 "$seeds" "$work/corpus") >"$work/merge.log" 2>&1 || {
        merged=0
        echo "$t: merge failed, see $work/merge.log" >&2
    }
    after=$(find "$seeds" -type f | wc -l)
    line="$(date -u +%FT%TZ) $t: ${seconds}s, ${execs:-0} executions, corpus $before -> $after files, findings $findings"
    echo "$line"
    echo "$line" >>"$root/fuzz/campaign.log"
    # A run's folder is named by its process, so nothing reuses it: it goes
    # once everything in it is kept, and stays for reading when a run or its
    # merge failed.
    if [ $rc -eq 0 ] && [ $merged -eq 1 ]; then rm -rf "$work"; fi
done
[ "$found" -eq 0 ]
