#!/usr/bin/env bash
# Starts the window program under Xvfb with a private keyring and saves
# screenshots of its window into a folder:
#   unlocked.png              started without a master password
#   locked.png                started with a master password in the keyring
#   wrong-password.png        just after a wrong password was entered
#   unlocked-by-password.png  after the right password
#   tile-hover.png            the pointer over the tile "Löschen"
#   locked-again.png          after a click on the lock item
#   gate-keyring-locked.png   the gate over a keyring that is locked and can't prompt
#   touchid-unavailable.png   fingerprint on, but no fprintd on the system bus
#   sheet-create.png          the backup sheet with a typed comment
#   working.png               the working pop-up while the backup runs
#   result-line.png           the result line after the backup
#   sheet-restore.png         the restore sheet with the new backup chosen
#   close-alert.png           the alert that closes the running companion
#   edit-comment.png          the comment editor of the chosen backup (F2)
#   delete-alert.png          the confirmation before deleting it (Delete)
#   sheet-delete.png          the delete sheet
#   create-failed.png         a backup that failed (no data folder) says why
#   update-dialog.png         a local appcast offers a newer version at start
#   update-badge.png          the main screen's update badge after "Später erinnern"
#   settings-app-password.png, settings-zip-password.png, settings-storage.png
#                             the tabs of the settings window (Ctrl+,)
#   settings-input-sheet.png  the sheet "Passwort bearbeiten" with a short password
#   settings-error-alert.png  the alert "Error" after "Speichern"
#   settings-override-warning.png  the alert "Warnung" over a stored archive password
#   settings-folder-dialog.png     the folder dialog of "Pfad auswählen"
#   update-tab.png            the settings tab "Update"
#   schedule-tab-missing.png  the tab "Zeitplan" without archive password and folder
#   main-schedule-failure.png the main screen after a failed automatic backup
#   schedule-tab-failed.png   the tab "Zeitplan" after that failure, still off
#   schedule-tab-on.png       the tab "Zeitplan" turned on (no user systemd: next login)
#   main-schedule-recovered.png  the main screen after the next automatic backup succeeded
#
#   scripts/screenshots.sh [OUTPUT_FOLDER] [BUILD_FOLDER]
# The build folder defaults to the release build of scripts/run.sh; it is
# built when the program is missing there.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$(mkdir -p "${1:-$root/build/screenshots}" && cd "${1:-$root/build/screenshots}" && pwd)
builddir=${2:-$root/build/release}
program="$builddir/src/shell/corvina-backup-manager"

if [ ! -x "$program" ]; then
    bash "$root/scripts/install-deps.sh"
    cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVINA_BUILD_TESTS=OFF
    cmake --build "$builddir" --target corvina-backup-manager
fi

