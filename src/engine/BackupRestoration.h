#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QString>

namespace corvina::engine {

/// Replaces the contents of `containerDirectory`/"Data" with the contents of
/// `backupFile`, decrypted with the key of `password`.
EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv,
                                OperationProgress* progress = nullptr);

} // namespace corvina::engine
