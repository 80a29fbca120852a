#!/usr/bin/env bash
# Builds the release tool and runs the backup/restore benchmark against the
# stream pipelines (tar | openssl enc), restic and borg where installed, and
# the machine's limit (AES alone, copying alone). About ten minutes at full
# scale on 2 cores; a smaller --scale shortens it.
#   bench/run.sh [--scale 0.5] [--rounds 3] [--only large] ...
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
builddir="$root/build/release"
bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVINA_BUILD_TESTS=OFF >/dev/null
cmake --build "$builddir" --target corvina-backup
exec python3 "$root/bench/backup_bench.py" --tool "$builddir/src/cli/corvina-backup" "$@"
