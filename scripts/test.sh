#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test inside a private
# D-Bus session with its own unlocked keyring.
#   scripts/test.sh              debug build in build/debug
#   scripts/test.sh --sanitize   AddressSanitizer + UBSan build in build/asan
#   scripts/test.sh --release    optimised build, as users get it, in build/release-tests
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

sanitize=OFF
buildtype=Debug
builddir="$root/build/debug"
case "${1:-}" in
--sanitize)
    sanitize=ON
    builddir="$root/build/asan"
    ;;
--release)
    buildtype=Release
    builddir="$root/build/release-tests"
    ;;
esac

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=$buildtype -DCORVINA_SANITIZE=$sanitize
cmake --build "$builddir"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/scripts/lsan.supp}
status=0
bash "$root/scripts/with-keyring.sh" ctest --test-dir "$builddir" --output-on-failure -j2 || status=$?
# A test that this machine cannot run (no mount, no loop device, no ptrace)
# skips; say which, so that a skip is never taken for a pass.
if grep -h "^SKIP " "$builddir/Testing/Temporary/LastTest.log" >/dev/null 2>&1; then
    echo "Skipped on this machine:"
    grep -h "^SKIP " "$builddir/Testing/Temporary/LastTest.log" | sort -u
fi
exit $status
