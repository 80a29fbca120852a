#!/usr/bin/env bash
# Fuzzes the archive reader for a bounded time with libFuzzer.
#   scripts/fuzz.sh [seconds] [libFuzzer options...]   seconds default 60
# Configures a clang build in build/fuzz, builds only the fuzz target, runs it
# on a working copy of the seed corpus and exits non-zero on a crash, a leak
# or a hang (libFuzzer's own exit status).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
shift || true
builddir="$root/build/fuzz"

cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER=clang++ -DCORVINA_FUZZ=ON >/dev/null
cmake --build "$builddir" --target fuzz_archive_reader -j2

corpus="$builddir/corpus"
mkdir -p "$corpus" "$builddir/artifacts"
cp -n "$root/tests/zip/fuzz/corpus/"* "$corpus/"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/scripts/lsan.supp}
cd "$builddir"
exec ./tests/zip/fuzz_archive_reader "$corpus" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$builddir/artifacts/" -print_final_stats=1 "$@"
