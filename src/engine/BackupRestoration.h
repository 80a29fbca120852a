#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace corvina::engine {

/// Replaces the contents of `containerDirectory`/"Data" with the contents of
/// `backupFile`, decrypted with the key of `password`. An entry whose size or
/// CRC-32 does not match the archive's fails the restore before the data
/// folder is touched; with `acceptedDamage` the restore goes on and such
/// entries are listed there instead.
EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv,
                                OperationProgress* progress = nullptr,
                                QStringList* acceptedDamage = nullptr);

} // namespace corvina::engine
