#!/usr/bin/env bash
# Runs a command with DBUS_SYSTEM_BUS_ADDRESS naming a private bus on which a
# fake fprintd (fprintd_template.py) runs.
#   with-fake-fprintd.sh [--no-service] COMMAND...
# With --no-service the bus has no fingerprint daemon at all.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
service=yes
if [ "${1:-}" = "--no-service" ]; then
    service=no
    shift
fi

scratch=$(mktemp -d /tmp/corvina-fprintd.XXXXXX)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    rm -rf "$scratch"
}
trap cleanup EXIT

dbus-daemon --session --nofork --nopidfile --address="unix:path=$scratch/bus" \
    --print-address=3 3>"$scratch/address" >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -s "$scratch/address" ] && break; sleep 0.05; done
export DBUS_SYSTEM_BUS_ADDRESS
DBUS_SYSTEM_BUS_ADDRESS=$(head -n 1 "$scratch/address")

if [ "$service" = yes ]; then
    /usr/bin/python3 -m dbusmock --system --template "$here/fprintd_template.py" \
        >"$scratch/mock.log" 2>&1 &
    pids+=($!)
    if ! timeout 10 gdbus wait --system net.reactivated.Fprint; then
        cat "$scratch/mock.log" >&2
        exit 1
    fi
fi

"$@"
