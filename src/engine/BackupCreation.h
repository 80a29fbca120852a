#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QString>

namespace corvina::engine {

/// Packs `source` into a new "Backup_<time>.halvorn" in `destination`,
/// encrypted under the key of `password`, with `comment` attached. Sets
/// `publishedBackup` once the backup has its name. Tells `progress`, when
/// given, how much of the archive is encrypted.
EncryptionResult createArchive(const QString& source, const QString& destination,
                               const QString& password, const QString& comment,
                               const QByteArray& iv, QString& publishedBackup,
                               OperationProgress* progress = nullptr);

} // namespace corvina::engine
