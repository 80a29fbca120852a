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

/// This program's rule: a damaged backup never replaces the data folder.
/// Every entry's data is compared with the size and CRC-32 the archive gives
/// it, and the archive must yield as many entries as its end record counts;
/// anything else ends the restore while the old data is still in place. Only
/// when the caller accepts damage (the last resort of a user whose only
/// backup is damaged) does the restore go on, noting each entry that failed.
class DamageCheck {
public:
    explicit DamageCheck(QStringList* acceptedDamage)
        : m_accepted(acceptedDamage) {}

    void checkEntry(const zip::Entry& entry, uint32_t checksum, uint64_t size,
                    const fs::path& where) {
        // The central record: it holds the CRC-32 and sizes for every entry,
        // also one that carries them in a descriptor after its data, whose
        // 32- or 64-bit form a reader can only guess.
        const zip::CentralDirectoryStructure& central = entry.centralDirectoryStructure;
        if (checksum != central.crc32 || size != central.effectiveUncompressedSize()) {
            damaged(entry.entryPath(), zip::ArchiveError::invalidCRC32, where);
        }
    }

    void checkEntryCount(uint64_t walked, uint64_t declared, const fs::path& archive) {
        if (walked < declared) {
            damaged(
                QStringLiteral("central directory record %1 of %2").arg(walked + 1).arg(declared),
                zip::ArchiveError::invalidCentralDirectoryEntryCount, archive);
        }
    }

private:
    void damaged(const QString& what, zip::ArchiveError error, const fs::path& where) {
        diagnosticLog(QStringLiteral("Ошибка: повреждённая запись архива: ") + what);
        if (m_accepted == nullptr) {
            throw zip::Error(error, where);
        }
        m_accepted->append(what);
    }

    QStringList* m_accepted;
};

struct LinkTarget {
    std::optional<QString> text;
    uint32_t checksum = 0;
    uint64_t size = 0;
};

/// The link target a symbolic link entry holds: each chunk is decoded by
/// itself and the last chunk that is valid UTF-8 wins.
LinkTarget readLinkTarget(zip::Archive& archive, const zip::Entry& entry) {
    LinkTarget link;
    std::optional<QString>& target = link.text;
    link.checksum = archive.readEntry(
        entry, zip::defaultChunkSize, false, nullptr, [&](std::span<const uint8_t> chunk) {
            link.size += chunk.size();
            QStringDecoder decoder(QStringDecoder::Utf8,
                                   QStringDecoder::Flag::Stateless |
                                       QStringDecoder::Flag::ConvertInitialBom);
            QString text = decoder.decode(QByteArrayView(
                reinterpret_cast<const char*>(chunk.data()), static_cast<qsizetype>(chunk.size())));
            if (!decoder.hasError()) {
                target = std::move(text);
            }
        });
    return link;
}

/// Links are made at the percent-escaped form of their full path (characters
/// outside the URL path set escaped), as every version of this program has
/// done: a path with a space or a non-ASCII letter normally ends up in a
/// folder that does not exist, and the link is skipped. The escaped path is
/// only ever used beneath the temporary folder; one that leaves it counts as
/// a failed link.
void restoreSymbolicLink(zip::Archive& archive, const zip::Entry& entry, zip::ExtractionRoot& root,
                         const QString& relativePath, DamageCheck& check) {
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
    const LinkTarget link = readLinkTarget(archive, entry);
    // A link target is read as its local header gives it: only a stored one
    // whose size is in that header (not in a descriptor after the data) can
    // be held against its CRC-32.
    if (entry.localFileHeader.compressionMethod == 0 && !entry.usesDataDescriptorFlag()) {
        check.checkEntry(entry, link.checksum, link.size, root.path() / relativePath.toStdString());
    }
    const std::optional<QString>& target = link.text;
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

/// Extracts a file entry and checks what arrived: the CRC-32 as the data
/// went by, the size as the file now stands (a short entry ends early).
void extractFile(zip::Archive& archive, const zip::Entry& entry, zip::ExtractionRoot& root,
                 const QString& relativePath, zip::Progress* progress, DamageCheck& check) {
    const uint32_t checksum = root.extractEntry(archive, entry, relativePath, zip::defaultChunkSize,
                                                false, false, progress);
    const fs::path written = root.path() / relativePath.toStdString();
    struct stat status {};
    if (::lstat(written.c_str(), &status) != 0) {
        throw SystemError(errno, written);
    }
    check.checkEntry(entry, checksum, static_cast<uint64_t>(status.st_size), written);
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

void unpackEntries(zip::Archive& archive, zip::ExtractionRoot& root, OperationProgress* progress,
                   QStringList* acceptedDamage) {
    DamageCheck check(acceptedDamage);
    EntryProgress counted(progress);
    uint64_t walked = 0;
    for (const zip::Entry& entry : archive.entrySequence()) {
        ++walked;
        const QString entryPath = entry.entryPath();
        diagnosticLog(QStringLiteral("Обрабатывается файл: ") + entryPath);
        const QString relativePath = relativeEntryPath(entryPath);
        switch (entry.entryType()) {
        case zip::EntryType::file:
            diagnosticLog(QStringLiteral("Тип записи: файл"));
            root.createDirectories(parentOf(relativePath));
            extractFile(archive, entry, root, relativePath, counted.begin(), check);
            diagnosticLog(QStringLiteral("Файл успешно извлечен: ") + pathText(root.path()) +
                          QLatin1Char('/') + relativePath);
            break;
        case zip::EntryType::directory:
            diagnosticLog(QStringLiteral("Тип записи: директория"));
            root.createDirectories(relativePath);
            break;
        case zip::EntryType::symlink:
            restoreSymbolicLink(archive, entry, root, relativePath, check);
            break;
        }
        counted.end(entry);
    }
    // A record that cannot be read ends the entry sequence early.
    check.checkEntryCount(walked, archive.endRecords().totalNumberOfEntries(), root.path());
}

EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv,
                                OperationProgress* progress, QStringList* acceptedDamage) {
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
        unpackEntries(archive, root, progress, acceptedDamage);
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
