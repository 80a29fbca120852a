#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test inside a private
# D-Bus session with its own unlocked keyring.
#   scripts/test.sh              debug build in build/debug
#   scripts/test.sh --sanitize   AddressSanitizer + UBSan build in build/asan
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

sanitize=OFF
builddir="$root/build/debug"
if [ "${1:-}" = "--sanitize" ]; then
    sanitize=ON
    builddir="$root/build/asan"
fi

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCORVINA_SANITIZE=$sanitize
cmake --build "$builddir"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/scripts/lsan.supp}
bash "$root/scripts/with-keyring.sh" ctest --test-dir "$builddir" --output-on-failure -j2
