#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"

#include <QByteArray>
#include <QFuture>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <cstdint>
#include <memory>
#include <optional>

namespace corvina {

/// What a check of a backup found: the entries walked, the bytes they hold,
/// and the first entry whose data does not match its size or CRC-32.
struct VerificationReport {
    /// A failure when the backup could not be read, decrypted or opened as
    /// an archive; the cases are those a restore would give.
    EncryptionResult result = EncryptionResult::success();
    uint64_t entries = 0;
    uint64_t bytes = 0;
    /// The path of the first damaged entry; for a central directory that
    /// ends early, a note saying which record is missing.
    std::optional<QString> firstDamagedEntry;

    [[nodiscard]] bool isSound() const { return result.isSuccess() && !firstDamagedEntry; }
};

/// The outcome of a restore that accepted damage, with each entry that failed
/// its size or CRC-32 check (or, for a central directory that ends early, a
/// note saying which record is missing).
struct DamagedRestore {
    EncryptionResult result = EncryptionResult::success();
    QStringList damagedEntries;
};

/// The outcome of one backup creation, with the backup's path once the file
/// exists (it does for the comment failures too).
struct CreatedBackup {
    EncryptionResult result = EncryptionResult::success();
    QString backupFile;
};

/// The backup engine: makes `.halvorn` files from the data folder and puts
/// their contents back. One instance per process, reached through shared().
/// Operations run on a worker thread and report by value, never by throwing;
/// the engine holds no password between operations. Each operation tells an
/// OperationProgress, when given one, how far it has come.
class EncryptionService {
public:
    virtual ~EncryptionService();
    EncryptionService(const EncryptionService&) = delete;
    EncryptionService& operator=(const EncryptionService&) = delete;

    /// The one instance, made on first use from any thread.
    static EncryptionService& shared();

    /// Packs `source` into `destination`/"Backup_<time>.halvorn", encrypted
    /// with the key of `password`, with `comment` in the file's attribute.
    virtual QFuture<EncryptionResult>
    createEncryptedArchive(const QString& source, const QString& destination,
                           const QString& password, const QString& comment,
                           std::shared_ptr<OperationProgress> progress = {});

    /// createEncryptedArchive that also tells where the backup was written.
    QFuture<CreatedBackup> createBackup(const QString& source, const QString& destination,
                                        const QString& password, const QString& comment,
                                        std::shared_ptr<OperationProgress> progress = {});

    /// Replaces the contents of `containerDirectory`/"Data" with the contents
    /// of `backupFile`, decrypted with the key of `password`.
    virtual QFuture<EncryptionResult>
    restoreEncryptedArchive(const QString& backupFile, const QString& containerDirectory,
                            const QString& password,
                            std::shared_ptr<OperationProgress> progress = {});

    /// The last resort when the only backup left is damaged: restores as
    /// restoreEncryptedArchive does, but puts entries that fail their check
    /// in place as they are and lists them.
    QFuture<DamagedRestore>
    restoreAcceptingDamage(const QString& backupFile, const QString& containerDirectory,
                           const QString& password,
                           std::shared_ptr<OperationProgress> progress = {});

    /// Decrypts `backupFile` into a private temporary file and checks the
    /// size and CRC-32 of every entry, touching no data folder.
    QFuture<VerificationReport>
    verifyEncryptedArchive(const QString& backupFile, const QString& password,
                           std::shared_ptr<OperationProgress> progress = {});

    /// Whether `password` opens `backupFile`: its last block unpads and its
    /// first holds a ZIP signature. Decrypts three blocks and writes nothing;
    /// runs on the calling thread.
    [[nodiscard]] bool opensWith(const QString& backupFile, const QString& password) const;

    /// Fixed passphrase suffix of every archive key.
    const QString internalKey;
    /// The fixed 16-byte IV.
    const QByteArray iv;

protected:
    EncryptionService();

private:
    QThreadPool m_workers;
};

} // namespace corvina
