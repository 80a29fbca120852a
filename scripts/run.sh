#!/usr/bin/env bash
# Installs what is missing, builds the release version and starts it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
builddir="$root/build/release"

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVINA_BUILD_TESTS=OFF
cmake --build "$builddir"
exec "$builddir/src/cli/corvina-backup" --help
