#include "engine/EncryptionService.h"

#include "engine/BackupTimestamp.h"
#include "engine/Cipher.h"
#include "engine/DiagnosticLog.h"
#include "engine/FileOperations.h"
#include "engine/FinderComment.h"
#include "engine/LogText.h"
#include "engine/StreamingCipher.h"
#include "zip/Archive.h"
#include "zip/ExtractionRoot.h"

#include <QDir>
#include <QFile>
#include <QStringDecoder>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <span>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace corvina {

namespace fs = std::filesystem;

namespace {

/// The description of whatever the engine caught, for its log lines.
QString describeException(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const zip::Error& e) {
        return e.localizedDescription();
    } catch (const CipherError& e) {
        return e.localizedDescription();
    } catch (const SystemError& e) {
        return e.localizedDescription();
    } catch (const std::exception& e) {
        return QString::fromLocal8Bit(e.what());
    } catch (...) {
        return QStringLiteral("Unknown error");
    }
}

fs::path toPath(const QString& path) {
    return fs::path(QFile::encodeName(path).toStdString());
}

QString pathText(const fs::path& path) {
    return QFile::decodeName(QByteArray(path.c_str()));
}

std::span<const uint8_t> ivBytes(const QByteArray& iv) {
    return {reinterpret_cast<const uint8_t*>(iv.constData()), static_cast<std::size_t>(iv.size())};
}

/// Throws the SystemError of a failed std::filesystem call.
void check(const std::error_code& error, const fs::path& path) {
    if (error) {
        throw SystemError(error.value(), path);
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

// ---------------------------------------------------------------- creation

EncryptionResult createArchive(const QString& source, const QString& destination,
                               const QString& password, const QString& comment,
                               const QByteArray& iv, QString& publishedBackup) {
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
        // The key comes first so that encryption can follow the packing.
        const ArchiveKey key = deriveArchiveKey(password);
        UnpublishedFile ciphertext(destinationPath, 0666);
        FollowingEncryptor::Outcome outcome;
        {
            FollowingEncryptor encryptor(key, ivBytes(iv), temporaryZip, ciphertext.fd(),
                                         backupFile);
            zip::packItem(toPath(source), temporaryZip, true, zip::CompressionMethod::none, nullptr,
                          [&encryptor](uint64_t bytes) { encryptor.advance(bytes); });
            diagnosticLog(QStringLiteral("Архив успешно создан: ") + pathText(temporaryZip));
            outcome = encryptor.finish(fs::file_size(temporaryZip));
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
            const FileDescriptor folder = openFile(destinationPath, O_RDONLY | O_DIRECTORY);
            syncFile(folder.get(), destinationPath);
        };

        if (!trimmedHorizontally(comment).isEmpty()) {
            const EncryptionResult commented = addFinderComment(comment, pathText(backupFile));
            if (!commented.isSuccess()) {
                const FinderCommentError& error = commented.error();
                diagnosticLog(error.errorCase() == FinderCommentError::Case::commentTooLong
                                  ? QStringLiteral("Комментарий слишком длинный и был обрезан.")
                                  : error.logLine());
                syncBackup();
                return commented;
            }
        }
        syncBackup();

        std::error_code removeError;
        fs::remove(temporaryZip, removeError);
        check(removeError, temporaryZip);
        diagnosticLog(QStringLiteral("Временный ZIP-файл удалён."));
        return EncryptionResult::success();
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка при создании зашифрованного архива: ") +
                      describeException(std::current_exception()));
        return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    }
}

// ------------------------------------------------------------- decryption

constexpr std::array<uint8_t, 4> zipSignature{0x50, 0x4B, 0x03, 0x04};

/// Link targets are read whole; no system takes one this long (Linux stops
/// at 4096 bytes), so a longer size field is damage and is not read.
constexpr uint32_t longestLinkTarget = 65536;

bool hasAbsurdLinkTarget(const zip::Entry& entry) {
    return entry.localFileHeader.compressedSize > longestLinkTarget;
}

/// A backup decrypted into an unpublished file, or the failure to report.
struct Decryption {
    std::unique_ptr<UnpublishedFile> plaintext;
    std::optional<EncryptionResult> failure;
};

