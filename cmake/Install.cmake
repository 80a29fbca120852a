# Installation into a Linux desktop, and the Debian package built from it.
include(GNUInstallDirs)

set(CORVINA_WEBSITE_URL "https://www.example.org/corvina-backup-manager" CACHE STRING
    "The maker's web site; the package's home page and the place of its screenshots")

set(desktop_dir ${PROJECT_SOURCE_DIR}/resources/desktop)
set(app_id de.corvina_backup_manager.CorvinaBackupManager)

install(TARGETS corvina-backup corvina-backup-manager RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${desktop_dir}/${app_id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
configure_file(${desktop_dir}/${app_id}.metainfo.xml.in ${CMAKE_BINARY_DIR}/${app_id}.metainfo.xml
    @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/${app_id}.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${desktop_dir}/icons/${app_id}.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
foreach(size 16 24 32 48 64 128 256)
    install(FILES ${desktop_dir}/icons/${size}x${size}/${app_id}.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/resources/cli/corvina-backup.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_SOURCE_DIR}/resources/cli/corvina-backup.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME corvina-backup)

set(CPACK_PACKAGE_NAME corvina-backup-manager)
set(CPACK_PACKAGE_VENDOR "Corvina Backup Manager")
set(CPACK_PACKAGE_CONTACT "Corvina Backup Manager <support@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Encrypted backups of the care software Corvina")
set(CPACK_PACKAGE_DESCRIPTION
    "Makes encrypted backups of the data folder of the care software Corvina, lists them,\
 restores one or deletes the data. The command-line tool corvina-backup drives the same\
 engine from scripts and runs scheduled backups as a systemd user timer.")
set(CPACK_PACKAGE_INSTALL_DIRECTORY corvina-backup-manager)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${CORVINA_WEBSITE_URL})
# Libraries come from the linked shared objects; QML modules, the platform
# plugins and the SVG image plugin are loaded at run time and must be named.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qml6-module-qtquick, qml6-module-qtquick-controls, qml6-module-qtquick-templates, \
qml6-module-qtquick-layouts, qml6-module-qtquick-window, qml6-module-qtquick-dialogs, \
qml6-module-qtquick-shapes, qml6-module-qtqml-workerscript, qml6-module-qt-labs-lottieqt, \
qml6-module-qt-labs-platform, qml6-module-qt5compat-graphicaleffects, qt6-qpa-plugins, \
libqt6svg6")
# The keyring that holds the passwords, systemd for scheduled backups, and
# the native Wayland platform plugin.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnome-keyring, systemd, qt6-wayland")
include(CPack)
