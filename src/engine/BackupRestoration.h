#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace corvina::zip {
class Archive;
class ExtractionRoot;
} // namespace corvina::zip

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

/// Unpacks every entry of the decrypted `archive` beneath `root` as a restore
/// does: the top folder "Data/" dropped, files and folders contained in the
/// root, links made as they stand, every entry checked against its size and
/// CRC-32. Throws on the first failure, damage included unless
/// `acceptedDamage` is given, which then lists the damaged entries.
void unpackEntries(zip::Archive& archive, zip::ExtractionRoot& root, OperationProgress* progress,
                   QStringList* acceptedDamage = nullptr);

} // namespace corvina::engine
