#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QString>

namespace corvina {

/// Identifier of the program; also the desktop file ID and the settings folder.
inline const QString bundleIdentifier = QStringLiteral("de.Corvina-Backup-Manager");

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
