#include "engine/BackupRestoration.h"

#include "engine/BackupDecryption.h"
#include "engine/DataFolderReplacement.h"
#include "engine/DiagnosticLog.h"
#include "engine/EngineSupport.h"
#include "engine/FileOperations.h"
#include "zip/Archive.h"
#include "zip/ExtractionRoot.h"

#include <QFile>
#include <QStringDecoder>
#include <QUrl>

#include <cerrno>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

/// The relative path of an entry below the temporary folder: the top folder
/// "Data/" is dropped once, case-sensitively.
QString relativeEntryPath(const QString& entryPath) {
    static const QString prefix = QStringLiteral("Data/");
    return entryPath.startsWith(prefix) ? entryPath.mid(prefix.size()) : entryPath;
}

QString parentOf(const QString& relativePath) {
    const qsizetype slash = relativePath.lastIndexOf(u'/');
    return slash < 0 ? QString() : relativePath.left(slash);
}

/// The link target a symbolic link entry holds: each chunk is decoded by
/// itself and the last chunk that is valid UTF-8 wins.
std::optional<QString> readLinkTarget(zip::Archive& archive, const zip::Entry& entry) {
    std::optional<QString> target;
    archive.readEntry(
        entry, zip::defaultChunkSize, false, nullptr, [&target](std::span<const uint8_t> chunk) {
            QStringDecoder decoder(QStringDecoder::Utf8,
                                   QStringDecoder::Flag::Stateless |
                                       QStringDecoder::Flag::ConvertInitialBom);
            QString text = decoder.decode(QByteArrayView(
                reinterpret_cast<const char*>(chunk.data()), static_cast<qsizetype>(chunk.size())));
            if (!decoder.hasError()) {
                target = std::move(text);
            }
        });
    return target;
}

/// Links are made at the percent-escaped form of their full path (characters
/// outside the URL path set escaped), as every version of this program has
/// done: a path with a space or a non-ASCII letter normally ends up in a
/// folder that does not exist, and the link is skipped. The escaped path is
/// only ever used beneath the temporary folder; one that leaves it counts as
/// a failed link.
void restoreSymbolicLink(zip::Archive& archive, const zip::Entry& entry, zip::ExtractionRoot& root,
                         const QString& relativePath) {
    const QString entryPath = entry.entryPath();
    diagnosticLog(QStringLiteral("Восстановление символической ссылки: ") + entryPath);
    root.createDirectories(parentOf(relativePath));

    if (hasAbsurdLinkTarget(entry)) {
        // What the system call would say after reading the whole target.
        diagnosticLog(QStringLiteral("Ошибка создания символической ссылки: ") +
                      SystemError(ENAMETOOLONG,
                                  toPath(pathText(root.path()) + QLatin1Char('/') + relativePath))
                          .localizedDescription());
        return;
    }
    const std::optional<QString> target = readLinkTarget(archive, entry);
    if (!target) {
        diagnosticLog(
            QStringLiteral("Ошибка: невозможно определить целевой путь для символической ссылки ") +
            entryPath);
        return;
    }

    static const QByteArray pathAllowed = QByteArrayLiteral("!$&'()*+,/:;=@");
    const QString rootText = pathText(root.path());
    const QString fullPath = rootText + QLatin1Char('/') + relativePath;
    const QString escaped = QString::fromLatin1(QUrl::toPercentEncoding(fullPath, pathAllowed));
    const QString rootPrefix = rootText + QLatin1Char('/');
    try {
        // Making a link creates no folders: an escaped path whose folder is
        // missing fails as the plain system call would.
        const QString escapedRelative = escaped.mid(rootPrefix.size());
        struct stat folderStatus {};
        if (!escaped.startsWith(rootPrefix) ||
            (escaped != fullPath &&
             (::stat(QFile::encodeName(rootPrefix + parentOf(escapedRelative)).constData(),
                     &folderStatus) != 0 ||
              !S_ISDIR(folderStatus.st_mode)))) {
            throw SystemError(ENOENT, toPath(escaped));
        }
        root.createSymbolicLink(escapedRelative, target->toUtf8());
        diagnosticLog(QStringLiteral("Символическая ссылка ") + entryPath +
                      QStringLiteral(" восстановлена, указывает на ") + *target +
                      QStringLiteral("."));
    } catch (const zip::Error& error) {
        // A link that would leave the folder or pass through a link is an
        // attack on the restore, not a link that merely failed.
        if (error.is(zip::ArchiveError::uncontainedEntryPath)) {
            throw;
        }
        diagnosticLog(QStringLiteral("Ошибка создания символической ссылки: ") +
                      error.localizedDescription());
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка создания символической ссылки: ") +
                      describeException(std::current_exception()));
    }
}

/// After a failed unpacking or replacing, the decrypted archive is left
/// beside the data, owner-only, for whoever looks into the failure, as the
/// temporary ZIP of earlier versions was; the next restore replaces it. Best
/// effort: the failure stands whatever becomes of this.
void leavePlaintextBehind(DecryptingReader& plaintext, const fs::path& temporaryZip) {
    try {
        writePlaintext(plaintext, temporaryZip);
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка: ") + describeException(std::current_exception()));
    }
}

} // namespace

