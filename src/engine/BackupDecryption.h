#pragma once

#include "engine/DecryptingReader.h"
#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"
#include "zip/Archive.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

namespace corvina::engine {

/// A symbolic link entry whose size field is longer than any link target.
bool hasAbsurdLinkTarget(const zip::Entry& entry);

/// A backup's plaintext, readable while it is decrypted, or the failure to
/// report.
struct Decryption {
    std::unique_ptr<DecryptingReader> plaintext;
    std::optional<EncryptionResult> failure;
};

/// The shared first step of restoring and verifying: derive the key, open
/// the backup, unpad its last block and test the ZIP signature of its first.
/// Writes nothing. `progress`, when given, gets its total: the backup's
/// size, which the plaintext's entries count towards; see EntryProgress.
Decryption decryptBackup(const QString& backupFile, const QString& password, const QByteArray& iv,
                         OperationProgress* progress = nullptr);

/// Whether `password` opens `backupFile`: its last block unpads and its
/// first holds the ZIP signature. Decrypts three blocks, logs and writes
/// nothing; any failure to read gives false.
bool backupOpensWith(const QString& backupFile, const QString& password, const QByteArray& iv);

/// Counts a restore or a check by how far into the plaintext the entries
/// read so far reach.
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
