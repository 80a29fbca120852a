#include "engine/EncryptionService.h"

#include "engine/BackupCreation.h"
#include "engine/BackupDecryption.h"
#include "engine/BackupRestoration.h"
#include "engine/BackupVerification.h"
#include "engine/Cipher.h"
#include "engine/PlaintextLeftovers.h"

#include <QFileInfo>

#include <QtConcurrent/QtConcurrentRun>

namespace corvina {

using engine::createArchive;
using engine::restoreArchive;
using engine::verifyArchive;

namespace {

/// Clears what earlier versions left in the clear in the folder an operation
/// works in, under the password it was given or the empty one.
void removeLeftoversBeside(const QString& folder, const QString& password, const QByteArray& iv) {
    engine::removePlaintextLeftovers(folder, {password, QString()}, iv);
}

} // namespace

EncryptionService::EncryptionService()
    : internalKey(QString::fromLatin1(archiveInternalKey))
    , iv(archiveIv, static_cast<qsizetype>(aesBlockSize)) {}

EncryptionService::~EncryptionService() {
    m_workers.waitForDone();
}

EncryptionService& EncryptionService::shared() {
    static EncryptionService instance;
    return instance;
}

QFuture<EncryptionResult>
EncryptionService::createEncryptedArchive(const QString& source, const QString& destination,
                                          const QString& password, const QString& comment,
                                          std::shared_ptr<OperationProgress> progress) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        QString backupFile;
        try {
            const EncryptionResult result = createArchive(source, destination, password, comment,
                                                          iv, backupFile, progress.get());
            removeLeftoversBeside(destination, password, iv);
            return result;
        } catch (...) {
            return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
    });
}

QFuture<CreatedBackup>
EncryptionService::createBackup(const QString& source, const QString& destination,
                                const QString& password, const QString& comment,
                                std::shared_ptr<OperationProgress> progress) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        CreatedBackup created;
        try {
            created.result = createArchive(source, destination, password, comment, iv,
                                           created.backupFile, progress.get());
            removeLeftoversBeside(destination, password, iv);
        } catch (...) {
            created.result =
                EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
        return created;
    });
}

QFuture<EncryptionResult> EncryptionService::restoreEncryptedArchive(
    const QString& backupFile, const QString& containerDirectory, const QString& password,
    std::shared_ptr<OperationProgress> progress) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        try {
            removeLeftoversBeside(QFileInfo(backupFile).path(), password, iv);
            return restoreArchive(backupFile, containerDirectory, password, iv, progress.get());
        } catch (...) {
            return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
    });
}

QFuture<DamagedRestore> EncryptionService::restoreAcceptingDamage(
    const QString& backupFile, const QString& containerDirectory, const QString& password,
    std::shared_ptr<OperationProgress> progress) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        DamagedRestore restored;
        try {
            restored.result = restoreArchive(backupFile, containerDirectory, password, iv,
                                             progress.get(), &restored.damagedEntries);
        } catch (...) {
            restored.result =
                EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
        return restored;
    });
}

QFuture<VerificationReport>
EncryptionService::verifyEncryptedArchive(const QString& backupFile, const QString& password,
                                          std::shared_ptr<OperationProgress> progress) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        try {
            return verifyArchive(backupFile, password, iv, progress.get());
        } catch (...) {
            VerificationReport report;
            report.result =
                EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
            return report;
        }
    });
}

bool EncryptionService::opensWith(const QString& backupFile, const QString& password) const {
    return engine::backupOpensWith(backupFile, password, iv);
}

} // namespace corvina