/// The shared first half of restoring and verifying: derive the key, read and
/// decrypt the backup into an unpublished file in `workFolder`, and test the
/// ZIP signature. Nothing is left behind when it fails.
Decryption decryptBackup(const QString& backupFile, const QString& password, const QByteArray& iv,
                         const fs::path& workFolder) {
    const auto readFailure = [](const std::exception_ptr& error) {
        diagnosticLog(QStringLiteral("Ошибка: ") + describeException(error));
        return Decryption{
            nullptr, EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed)};
    };

    const ArchiveKey key = deriveArchiveKey(password);
    const fs::path backupPath = toPath(backupFile);
    FileDescriptor input;
    struct stat status {};
    try {
        input = openFile(backupPath, O_RDONLY);
        if (::fstat(input.get(), &status) != 0) {
            throw SystemError(errno, backupPath);
        }
        if (S_ISDIR(status.st_mode)) {
            throw SystemError(EISDIR, backupPath);
        }
    } catch (...) {
        return readFailure(std::current_exception());
    }
    if (status.st_size == 0) {
        diagnosticLog(QStringLiteral("Ошибка: зашифрованный файл пустой."));
        return {nullptr,
                EncryptionResult::failure(FinderCommentError::Case::encryptedFileNotFound)};
    }
    diagnosticLog(QStringLiteral("Размер зашифрованного архива: ") +
                  shortestDoubleText(static_cast<double>(status.st_size) * 9.5367431640625e-7) +
                  QStringLiteral(" МБ"));
    diagnosticLog(QStringLiteral("Начало расшифровки данных архива."));

    Decryption decryption;
    DecryptionOutcome outcome;
    try {
        decryption.plaintext = std::make_unique<UnpublishedFile>(workFolder, 0600);
        outcome = decryptStream(input.get(), backupPath, decryption.plaintext->fd(),
                                decryption.plaintext->accessPath(), key, ivBytes(iv));
    } catch (...) {
        return readFailure(std::current_exception());
    }
    diagnosticLog(QStringLiteral("Расшифровка завершена. Размер расшифрованных данных: ") +
                  QString::number(outcome.plaintextBytes) + QStringLiteral(" байт"));

    if (outcome.headSize != zipSignature.size() ||
        !std::equal(zipSignature.begin(), zipSignature.end(), outcome.head.begin())) {
        diagnosticLog(
            QStringLiteral("Ошибка: Расшифрованные данные не являются допустимым ZIP-архивом."));
        return {nullptr, EncryptionResult::failure(
                             FinderCommentError::Case::missingEndOfCentralDirectoryRecord)};
    }
    return decryption;
}

// ------------------------------------------------------------ restoration

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

void unpackEntries(zip::Archive& archive, zip::ExtractionRoot& root) {
    for (const zip::Entry& entry : archive.entrySequence()) {
        const QString entryPath = entry.entryPath();
        diagnosticLog(QStringLiteral("Обрабатывается файл: ") + entryPath);
        const QString relativePath = relativeEntryPath(entryPath);
        switch (entry.entryType()) {
        case zip::EntryType::file:
            diagnosticLog(QStringLiteral("Тип записи: файл"));
            root.createDirectories(parentOf(relativePath));
            root.extractEntry(archive, entry, relativePath);
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
    }
}

std::vector<fs::path> directoryContents(const fs::path& folder) {
    std::vector<fs::path> items;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        items.push_back(it->path());
    }
    check(error, folder);
    return items;
}

void replaceContents(const fs::path& target, const fs::path& temporaryFolder) {
    std::error_code error;
    if (!fs::exists(target, error)) {
        fs::create_directories(target, error);
        check(error, target);
    } else {
        diagnosticLog(QStringLiteral("Очистка директории: ") + pathText(target));
        for (const fs::path& item : directoryContents(target)) {
            fs::remove_all(item, error);
            check(error, item);
        }
    }
    for (const fs::path& item : directoryContents(temporaryFolder)) {
        const fs::path destination = target / item.filename();
        // A move never replaces an item. File systems without
        // RENAME_NOREPLACE answer EINVAL; there the test is made beforehand.
        if (::renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) ==
            0) {
            continue;
        }
        if (errno != EINVAL) {
            throw SystemError(errno, destination);
        }
        struct stat existing {};
        if (::lstat(destination.c_str(), &existing) == 0) {
            throw SystemError(EEXIST, destination);
        }
        if (::rename(item.c_str(), destination.c_str()) != 0) {
            throw SystemError(errno, destination);
        }
    }
}

