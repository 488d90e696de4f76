#!/bin/sh
# One fuzz target's CTest run: WORK EXE SECONDS SEEDS [REGRESSIONS]. New
# inputs go to WORK (emptied first), never into the repository; the seeds
# and every kept regression input run first, then SECONDS of fuzzing.
work=$1 exe=$2 seconds=$3 seeds=$4 regressions=$5
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
set -- "$work" "$seeds"
# A target without findings has no regressions folder in the repository.
[ -n "$regressions" ] && [ -d "$regressions" ] && set -- "$@" "$regressions"
exec "$exe" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 "$@"
