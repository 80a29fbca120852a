#pragma once

#include "engine/EncryptionService.h"

#include <QByteArray>
#include <QString>

namespace corvina::engine {

/// Decrypts `backupFile` into a private temporary file and checks the size
/// and CRC-32 of every entry.
VerificationReport verifyArchive(const QString& backupFile, const QString& password,
                                 const QByteArray& iv, OperationProgress* progress = nullptr);

} // namespace corvina::engine
