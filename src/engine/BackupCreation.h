#pragma once

#include "engine/FinderCommentError.h"

#include <QByteArray>
#include <QString>

namespace corvina::engine {

/// Packs `source` into a new "Backup_<time>.halvorn" in `destination`,
/// encrypted under the key of `password`, with `comment` attached. Sets
/// `publishedBackup` once the backup has its name.
EncryptionResult createArchive(const QString& source, const QString& destination,
                               const QString& password, const QString& comment,
                               const QByteArray& iv, QString& publishedBackup);

} // namespace corvina::engine
