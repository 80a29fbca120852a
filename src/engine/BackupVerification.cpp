#include "engine/BackupVerification.h"

#include "engine/BackupDecryption.h"
#include "engine/DiagnosticLog.h"
#include "engine/EngineSupport.h"
#include "zip/Archive.h"

namespace corvina::engine {

VerificationReport verifyArchive(const QString& backupFile, const QString& password,
                                 const QByteArray& iv, OperationProgress* progress) {
    VerificationReport report;
    Decryption decryption = decryptBackup(backupFile, password, iv, progress);
    if (decryption.failure) {
        report.result = *decryption.failure;
        return report;
    }
    try {
        zip::Archive archive(decryption.plaintext->openStream(), toPath(backupFile));
        EntryProgress counted(progress);
        for (const zip::Entry& entry : archive.entrySequence()) {
            ++report.entries;
            if (entry.entryType() == zip::EntryType::directory) {
                continue;
            }
            uint64_t delivered = 0;
            bool sound = false;
            if (entry.entryType() == zip::EntryType::symlink && hasAbsurdLinkTarget(entry)) {
                report.firstDamagedEntry = report.firstDamagedEntry.value_or(entry.entryPath());
                continue;
            }
            try {
                const uint32_t checksum = archive.readEntry(
                    entry, zip::defaultChunkSize, false, counted.begin(),
                    [&delivered](std::span<const uint8_t> chunk) { delivered += chunk.size(); });
                sound =
                    checksum == entry.entryChecksum() && delivered == entry.entryUncompressedSize();
            } catch (...) {
                sound = false;
            }
            report.bytes += delivered;
            counted.end(entry);
            if (!sound && !report.firstDamagedEntry) {
                report.firstDamagedEntry = entry.entryPath();
            }
        }
        const uint64_t declared = archive.endRecords().totalNumberOfEntries();
        if (report.entries < declared && !report.firstDamagedEntry) {
            report.firstDamagedEntry = QStringLiteral("central directory record %1 of %2")
                                           .arg(report.entries + 1)
                                           .arg(declared);
        }
        if (progress != nullptr) {
            progress->complete();
        }
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка распаковки архива: ") +
                      describeException(std::current_exception()));
        report.result = EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    }
    return report;
}

} // namespace corvina::engine
