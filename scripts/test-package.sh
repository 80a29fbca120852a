#!/usr/bin/env bash
# Builds the Debian package from a release build, checks that it depends on
# every QML module the program imports, installs it and starts the installed
# tool and window program, so that a missing library or QML module shows here
# and not on a user's machine.
#   scripts/test-package.sh            unpacks the package into a scratch root
#   scripts/test-package.sh --system   installs it on this machine with apt-get
#                                      and removes it afterwards (CI runs as root
#                                      on a throwaway machine)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
builddir="$root/build/package"

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$builddir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVINA_BUILD_TESTS=OFF
cmake --build "$builddir"
rm -f "$builddir"/corvina-backup-manager_*.deb
(cd "$builddir" && cpack -G DEB >/dev/null)
deb=$(echo "$builddir"/corvina-backup-manager_*.deb)
depends=$(dpkg-deb -f "$deb" Depends)
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"
echo "Depends: $depends"

# Every QML module imported outside the program's own comes from a package
# the .deb depends on: the window loads some of them only when a sheet opens.
qml_root=/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/qt6/qml
missing=0
for module in $(grep -rhoP '^import \K[A-Za-z][\w.]*' "$root/src" --include='*.qml' | sort -u); do
    [[ $module == Corvina.* ]] && continue
    package=$(dpkg -S "$qml_root/${module//.//}/qmldir" | cut -d: -f1) ||
        { echo "no installed package provides the QML module $module"; exit 1; }
    if ! grep -qE "(^|, )$package( |,|$)" <<<"$depends"; then
        echo "the package does not depend on $package, which provides the QML module $module"
        missing=1
    fi
done
[ $missing -eq 0 ]

if [ "${1:-}" = "--system" ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    apt_install() { $sudo apt-get -o DPkg::Lock::Timeout=600 install -y -q --no-install-recommends "$deb"; }
    apt_install || { $sudo apt-get -o DPkg::Lock::Timeout=600 update -q && apt_install; }
    trap '$sudo apt-get -o DPkg::Lock::Timeout=600 purge -y -q corvina-backup-manager >/dev/null' EXIT
    bindir=/usr/bin
else
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    dpkg-deb -x "$deb" "$scratch"
    bindir=$scratch/usr/bin
fi

version=$(env -i PATH=/usr/bin:/bin "$bindir/corvina-backup" --version)
echo "installed tool: $version"
[[ $version == "corvina-backup "[0-9]* ]]
# The window draws its first frame on the offscreen platform and quits; a
# missing QML module or plugin ends it with an error instead.
CORVINA_WINDOW="$bindir/corvina-backup-manager" bash "$root/scripts/with-keyring.sh" sh -c \
    'env -u QML_IMPORT_PATH -u QT_PLUGIN_PATH QT_QPA_PLATFORM=offscreen \
         timeout 120 "$CORVINA_WINDOW" --quit-after-first-frame'
echo "installed window program drew its first frame"
