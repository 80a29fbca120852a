#include "engine/BackupDecryption.h"

#include "engine/Cipher.h"
#include "engine/DiagnosticLog.h"
#include "engine/EngineSupport.h"
#include "engine/LogText.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

constexpr std::array<uint8_t, 4> zipSignature{0x50, 0x4B, 0x03, 0x04};

/// Link targets are read whole; no system takes one this long (Linux stops
/// at 4096 bytes), so a longer size field is damage and is not read.
constexpr uint32_t longestLinkTarget = 65536;

} // namespace

bool hasAbsurdLinkTarget(const zip::Entry& entry) {
    return entry.localFileHeader.compressedSize > longestLinkTarget;
}

Decryption decryptBackup(const QString& backupFile, const QString& password, const QByteArray& iv,
                         OperationProgress* progress) {
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
    if (progress != nullptr) {
        progress->setTotal(static_cast<uint64_t>(status.st_size));
    }

    Decryption decryption;
    std::array<uint8_t, zipSignature.size()> head{};
    std::size_t headSize = 0;
    try {
        decryption.plaintext = std::make_unique<DecryptingReader>(
            std::move(input), backupPath, static_cast<uint64_t>(status.st_size), key, ivBytes(iv));
        diagnosticLog(QStringLiteral("Расшифровка завершена. Размер расшифрованных данных: ") +
                      QString::number(decryption.plaintext->size()) + QStringLiteral(" байт"));
        headSize = decryption.plaintext->read(0, head.data(), head.size());
    } catch (...) {
        return readFailure(std::current_exception());
    }

    if (headSize != zipSignature.size() ||
        !std::equal(zipSignature.begin(), zipSignature.end(), head.begin())) {
        diagnosticLog(
            QStringLiteral("Ошибка: Расшифрованные данные не являются допустимым ZIP-архивом."));
        return {nullptr, EncryptionResult::failure(
                             FinderCommentError::Case::missingEndOfCentralDirectoryRecord)};
    }
    return decryption;
}

bool backupOpensWith(const QString& backupFile, const QString& password, const QByteArray& iv) {
    QFile file(backupFile);
    const qint64 block = static_cast<qint64>(aesBlockSize);
    if (!file.open(QIODevice::ReadOnly) || file.size() < 2 * block || file.size() % block != 0) {
        return false;
    }
    const QByteArray head = file.read(2 * block);
    if (!file.seek(file.size() - 2 * block)) {
        return false;
    }
    const QByteArray tail = file.read(2 * block);
    if (head.size() != 2 * block || tail.size() != 2 * block) {
        return false;
    }
    const ArchiveKey key = deriveArchiveKey(password);
    try {
        // The last block unpads under the block before it as its IV.
        (void)aesDecrypt(tail.mid(block), key, tail.first(block));
        // Two blocks in, the first comes out; the second is held back.
        AesCbcStream stream(AesCbcStream::Direction::decrypt, key, ivBytes(iv));
        std::array<uint8_t, 3 * aesBlockSize> plain{};
        const std::size_t produced =
            stream.update(std::span(reinterpret_cast<const uint8_t*>(head.constData()),
                                    static_cast<std::size_t>(head.size())),
                          plain.data());
        return produced >= zipSignature.size() &&
               std::equal(zipSignature.begin(), zipSignature.end(), plain.begin());
    } catch (const CipherError&) {
        return false;
    }
}

EntryProgress::EntryProgress(OperationProgress* progress)
    : m_progress(progress)
    , m_done(0) {}

zip::Progress* EntryProgress::begin() {
    if (m_progress == nullptr) {
        return nullptr;
    }
    m_progress->entry().setCompletedUnitCount(0);
    return &m_progress->entry();
}

void EntryProgress::end(const zip::Entry& entry) {
    if (m_progress != nullptr) {
        // The entry's own count ends, and its bytes move into the base: the
        // value shown may lag for a moment but never runs ahead.
        m_progress->entry().setCompletedUnitCount(0);
        const zip::CentralDirectoryStructure& central = entry.centralDirectoryStructure;
        m_done = std::max(m_done,
                          central.effectiveLocalHeaderOffset() + central.effectiveCompressedSize());
        m_progress->setDone(m_done);
    }
}

} // namespace corvina::engine
