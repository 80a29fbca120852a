#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QString>

namespace corvina::zip {
class Archive;
class ExtractionRoot;
} // namespace corvina::zip

namespace corvina::engine {

/// Replaces the contents of `containerDirectory`/"Data" with the contents of
/// `backupFile`, decrypted with the key of `password`.
EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv,
                                OperationProgress* progress = nullptr);

/// Unpacks every entry of the decrypted `archive` beneath `root` as a restore
/// does: the top folder "Data/" dropped, files and folders contained in the
/// root, links made as they stand. Throws on the first failure.
void unpackEntries(zip::Archive& archive, zip::ExtractionRoot& root, OperationProgress* progress);

} // namespace corvina::engine