void unpackEntries(zip::Archive& archive, zip::ExtractionRoot& root, OperationProgress* progress) {
    EntryProgress counted(progress);
    for (const zip::Entry& entry : archive.entrySequence()) {
        const QString entryPath = entry.entryPath();
        diagnosticLog(QStringLiteral("Обрабатывается файл: ") + entryPath);
        const QString relativePath = relativeEntryPath(entryPath);
        switch (entry.entryType()) {
        case zip::EntryType::file:
            diagnosticLog(QStringLiteral("Тип записи: файл"));
            root.createDirectories(parentOf(relativePath));
            // A restore never compares an entry's checksum with the stored
            // one, so it does not spend a pass over the data computing it.
            root.extractEntry(archive, entry, relativePath, zip::defaultChunkSize, true, false,
                              counted.begin());
            diagnosticLog(QStringLiteral("Файл успешно извлечен: ") + pathText(root.path()) +
                          QLatin1Char('/') + relativePath);
            break;
        case zip::EntryType::directory:
            diagnosticLog(QStringLiteral("Тип записи: директория"));
            root.createDirectories(relativePath);
            break;
        case zip::EntryType::symlink:
            restoreSymbolicLink(archive, entry, root, relativePath);
            break;
        }
        counted.end(entry);
    }
}

EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv,
                                OperationProgress* progress) {
    const fs::path container = toPath(containerDirectory);
    const fs::path temporaryZip = container / ".decryptedArchive.zip";
    const fs::path target = container / "Data";
    const auto failed = [] {
        return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    };

    // A run that was killed while replacing left old items aside: they go
    // back before anything else happens.
    DataFolderPlaces places;
    try {
        places = dataFolderPlaces(target);
        if (recoverInterruptedReplacement(places)) {
            diagnosticLog(QStringLiteral("Прежние данные возвращены после прерванной замены: ") +
                          pathText(target));
        }
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка замены содержимого директории: ") +
                      describeException(std::current_exception()));
        return failed();
    }

    const fs::path temporaryFolder = places.temporaryFolder();
    // Inside the data folder (a mount point, say), what a failure leaves of
    // the new tree goes again, so that the folder is as it was.
    const auto leaveNothingInside = [&] {
        if (places.insideContents()) {
            std::error_code ignored;
            fs::remove_all(temporaryFolder, ignored);
        }
    };

    Decryption decryption = decryptBackup(backupFile, password, iv, progress);
    if (decryption.failure) {
        leaveNothingInside();
        return *decryption.failure;
    }
    DecryptingReader& plaintext = *decryption.plaintext;
    // The archive is unpacked straight from the backup and reaches the disk
    // only if the restore fails (leavePlaintextBehind); the line stays, as
    // the log of a restore has always had it here.
    diagnosticLog(QStringLiteral("Временный расшифрованный архив сохранен: ") +
                  pathText(temporaryZip));

    std::error_code error;
    std::error_code statusError;
    if (fs::exists(fs::symlink_status(temporaryFolder, statusError))) {
        fs::remove_all(temporaryFolder, error);
    }
    // Owner-only: what a failure leaves here is plaintext.
    if (!error && ::mkdir(temporaryFolder.c_str(), 0700) != 0) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) {
        diagnosticLog(QStringLiteral("Ошибка создания временной директории: ") +
                      SystemError(error.value(), temporaryFolder).localizedDescription());
        leavePlaintextBehind(plaintext, temporaryZip);
        return failed();
    }

    try {
        zip::Archive archive(plaintext.openStream(), temporaryZip);
        zip::ExtractionRoot root(temporaryFolder);
        diagnosticLog(QStringLiteral("Архив успешно открыт для чтения. Начало распаковки."));
        unpackEntries(archive, root, progress);
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка распаковки архива: ") +
                      describeException(std::current_exception()));
        leavePlaintextBehind(plaintext, temporaryZip);
        leaveNothingInside();
        return failed();
    }
    diagnosticLog(QStringLiteral("Распаковка завершена."));

    try {
        replaceContents(places);
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка замены содержимого директории: ") +
                      describeException(std::current_exception()));
        leavePlaintextBehind(plaintext, temporaryZip);
        leaveNothingInside();
        return failed();
    }
    diagnosticLog(QStringLiteral("Данные успешно восстановлены в директорию: ") + pathText(target));

    // An earlier failed run's plain archive goes as well.
    fs::remove(temporaryZip, error);
    if (!error) {
        fs::remove_all(temporaryFolder, error);
    }
    if (error) {
        diagnosticLog(QStringLiteral("Ошибка удаления временных файлов: ") +
                      SystemError(error.value(), temporaryFolder).localizedDescription());
    } else {
        diagnosticLog(QStringLiteral("Временные файлы удалены."));
    }

    // A restore reported as done is on disk, the data's file system as well
    // where it is another.
    for (const fs::path& folder : {container, places.work}) {
        const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0) {
            ::syncfs(fd);
            ::close(fd);
        }
    }
    if (progress != nullptr) {
        progress->complete();
    }
    return EncryptionResult::success();
}

} // namespace corvina::engine
