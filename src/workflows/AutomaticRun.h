#pragma once

#include "workflows/AutomaticBackups.h"

#include <QString>

namespace corvina {

/// What one run of the schedule did.
struct AutomaticRun {
    bool success = false;
    /// The new backup, once it was written (also when its check failed).
    QString backupFile;
    /// The German reason of a failure.
    QString reason;
    /// The automatic backups that keeping deleted, after a success only.
    Pruning pruning;
};

/// One automatic backup of `source` into `storage`: writes it with
/// `comment`, checks it (decrypted, every entry's size and CRC-32), marks it
/// as automatic and only then deletes the automatic backups beyond the `keep`
/// newest. A backup that fails its check stays unmarked and deletes nothing.
///
/// Test seam: with CORVINA_TEST_DAMAGE_BEFORE_CHECK set in the environment,
/// one byte in the middle of the new backup is flipped before its check.
[[nodiscard]] AutomaticRun runAutomaticBackup(const QString& source, const QString& storage,
                                              const QString& password, const QString& comment,
                                              int keep);

/// Stores the run's time and outcome in the schedule's state; false with the
/// German reason in `error`.
bool recordAutomaticRun(bool success, const QString& result, QString& error);

} // namespace corvina
