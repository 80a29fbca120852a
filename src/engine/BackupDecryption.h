#pragma once

#include "engine/FileOperations.h"
#include "engine/FinderCommentError.h"
#include "zip/Archive.h"

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <memory>
#include <optional>

namespace corvina::engine {

/// A symbolic link entry whose size field is longer than any link target.
bool hasAbsurdLinkTarget(const zip::Entry& entry);

/// A backup decrypted into an unpublished file, or the failure to report.
struct Decryption {
    std::unique_ptr<UnpublishedFile> plaintext;
    std::optional<EncryptionResult> failure;
};

/// The shared first half of restoring and verifying: derive the key, read and
/// decrypt the backup into an unpublished file in `workFolder`, and test the
/// ZIP signature. Nothing is left behind when it fails.
Decryption decryptBackup(const QString& backupFile, const QString& password, const QByteArray& iv,
                         const std::filesystem::path& workFolder);

} // namespace corvina::engine
