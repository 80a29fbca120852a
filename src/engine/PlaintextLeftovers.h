#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace corvina::engine {

/// Earlier versions left a backup's whole archive in the clear beside it, as
/// ".Backup_<time>.zip", when its comment could not be stored. Removes each
/// such file in `folder` once the backup of the same time there has been
/// verified sound (decrypted, every entry's size and CRC-32 compared) under
/// one of `passwords`. Beside a backup that is missing or fails the check
/// the file stays: it may be the only whole copy of that data. The log
/// names each file and what became of it.
void removePlaintextLeftovers(const QString& folder, const QStringList& passwords,
                              const QByteArray& iv);

} // namespace corvina::engine
