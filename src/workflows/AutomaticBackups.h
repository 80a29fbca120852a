#pragma once

#include <QString>
#include <QStringList>

namespace corvina {

/// The attribute that marks a backup as made by the schedule. It sits beside
/// the comment, in the file's extended attributes and in its AppleDouble
/// "._" file, so a comment edit leaves it alone and it travels with the file
/// to disks with attributes and to those without.
inline constexpr char automaticMarkAttributeName[] = "user.de.Corvina-Backup-Manager.origin";

/// Marks `backupFile` as an automatic backup; false when neither the
/// attribute nor the AppleDouble file could be written.
bool markAutomatic(const QString& backupFile);

/// Whether `backupFile` carries the mark; a mark that is missing, unreadable
/// or of another value counts as a backup made by hand.
[[nodiscard]] bool isAutomatic(const QString& backupFile);

/// The automatic backups of `folder` beyond the `keep` newest (by the time
/// in their names), oldest last: what keeping deletes. Backups made by hand,
/// the newest automatic one and `spared` (the run's own backup) are never
/// among them.
[[nodiscard]] QStringList backupsBeyondKeep(const QString& folder, int keep,
                                            const QString& spared = {});

/// What a deletion of backups did.
struct Pruning {
    QStringList deleted;
    /// The German reason for each backup that could not be deleted.
    QStringList failures;
};

/// Deletes each backup with its "._" companion file, as the restore screen
/// deletes one.
Pruning deleteBackups(const QStringList& backups);

} // namespace corvina
