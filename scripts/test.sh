#!/usr/bin/env bash
# Configures, builds and runs every test of the project twice: a normal build
# (build/) and an AddressSanitizer + UndefinedBehaviorSanitizer build
# (build-asan/). Installs missing Debian packages when run as root, otherwise
# names them and stops.
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
echo "== sanitizer build =="
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# libpq's message catalogs stay bound for the life of a process (see the file).
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/testing/lsan.supp}
build_and_test build-asan -DCMAKE_BUILD_TYPE=Debug -DZEBO_SANITIZE=ON
