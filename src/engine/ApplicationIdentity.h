#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QString>

namespace corvina {

/// Identifier of the program: the settings folder and the keyring's items,
/// which keep this name so that nothing stored is lost.
inline const QString bundleIdentifier = QStringLiteral("de.Corvina-Backup-Manager");

/// The program's name to the desktop: its AppStream ID, desktop file name
/// and icon, and the application its notifications come from. Reverse DNS in
/// three parts, as the desktop's validators require.
inline const QString desktopIdentifier =
    QStringLiteral("de.corvina_backup_manager.CorvinaBackupManager");

/// Bundle identifier of the companion application whose data is backed up.
inline const QString companionBundleIdentifier = QStringLiteral("de.halvorn");

/// Names the application so that every process of the program (window, tool,
/// tests) reads and writes the same QSettings file.
inline void applyApplicationIdentity() {
    QCoreApplication::setOrganizationName(bundleIdentifier);
    QCoreApplication::setApplicationName(QStringLiteral("Corvina-Backup-Manager"));
}

/// home / "Library" / "Containers" / "de.halvorn": the companion's container.
inline QString companionContainerDirectory() {
    return QDir::homePath() + QStringLiteral("/Library/Containers/") + companionBundleIdentifier;
}

/// The companion application's data folder, the one that is backed up.
inline QString companionDataDirectory() {
    return companionContainerDirectory() + QStringLiteral("/Data");
}

} // namespace corvina
