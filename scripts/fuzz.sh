#!/usr/bin/env bash
# Fuzzes every parser of outside input with libFuzzer, one target after the
# other, in a clang build in build/fuzz.
#   scripts/fuzz.sh [seconds] [libFuzzer options...]
#       The seconds (default 300) are shared evenly among the targets.
#   scripts/fuzz.sh --long [libFuzzer options...]
#       10 million inputs for the archive reader and for extraction, 2 million
#       for each other target: hours on a small machine.
# FUZZ_TARGETS="fuzz_appcast ..." picks targets. Each target works on a copy
# of its seed corpus in build/fuzz/corpus, to which foreign archives made
# with Info-ZIP zip, Python's zipfile and bsdtar are added here. Logs go to
# build/fuzz/logs, crashing inputs to build/fuzz/artifacts. Exits non-zero
# when any target found a crash, a leak or a hang.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
builddir="$root/build/fuzz"
long=0
seconds=300
if [[ ${1:-} == --long ]]; then
    long=1
    shift
elif [[ ${1:-} =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi

# target  committed seeds  dictionary  inputs of a long run
table="fuzz_archive_reader tests/zip/fuzz/corpus/archive_reader tests/zip/fuzz/zip.dict 10000000
fuzz_extraction tests/engine/fuzz/corpus/extraction tests/engine/fuzz/extraction.dict 10000000
fuzz_apple_double tests/engine/fuzz/corpus/apple_double tests/engine/fuzz/apple_double.dict 2000000
fuzz_decrypting_reader tests/engine/fuzz/corpus/decrypting_reader - 2000000
fuzz_appcast tests/updates/fuzz/corpus/appcast tests/updates/fuzz/appcast.dict 2000000"
targets=${FUZZ_TARGETS:-$(cut -d' ' -f1 <<<"$table" | tr '\n' ' ')}
count=$(wc -w <<<"$targets")

# Optimised as libFuzzer recommends (-O1), with assertions and debug lines
# for the stack traces of what it finds.
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
    -DCMAKE_CXX_COMPILER=clang++ -DCORVINA_FUZZ=ON >/dev/null
# shellcheck disable=SC2086
cmake --build "$builddir" --target $targets -j2

# Archives from other programs, made afresh rather than kept as binaries.
foreignArchives() {
    local out=$1 work
    work=$(mktemp -d)
    mkdir -p "$work/Data/sub"
    printf 'Pflegebericht\n' >"$work/Data/a.txt"
    head -c 3000 /dev/zero | tr '\0' 'x' >"$work/Data/sub/b.txt"
    ln -s ../a.txt "$work/Data/sub/link"
    (cd "$work" && zip -qry "$out/infozip.zip" Data && zip -qry0 "$out/infozip-stored.zip" Data &&
        zip -qry -fz "$out/infozip-zip64.zip" Data &&
        printf 'Kommentar\n' | zip -qz "$out/infozip.zip" >/dev/null &&
        printf 'piped' | zip -q "$out/infozip-stream.zip" - &&
        bsdtar --format zip -cf "$out/bsdtar.zip" Data &&
        bsdtar --format zip --options zip:compression=store -cf "$out/bsdtar-stored.zip" Data &&
        bsdtar --format zip -cf - Data | cat >"$out/bsdtar-stream.zip")
    python3 - "$work" "$out" <<'PY'
import os, sys, zipfile
work, out = sys.argv[1:]
for name, method, zip64 in [("python-stored.zip", zipfile.ZIP_STORED, False),
                            ("python-deflated.zip", zipfile.ZIP_DEFLATED, False),
                            ("python-zip64.zip", zipfile.ZIP_STORED, True)]:
    with zipfile.ZipFile(os.path.join(out, name), "w", method) as z:
        z.comment = b"Sicherung"
        for folder, _, files in os.walk(os.path.join(work, "Data")):
            for f in files:
                path = os.path.join(folder, f)
                with open(path, "rb") as src, z.open(os.path.relpath(path, work), "w",
                                                     force_zip64=zip64) as dst:
                    dst.write(src.read())
PY
    rm -rf "$work"
}

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/scripts/lsan.supp}
mkdir -p "$builddir/artifacts" "$builddir/logs"
failed=0
for target in $targets; do
    read -r _ seeds dict runs < <(grep "^$target " <<<"$table")
    corpus="$builddir/corpus/${target#fuzz_}"
    mkdir -p "$corpus"
    cp -n "$root/$seeds/"* "$corpus/"
    if [[ $target == fuzz_archive_reader ]]; then
        foreignArchives "$corpus"
    fi
    options=(-timeout=10 -rss_limit_mb=2048 -print_final_stats=1
        -artifact_prefix="$builddir/artifacts/$target-")
    [[ $dict == - ]] || options+=(-dict="$root/$dict")
    if ((long)); then
        options+=(-runs="$runs")
    else
        options+=(-max_total_time=$((seconds / count)))
    fi
    binary=$(find "$builddir/tests" -name "$target" -type f -perm -u+x | head -1)
    echo "== $target"
    status=0
    (cd "$builddir" && "$binary" "$corpus" "${options[@]}" "$@") >"$builddir/logs/$target.log" 2>&1 ||
        status=$?
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)|^Done ' \
        "$builddir/logs/$target.log" || true
    if ((status != 0)); then
        echo "$target failed ($status); see $builddir/logs/$target.log"
        tail -30 "$builddir/logs/$target.log"
        failed=1
    fi
done
exit $failed
