#pragma once

#include "engine/FileOperations.h"
#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"
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
/// ZIP signature. Nothing is left behind when it fails. `progress`, when
/// given, counts the decryption as the first half of the work and the
/// entries' data as the second; see EntryProgress.
Decryption decryptBackup(const QString& backupFile, const QString& password, const QByteArray& iv,
                         const std::filesystem::path& workFolder,
                         OperationProgress* progress = nullptr);

/// Counts the second half of a restore or a check: the entries' data after
/// the decrypted bytes.
class EntryProgress {
public:
    explicit EntryProgress(OperationProgress* progress);

    /// What the zip layer counts the entry's bytes in, or nothing.
    zip::Progress* begin();
    /// The entry is done, whatever became of it.
    void end(const zip::Entry& entry);

private:
    OperationProgress* m_progress;
    uint64_t m_done;
};

} // namespace corvina::engine
