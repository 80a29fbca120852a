#!/usr/bin/env bash
# Installs the Debian 12 packages that building, running and testing need.
# Does nothing when all of them are present already.
set -euo pipefail

packages=(
    # build
    cmake ninja-build g++ clang pkg-config clang-format
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools qt6-svg-dev
    libssl-dev zlib1g-dev libsecret-1-dev libgl-dev
    # Debian package: shared library dependencies
    dpkg-dev file
    # run time
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
    qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-templates
    qml6-module-qtqml-workerscript qml6-module-qt-labs-lottieqt qml6-module-qtquick-shapes
    qml6-module-qt-labs-platform qml6-module-qt5compat-graphicaleffects qml6-module-qttest
    qml6-module-qt-labs-folderlistmodel
    libqt6svg6 qt6-qpa-plugins fonts-roboto
    # tests: private keyring, fake fingerprint reader, X server, foreign archive tools
    dbus-daemon dbus-x11 gnome-keyring libsecret-tools libglib2.0-bin python3 python3-dbusmock
    python3-dbus python3-pyatspi at-spi2-core
    xvfb xauth xdotool imagemagick zip unzip libarchive-tools p7zip-full sqlite3 openssl attr time
    libclang-rt-14-dev
    # tests: real file system faults (loop images, exFAT through FUSE, chattr, killed runs)
    e2fsprogs exfatprogs exfat-fuse strace
    # tests: a network share on 127.0.0.1 (sshd started by the test, mounted through sshfs)
    openssh-server openssh-client sshfs
    # tests: desktop entry, metainfo, unit file and manual page checks
    desktop-file-utils appstream systemd man-db
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing: ${missing[*]}"
# Wait for another package run (a second build beside this one) instead of failing.
lock=(-o DPkg::Lock::Timeout=600)
$sudo apt-get "${lock[@]}" update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get "${lock[@]}" install -y -q --no-install-recommends "${missing[@]}"