export CORVINA_PROGRAM="$program" CORVINA_SHOTS="$out" CORVINA_SOURCE="$root"
# shellcheck disable=SC2016
exec bash "$root/scripts/with-keyring.sh" bash -c '
    set -euo pipefail
    exec 3>"$XDG_RUNTIME_DIR/display"
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb=$!
    trap "kill \$xvfb 2>/dev/null || true" EXIT
    for _ in $(seq 50); do [ -s "$XDG_RUNTIME_DIR/display" ] && break; sleep 0.1; done
    export DISPLAY=":$(cat "$XDG_RUNTIME_DIR/display")"
    export QT_QPA_PLATFORM=xcb

    shoot() { import -window "$window" "$CORVINA_SHOTS/$1"; echo "saved $CORVINA_SHOTS/$1"; }
    # Pointer positions in the window: the header tool bar is 40 high, the
    # tiles are centred below it.
    point() { xdotool mousemove --window "$window" "$1" "$2"; }
    start() {
        "$CORVINA_PROGRAM" >/dev/null 2>&1 &
        app=$!
        window=""
        for _ in $(seq 100); do
            window=$(xdotool search --onlyvisible --pid "$app" 2>/dev/null | head -n 1) && [ -n "$window" ] && break
            sleep 0.1
        done
        # Without a window manager nobody gives the new window the keyboard.
        xdotool windowfocus --sync "$window"
        # The pointer starts in the middle of the screen; away from the tiles.
        xdotool mousemove --screen 0 3 3
    }

    # Without a master password the program opens unlocked.
    start
    sleep 2.5
    shoot unlocked.png
    kill "$app"; wait "$app" 2>/dev/null || true

    # With one it opens locked.
    printf "%s" "Geheim-42" | secret-tool store --label="Corvina master password" \
        service de.Corvina-Backup-Manager.MasterPassword account masterPassword
    start
    sleep 2
    shoot locked.png
    xdotool type --delay 40 "falsch"
    xdotool key Return
    sleep 0.8
    shoot wrong-password.png
    sleep 1.5
    xdotool type --delay 40 "Geheim-42"
    xdotool key Return
    sleep 2.5
    shoot unlocked-by-password.png
    point 450 340
    sleep 0.8
    shoot tile-hover.png
    point 24 20
    xdotool click 1
    sleep 2
    shoot locked-again.png
    kill "$app"; wait "$app" 2>/dev/null || true

    # The program knows it has a master password; the keyring is locked and
    # its prompter has no display: the gate stays shut and says why.
    gdbus call --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets \
        --method org.freedesktop.Secret.Service.Lock "[\"/org/freedesktop/secrets/collection/login\"]" >/dev/null
    start
    sleep 2.5
    shoot gate-keyring-locked.png
    kill "$app"; wait "$app" 2>/dev/null || true
    /usr/bin/python3 "$CORVINA_SOURCE/tests/session/keyring_control.py" unlock

    # The three actions over a data folder and a storage folder of our own;
    # the large file keeps the backup running long enough to be seen.
    data="$HOME/Library/Containers/de.halvorn/Data"
    mkdir -p "$data/Pflege" "$HOME/Backups"
    printf "Frau Berger, Zimmer 4" >"$data/Patienten.db"
    head -c 600000000 /dev/urandom >"$data/Pflege/Scans.bin"
    conf="$XDG_CONFIG_HOME/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"
    mkdir -p "$(dirname "$conf")"
    if grep -q "^\[General\]" "$conf" 2>/dev/null; then
        sed -i "/^\[General\]/a savedPathKey=$HOME/Backups" "$conf"
    else
        printf "[General]\nsavedPathKey=%s\n" "$HOME/Backups" >>"$conf"
    fi
    printf "%s" "Archiv-7" | secret-tool store --label="Corvina archive password" \
        service de.Corvina-Backup-Manager.ZipPassword account zipPassword
    start
    sleep 2
    xdotool type --delay 40 "Geheim-42"
    xdotool key Return
    sleep 2.5
    # Tiles, top to bottom, at y = 140, 240, 340, 440.
    point 450 140
    xdotool click 1
    sleep 1.2
    xdotool type --delay 40 "Vor dem Update der Pflegesoftware"
    sleep 1
    shoot sheet-create.png
    # From the editor, Tab reaches "Abbrechen", then "Erstellen".
    xdotool key Tab Tab space
    # The pop-up is up while the backup is written, about a second here.
    sleep 0.4
    shoot working.png
    for _ in $(seq 60); do ls "$HOME/Backups"/*.halvorn >/dev/null 2>&1 && break; sleep 0.5; done
    sleep 1.5
    shoot result-line.png
    FLATPAK_ID=de.halvorn sleep 600 &
    companion=$!
    sleep 4
    point 450 240
    xdotool click 1
    point 5 5
    sleep 1.2
    xdotool key Down
    sleep 0.5
    shoot sheet-restore.png
    xdotool key Return
    sleep 1
    shoot close-alert.png
    xdotool key Escape
    sleep 0.5
    xdotool key F2
    sleep 1
    shoot edit-comment.png
    xdotool key Escape
    sleep 0.5
    xdotool key Delete
    sleep 1
    shoot delete-alert.png
    xdotool key Escape
    sleep 0.5
    xdotool key Escape
    sleep 1
    point 450 340
    xdotool click 1
    point 5 5
    sleep 1.2
    shoot sheet-delete.png
    xdotool key Escape
    sleep 1
    mv "$data" "$data.aside"
    point 450 140
    xdotool click 1
    point 5 5
    sleep 1.2
    xdotool key Tab Tab space
    sleep 1.5
    shoot create-failed.png
    xdotool key Return
    sleep 0.5
    xdotool key Escape
    mv "$data.aside" "$data"
    kill "$companion" "$app"; wait "$app" 2>/dev/null || true

    # With the fingerprint switched on the prompt opens by itself and, with no
    # fingerprint daemon to ask, reports that there is no reader.
    printf "%s" true | secret-tool store --label="Corvina Touch ID" account useTouchID
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$XDG_RUNTIME_DIR/no-system-bus"
    start
    sleep 2.5
    shoot touchid-unavailable.png
    kill "$app"; wait "$app" 2>/dev/null || true

    # A local appcast offers version 9.9.9: the check at start finds it,
    # the update dialog opens, and the badge stays after "Später erinnern".
    feed="$XDG_RUNTIME_DIR/feed"
    mkdir -p "$feed" "$XDG_CONFIG_HOME/de.Corvina-Backup-Manager"
    python3 -u -m http.server 0 --bind 127.0.0.1 --directory "$feed" >"$feed.log" 2>&1 &
    server=$!
    trap "kill \$xvfb \$server 2>/dev/null || true" EXIT
    for _ in $(seq 50); do grep -q "port" "$feed.log" && break; sleep 0.1; done
    port=$(sed -n "s/.* port \([0-9]*\).*/\1/p" "$feed.log" | head -n 1)
    cat >"$feed/appcast.xml" <<XML
