#pragma once

#include "session/StoredPassword.h"

#include <QString>

namespace corvina {

/// The archive password from the keyring. An absent item gives the empty
/// password, which earlier backups were made with: such a backup is then
/// protected by the program's built-in key alone. A keyring that could not
/// give the item (locked, prompt dismissed, not reachable) is this program's
/// reason to refuse creating, restoring and verifying: never the empty
/// password in its place, or the user's backups would silently lose theirs.
[[nodiscard]] StoredPassword readArchivePassword();

/// Why an action does not run while the keyring can't give the archive password.
[[nodiscard]] QString archivePasswordUnavailableText();

/// The password that opens a backup, for restoring and verifying it.
struct BackupPassword {
    QString password;
    /// Only the empty password opens it: an earlier version made it while
    /// the keyring could not give the archive password.
    bool madeWithoutArchivePassword = false;
};

/// The stored password when it opens `backupFile`; else the empty one when
/// that does; else the stored one, whose failure the action then reports.
/// Decrypts the ends of the backup: call it off the GUI thread.
[[nodiscard]] BackupPassword passwordForBackup(const QString& backupFile,
                                               const QString& storedPassword);

/// The notice for a backup that only the empty password opens.
[[nodiscard]] QString madeWithoutArchivePasswordText();

} // namespace corvina
