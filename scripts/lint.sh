#!/usr/bin/env bash
# The lint gate: clang-tidy (checks in .clang-tidy) and cppcheck over the
# project's own sources, tests and generated files left out, with the
# compile commands of a configured build. Any finding fails it.
#
#   scripts/lint.sh [BUILD_DIR]     (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
case $build in /*) ;; *) build=$root/$build ;; esac
db=$build/compile_commands.json
[ -f "$db" ] || { echo "lint: $db is missing: configure the build first" >&2; exit 1; }
cd "$root"

# The sources: every C and C++ file of the repository except the tests, their
# helpers and the fuzz targets (they exercise the code, they are not part of
# it), listed by git so that build trees and scratch files never count.
mapfile -t sources < <(git ls-files '*.cpp' '*.c' |
    grep -Ev '(_test|_testutil)\.cpp$|^testing/|^fuzz/|(^|/)bench/' || true)

echo "lint: clang-tidy on ${#sources[@]} files"
# Two at a time: the machines that run it are small.
printf '%s\n' "${sources[@]}" |
    xargs -P2 -n8 clang-tidy -p "$build" --quiet 2>/dev/null |
    tee "$build/clang-tidy.log" >/dev/null
if grep -q ': \(warning\|error\):' "$build/clang-tidy.log"; then
    grep -A3 ': \(warning\|error\):' "$build/clang-tidy.log"
    echo "lint: clang-tidy found the problems above" >&2
    exit 1
fi

echo "lint: cppcheck"
# Suppressions, each with its reason:
suppress=(
    # The system headers are not cppcheck's to read; the compiler checks them.
    missingIncludeSystem
    # Style advice, not faults: raw loops, declarations at the top of a block
    # and non-const locals are how the code of this system reads.
    useStlAlgorithm variableScope constVariable constParameter
    # Dates and small records are passed by value on purpose.
    passedByValue
    # "ok" is set through a reference by the password check just above.
    knownConditionTrueFalse:vltapi/api_logon.cpp
    # A summary line, not a finding.
    checkersReport
)
args=()
for s in "${suppress[@]}"; do args+=("--suppress=$s"); done
cppcheck --quiet --enable=warning,performance,portability,style --std=c++17 --inline-suppr \
    -I "$root" -I "$build/generated" "${args[@]}" -j2 --error-exitcode=1 \
    --template='{file}:{line}:{column}: {severity}: {message} [{id}]' "${sources[@]}"
echo "lint: clean"
