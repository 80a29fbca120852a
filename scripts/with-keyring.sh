#!/usr/bin/env bash
# Runs a command inside a private D-Bus session with an unlocked GNOME keyring,
# with HOME and the XDG folders pointing at a scratch folder, so that nothing
# touches the user's own keyring or settings.
set -euo pipefail

scratch=$(mktemp -d /tmp/corvina-session.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/home" "$scratch/runtime" "$scratch/home/.config" "$scratch/home/.local/share"
chmod 700 "$scratch/runtime"
export HOME="$scratch/home"
export XDG_RUNTIME_DIR="$scratch/runtime"
export XDG_CONFIG_HOME="$HOME/.config"
export XDG_DATA_HOME="$HOME/.local/share"
export XDG_CACHE_HOME="$HOME/.cache"
export XDG_STATE_HOME="$HOME/.local/state"
unset DBUS_SESSION_BUS_ADDRESS GNOME_KEYRING_CONTROL

# shellcheck disable=SC2016
exec dbus-run-session -- sh -c '
    echo -n corvina-test | gnome-keyring-daemon --unlock --components=secrets >/dev/null
    timeout 20 gdbus wait --session org.freedesktop.secrets
    exec "$@"
' sh "$@"