<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Corvina Backup Manager</title>
<item><title>Corvina Backup Manager 9.9.9</title>
<description>Backups werden schneller erstellt. Die Liste der Backups zeigt die Kommentare vollständig.</description>
<sparkle:version>999</sparkle:version><sparkle:shortVersionString>9.9.9</sparkle:shortVersionString>
<enclosure url="http://127.0.0.1:$port/Corvina.AppImage" length="4" type="application/octet-stream"/>
</item></channel></rss>
XML
    printf "[General]\nSUFeedURL=http://127.0.0.1:%s/appcast.xml\n" "$port" \
        >"$XDG_CONFIG_HOME/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"
    secret-tool clear service de.Corvina-Backup-Manager.MasterPassword account masterPassword
    start
    sleep 4
    # The dialog is a window of its own: the whole screen, then Escape in it.
    import -window root "$CORVINA_SHOTS/update-dialog.png"; echo "saved $CORVINA_SHOTS/update-dialog.png"
    dialog=$(xdotool search --onlyvisible --name "Softwareaktualisierung" | head -n 1)
    xdotool windowfocus --sync "$dialog" key Escape
    sleep 1.5
    shoot update-badge.png
    # The settings by their shortcut, then the tab "Update" (the last of
    # five tabs across the 400 wide window, 80 each).
    xdotool windowfocus --sync "$window" key ctrl+comma
    sleep 1.5
    settings=$(xdotool search --onlyvisible --name "App Passwort" | head -n 1)
    xdotool mousemove --window "$settings" 350 28 click 1
    sleep 1
    import -window "$settings" "$CORVINA_SHOTS/update-tab.png"; echo "saved $CORVINA_SHOTS/update-tab.png"
    xdotool mousemove --window "$settings" 280 28 click 1
    sleep 1
    import -window "$settings" "$CORVINA_SHOTS/schedule-tab-missing.png"; echo "saved $CORVINA_SHOTS/schedule-tab-missing.png"
    kill "$app"; wait "$app" 2>/dev/null || true
    # The settings, opened by Ctrl+, over an unlocked window, with an archive
    # password and a storage folder in place.
    unset DBUS_SYSTEM_BUS_ADDRESS
    printf "%s" "Geheim-42" | secret-tool store --label="Corvina master password" \
        service de.Corvina-Backup-Manager.MasterPassword account masterPassword
    printf "%s" "Archiv-1" | secret-tool store --label="Corvina archive password" \
        service de.Corvina-Backup-Manager.ZipPassword account zipPassword
    mkdir -p "$HOME/Backups Pflege" "$XDG_CONFIG_HOME/de.Corvina-Backup-Manager"
    printf "[General]\nsavedPathKey=%s\nisAutoLogoutEnabled=true\nLogoutTimeout=1800\n" "$HOME/Backups Pflege" \
        >"$XDG_CONFIG_HOME/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"
    start
    sleep 2
    xdotool type --delay 40 "Geheim-42"
    xdotool key Return
    sleep 2.5
    xdotool key ctrl+comma
    sleep 1.5
    window=$(xdotool search --onlyvisible --name "App Passwort" | head -n 1)
    xdotool windowfocus --sync "$window"
    shoot settings-app-password.png
    point 150 28; xdotool click 1; sleep 1
    shoot settings-zip-password.png
    # The main button of the tab lies below its text.
    point 110 245; xdotool click 1; sleep 1.2
    window=$(xdotool search --onlyvisible --name "Zip Passwort" | head -n 1)
    xdotool type --delay 40 "abc"; xdotool key Tab; xdotool key Tab; xdotool type --delay 40 "abc"
    sleep 1
    shoot settings-input-sheet.png
    # "Speichern" with a password too short: the error alert.
    point 253 239; xdotool click 1; sleep 1
    shoot settings-error-alert.png
    # "OK", then a valid new password over the stored one: the override warning.
    point 200 223; xdotool click 1; sleep 0.8
    point 200 117; xdotool click 1; xdotool key ctrl+a; xdotool type --delay 40 "Neu2abc"
    point 200 160; xdotool click 1; xdotool key ctrl+a; xdotool type --delay 40 "Neu2abc"
    sleep 1
    point 253 239; xdotool click 1; sleep 1
    shoot settings-override-warning.png
    # Escape closes the warning, then the sheet.
    xdotool key Escape; sleep 0.8; xdotool key Escape; sleep 0.8
    point 200 28; xdotool click 1; sleep 1
    shoot settings-storage.png
    point 200 205; xdotool click 1; sleep 1.5
    shoot settings-folder-dialog.png
    kill "$app"; wait "$app" 2>/dev/null || true
    
    # An automatic backup failed last night: the main screen says so, and
    # the tab "Zeitplan" too; the next success takes the line away.
    state="$HOME/.local/state/de.Corvina-Backup-Manager"
    mkdir -p "$state"
    printf "{\"keep\": 14, \"hour\": 2, \"minute\": 30, \"lastRun\": \"2026-11-24T02:30:05+01:00\", \"lastSuccess\": false, \"lastResult\": \"Die neue Sicherung „Backup_2026-11-24_02-30-05.halvorn“ hat die Prüfung nicht bestanden: „Akten/2026/November.pdf“ ist beschädigt.\"}" >"$state/schedule.json"
    start
    sleep 2
    xdotool type --delay 40 "Geheim-42"
    xdotool key Return
    sleep 2.5
    main=$window
    shoot main-schedule-failure.png
    xdotool key ctrl+comma
    sleep 1.5
    window=$(xdotool search --onlyvisible --name "App Passwort" | head -n 1)
    xdotool windowfocus --sync "$window"
    point 280 28; xdotool click 1; sleep 1
    shoot schedule-tab-failed.png
    # The switch is the first control under the tab bar.
    point 120 95; xdotool click 1; sleep 1.5
    shoot schedule-tab-on.png
    printf "{\"keep\": 14, \"hour\": 2, \"minute\": 30, \"lastRun\": \"2026-11-25T02:30:04+01:00\", \"lastSuccess\": true, \"lastResult\": \"%s/Backup_2026-11-25_02-30-04.halvorn\"}" "$HOME/Backups Pflege" >"$state/new.json"
    mv "$state/new.json" "$state/schedule.json"
    # Out of the way of the main window, which no window manager raises.
    xdotool windowmove "$window" 900 0
    sleep 1.5
    window=$main
    shoot main-schedule-recovered.png
    kill "$app"; wait "$app" 2>/dev/null || true
    '