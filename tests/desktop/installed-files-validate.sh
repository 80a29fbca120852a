#!/usr/bin/env bash
# Installs the build into a scratch prefix and checks what a desktop reads
# from there: the menu entry, the AppStream metainfo, the icons the entry
# names, the manual page and the shell completion.
#   installed-files-validate.sh BUILD_DIR
set -euo pipefail
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix" >/dev/null

share=$prefix/share
id=de.corvina_backup_manager.CorvinaBackupManager
desktop-file-validate "$share/applications/$id.desktop"
appstreamcli validate --no-net "$share/metainfo/$id.metainfo.xml"

icon=$(sed -n 's/^Icon=//p' "$share/applications/$id.desktop")
exec_name=$(sed -n 's/^Exec=//p' "$share/applications/$id.desktop")
test -x "$prefix/bin/$exec_name" -a -x "$prefix/bin/corvina-backup"
test -f "$share/icons/hicolor/scalable/apps/$icon.svg"
for size in 16 24 32 48 64 128 256; do
    file "$share/icons/hicolor/${size}x$size/apps/$icon.png" | grep -q "PNG image data, $size x $size,"
done

# groff warns about every malformed request of the page.
warnings=$(MANWIDTH=80 man --warnings -l "$share/man/man1/corvina-backup.1" 2>&1 >/dev/null)
[ -z "$warnings" ] || { echo "$warnings"; exit 1; }

# The completion offers the tool's commands and a command's options.
complete_words() {
    # shellcheck disable=SC1091
    bash -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _corvina_backup; echo "${COMPREPLY[*]}"' \
        _ "$share/bash-completion/completions/corvina-backup" "$@"
}
[ "$(complete_words corvina-backup sch)" = schedule ]
[ "$(complete_words corvina-backup pr)" = prune ]
[ "$(complete_words corvina-backup schedule enable --w)" = --weekly ]
[ "$(complete_words corvina-backup list --)" = "--dir --json --help" ]
echo "installed files valid"
