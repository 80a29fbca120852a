#include "engine/BackupCreation.h"

#include "engine/BackupTimestamp.h"
#include "engine/Cipher.h"
#include "engine/DiagnosticLog.h"
#include "engine/EncryptingSink.h"
#include "engine/EngineSupport.h"
#include "engine/FileOperations.h"
#include "engine/FinderComment.h"
#include "engine/LogText.h"
#include "zip/Archive.h"

#include <QFile>

#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

/// Sets the progress total to the size the archive of `source` will have. A
/// folder that cannot be measured leaves the total unknown; packing will
/// report what is wrong with it.
void measureArchive(const fs::path& source, OperationProgress& progress) {
    try {
        progress.setTotal(plannedArchiveSize(source));
    } catch (const zip::Error&) {
    }
}

bool isHorizontalWhitespace(QChar c) {
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

/// Trims tabs and space separators from both ends; line ends stay.
QString trimmedHorizontally(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isHorizontalWhitespace(text[begin])) {
        ++begin;
    }
    while (end > begin && isHorizontalWhitespace(text[end - 1])) {
        --end;
    }
    return text.mid(begin, end - begin);
}

/// When a backup of the same name is replaced, the old file's comment is
/// carried over, as an in-place overwrite of that file would have kept it.
void carryOverComment(const fs::path& existing, int fd) {
    const ssize_t size = ::getxattr(existing.c_str(), finderCommentAttributeName, nullptr, 0);
    if (size < 0) {
        return;
    }
    std::vector<char> value(static_cast<std::size_t>(size));
    const ssize_t read =
        ::getxattr(existing.c_str(), finderCommentAttributeName, value.data(), value.size());
    if (read >= 0) {
        ::fsetxattr(fd, finderCommentAttributeName, value.data(), static_cast<size_t>(read), 0);
    }
}

} // namespace

EncryptionResult createArchive(const QString& source, const QString& destination,
                               const QString& password, const QString& comment,
                               const QByteArray& iv, QString& publishedBackup,
                               OperationProgress* progress) {
    struct stat sourceStatus {};
    if (::stat(QFile::encodeName(source).constData(), &sourceStatus) != 0) {
        diagnosticLog(QStringLiteral("Ошибка: исходная директория не существует. ") + source);
        return EncryptionResult::failure(FinderCommentError::Case::directoryNotFound);
    }

    const fs::path destinationPath = toPath(destination);
    std::error_code directoryError;
    fs::create_directories(destinationPath, directoryError);
    if (directoryError) {
        diagnosticLog(QStringLiteral("Ошибка при создании директории назначения: ") +
                      SystemError(directoryError.value(), destinationPath).localizedDescription());
        return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    }
    diagnosticLog(QStringLiteral("Директория назначения успешно создана."));

    const QString timestamp = BackupTimestamp::make();
    const fs::path temporaryZip = destinationPath / (".Backup_" + timestamp.toStdString() + ".zip");
    const std::string backupName = "Backup_" + timestamp.toStdString() + ".halvorn";
    const fs::path backupFile = destinationPath / backupName;

    try {
        const ArchiveKey key = deriveArchiveKey(password);
        if (progress != nullptr) {
            measureArchive(toPath(source), *progress);
        }
        UnpublishedFile ciphertext(destinationPath, 0666);
        EncryptingSink::Outcome outcome;
        {
            // The archive goes straight into the cipher: its plaintext is
            // only ever written out when a failed comment leaves it behind.
            EncryptingSink encryptor(key, ivBytes(iv), ciphertext.fd(), backupFile, progress);
            // A file the companion writes to while it is read is stored as
            // read; the log names it for whoever wonders about its state.
            for (const std::filesystem::path& changed : zip::packItem(
                     toPath(source), temporaryZip, encryptor, true, zip::CompressionMethod::none)) {
                diagnosticLog(QStringLiteral("Файл изменился во время чтения: ") +
                              pathText(changed));
            }
            diagnosticLog(QStringLiteral("Архив успешно создан: ") + pathText(temporaryZip));
            outcome = encryptor.finish();
        }
        diagnosticLog(QStringLiteral("Шифрование завершено. Затраченное время: ") +
                      shortestDoubleText(outcome.seconds) + QStringLiteral(" секунд."));

        carryOverComment(backupFile, ciphertext.fd());
        syncFile(ciphertext.fd(), backupFile);
        ciphertext.publish(backupName);
        publishedBackup = pathText(backupFile);
        diagnosticLog(QStringLiteral("Зашифрованный архив сохранён: ") + pathText(backupFile));

        const auto syncBackup = [&] {
            syncFile(ciphertext.fd(), backupFile);
            syncFolder(destinationPath);
        };

        if (!trimmedHorizontally(comment).isEmpty()) {
            const EncryptionResult commented = addFinderComment(comment, pathText(backupFile));
            if (!commented.isSuccess()) {
                const FinderCommentError& error = commented.error();
                diagnosticLog(error.errorCase() == FinderCommentError::Case::commentTooLong
                                  ? QStringLiteral("Комментарий слишком длинный и был обрезан.")
                                  : error.logLine());
                // The backup is whole and keeps what could be stored of the
                // comment. This program's rule: no copy of the data is ever
                // left in the clear beside it, whatever became of the comment.
                syncBackup();
                return commented;
            }
        }
        syncBackup();

        std::error_code removeError;
        fs::remove(temporaryZip, removeError);
        check(removeError, temporaryZip);
        diagnosticLog(QStringLiteral("Временный ZIP-файл удалён."));
        if (progress != nullptr) {
            progress->complete();
        }
        return EncryptionResult::success();
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка при создании зашифрованного архива: ") +
                      describeException(std::current_exception()));
        return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    }
}

} // namespace corvina::engine