EncryptionResult restoreArchive(const QString& backupFile, const QString& containerDirectory,
                                const QString& password, const QByteArray& iv) {
    const fs::path container = toPath(containerDirectory);
    const fs::path temporaryZip = container / ".decryptedArchive.zip";
    const fs::path temporaryFolder = container / ".TempData";
    const fs::path target = container / "Data";
    const auto failed = [] {
        return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    };

    Decryption decryption = decryptBackup(backupFile, password, iv, container);
    if (decryption.failure) {
        return *decryption.failure;
    }
    try {
        decryption.plaintext->publish(temporaryZip.filename().string());
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка: ") + describeException(std::current_exception()));
        return failed();
    }
    decryption.plaintext.reset();
    diagnosticLog(QStringLiteral("Временный расшифрованный архив сохранен: ") +
                  pathText(temporaryZip));

    std::error_code error;
    if (!fs::exists(temporaryZip, error)) {
        diagnosticLog(QStringLiteral("Ошибка: временный файл не найден."));
        return failed();
    }
    std::error_code statusError;
    if (fs::exists(fs::symlink_status(temporaryFolder, statusError))) {
        fs::remove_all(temporaryFolder, error);
    }
    if (!error) {
        fs::create_directories(temporaryFolder, error);
    }
    if (error) {
        diagnosticLog(QStringLiteral("Ошибка создания временной директории: ") +
                      SystemError(error.value(), temporaryFolder).localizedDescription());
        return failed();
    }

    try {
        zip::Archive archive(temporaryZip, zip::AccessMode::read);
        zip::ExtractionRoot root(temporaryFolder);
        diagnosticLog(QStringLiteral("Архив успешно открыт для чтения. Начало распаковки."));
        unpackEntries(archive, root);
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка распаковки архива: ") +
                      describeException(std::current_exception()));
        return failed();
    }
    diagnosticLog(QStringLiteral("Распаковка завершена."));

    try {
        replaceContents(target, temporaryFolder);
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка замены содержимого директории: ") +
                      describeException(std::current_exception()));
        return failed();
    }
    diagnosticLog(QStringLiteral("Данные успешно восстановлены в директорию: ") + pathText(target));

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

    // A restore reported as done is on disk.
    const int folder = ::open(container.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::syncfs(folder);
        ::close(folder);
    }
    return EncryptionResult::success();
}

// ----------------------------------------------------------- verification

VerificationReport verifyArchive(const QString& backupFile, const QString& password,
                                 const QByteArray& iv) {
    VerificationReport report;
    Decryption decryption = decryptBackup(backupFile, password, iv, toPath(QDir::tempPath()));
    if (decryption.failure) {
        report.result = *decryption.failure;
        return report;
    }
    try {
        zip::Archive archive(decryption.plaintext->accessPath(), zip::AccessMode::read);
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
                    entry, zip::defaultChunkSize, false, nullptr,
                    [&delivered](std::span<const uint8_t> chunk) { delivered += chunk.size(); });
                sound =
                    checksum == entry.entryChecksum() && delivered == entry.entryUncompressedSize();
            } catch (...) {
                sound = false;
            }
            report.bytes += delivered;
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
    } catch (...) {
        diagnosticLog(QStringLiteral("Ошибка распаковки архива: ") +
                      describeException(std::current_exception()));
        report.result = EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
    }
    return report;
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

QFuture<EncryptionResult> EncryptionService::createEncryptedArchive(const QString& source,
                                                                    const QString& destination,
                                                                    const QString& password,
                                                                    const QString& comment) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        QString backupFile;
        try {
            return createArchive(source, destination, password, comment, iv, backupFile);
        } catch (...) {
            return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
    });
}

QFuture<CreatedBackup> EncryptionService::createBackup(const QString& source,
                                                       const QString& destination,
                                                       const QString& password,
                                                       const QString& comment) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        CreatedBackup created;
        try {
            created.result =
                createArchive(source, destination, password, comment, iv, created.backupFile);
        } catch (...) {
            created.result =
                EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
        return created;
    });
}

QFuture<EncryptionResult> EncryptionService::restoreEncryptedArchive(
    const QString& backupFile, const QString& containerDirectory, const QString& password) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        try {
            return restoreArchive(backupFile, containerDirectory, password, iv);
        } catch (...) {
            return EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
        }
    });
}

QFuture<VerificationReport> EncryptionService::verifyEncryptedArchive(const QString& backupFile,
                                                                      const QString& password) {
    return QtConcurrent::run(&m_workers, [=, iv = iv] {
        try {
            return verifyArchive(backupFile, password, iv);
        } catch (...) {
            VerificationReport report;
            report.result =
                EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed);
            return report;
        }
    });
}

} // namespace corvina
