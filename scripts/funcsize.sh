#!/usr/bin/env bash
# Lists the functions of the project's own sources (tests, test tools and
# generated files left out) that are longer than a number of lines (default
# 60), longest first, with clang-tidy's readability-function-size and the
# compile commands of a configured build. The last line is the count.
#
#   scripts/funcsize.sh [BUILD_DIR] [LINES]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
limit=${2:-60}
cd "$root"
mapfile -t sources < <(git ls-files '*.cpp' '*.c' |
    grep -Ev '(_test|_testutil)\.cpp$|^testing/|^fuzz/|(^|/)bench/|^tools/' || true)
config="{Checks: '-*,readability-function-size', CheckOptions: [{key: readability-function-size.LineThreshold, value: $limit}]}"
result=$(printf '%s\n' "${sources[@]}" |
    xargs -P2 -n8 clang-tidy -p "$build" --quiet --config="$config" 2>/dev/null |
    awk '/warning: function .* exceeds recommended size/ { fn = $0; sub(/.*function /, "", fn); sub(/ exceeds.*/, "", fn); loc = $1 }
         /note: [0-9]+ lines including/ { n = $0; sub(/.*note: /, "", n); sub(/ lines.*/, "", n); print n, fn, loc }' |
    sort -u | sort -rn)
[ -z "$result" ] || printf '%s\n' "$result"
echo "functions over $limit lines (blank and comment lines included): $(printf '%s' "$result" | grep -c . || true)"
