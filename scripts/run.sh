#!/usr/bin/env bash
# Installs what is missing, builds the release version and opens its window.
# The window needs a desktop session (X11 or Wayland); without one the script
# builds it, says how to start the program on a virtual X server and stops.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
builddir="$root/build/release"

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVINA_BUILD_TESTS=OFF
cmake --build "$builddir"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    cat >&2 <<EOF
No desktop session: neither DISPLAY nor WAYLAND_DISPLAY is set, so the window
of Corvina-Backup-Manager has nowhere to open.

Start it on a virtual X server instead:
    xvfb-run -a bash scripts/run.sh
or save screenshots of its locked and unlocked window into build/screenshots:
    bash scripts/screenshots.sh
EOF
    exit 2
fi

exec "$builddir/src/shell/corvina-backup-manager"
