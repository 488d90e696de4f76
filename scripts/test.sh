#!/usr/bin/env bash
# Configures, builds and runs every test of the project twice: a normal build
# (build/) and an AddressSanitizer + UndefinedBehaviorSanitizer build
# (build-asan/), with the lint gate (scripts/lint.sh) after the normal
# build; as root, checks the Debian packages of the normal build in
# between (scripts/check-packages.sh).
# Last, builds the fuzz targets with clang (build-fuzz/) and runs each for
# a few seconds (ctest -L fuzz). Installs missing Debian packages when run
# as root, otherwise names them and stops.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
# shellcheck source=scripts/packages.sh
. "$root/scripts/packages.sh"
zebo_need_packages

jobs=$(nproc 2>/dev/null || echo 2)
build_and_test() {
    local dir=$1
    shift
    cmake -S "$root" -B "$root/$dir" -DZEBO_BENCH=ON "$@" >/dev/null
    cmake --build "$root/$dir" -j"$jobs"
    # The tests run one at a time: several drive real terminals and processes.
    (cd "$root/$dir" && ctest --output-on-failure --timeout 600 -j1)
}

echo "== normal build =="
build_and_test build -DCMAKE_BUILD_TYPE=RelWithDebInfo
# clang-tidy and cppcheck with the normal build's compile commands.
echo "== lint =="
"$root/scripts/lint.sh" "$root/build"
# The package check installs and removes the Debian packages made from the
# normal build, so it needs root; it runs once, on that build.
if [ "$(id -u)" -eq 0 ]; then
    echo "== Debian packages =="
    "$root/scripts/check-packages.sh" --skip-scratch --pkg-build "$root/build"
else
    echo "== Debian packages: skipped (the package check installs packages: run as root) =="
fi
echo "== sanitizer build =="
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# libpq's message catalogs stay bound for the life of a process (see the file).
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/testing/lsan.supp:print_suppressions=0}
build_and_test build-asan -DCMAKE_BUILD_TYPE=Debug -DZEBO_SANITIZE=ON
echo "== fuzz build =="
# Only the fuzz targets and what they link; each runs for ZEBO_FUZZ_SECONDS
# from its seed corpus and replays the kept regression inputs. The long
# campaign is scripts/fuzz-campaign.sh.
CC=clang CXX=clang++ cmake -S "$root" -B "$root/build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DZEBO_TESTS=OFF -DZEBO_FUZZ=ON >/dev/null
cmake --build "$root/build-fuzz" -j"$jobs" --target zebo_fuzz
(cd "$root/build-fuzz" && ctest --output-on-failure --timeout 600 -j1 -L fuzz)
