#include "engine/EncryptingSink.h"

#include "engine/FileOperations.h"
#include "zip/Error.h"

#include <algorithm>

#include <fcntl.h>

namespace corvina {

namespace {

/// The ciphertext goes to the disk in steps of this size while the rest is
/// still being encrypted, so the final sync has little left to wait for.
constexpr uint64_t writebackStep = uint64_t{8} << 20;
/// Ciphertext is made and written in pieces of this size: small enough to
/// stay in the processor's cache while the kernel copies it, which whole
/// 4 MiB buffers measurably did not.
constexpr std::size_t pieceSize = std::size_t{256} << 10;
/// Plaintext buffers waiting for the cipher: enough that it never waits for
/// the packer.
constexpr std::size_t plaintextQueueLimit = 2;
/// Ciphertext pieces waiting for the disk.
constexpr std::size_t ciphertextQueueLimit = 16;

} // namespace

EncryptingSink::EncryptingSink(const ArchiveKey& key, std::span<const uint8_t> iv, int outputFd,
                               std::filesystem::path outputPath, OperationProgress* progress)
    : m_cipher(AesCbcStream::Direction::encrypt, key, iv)
    , m_outputFd(outputFd)
    , m_outputPath(std::move(outputPath))
    , m_progress(progress)
    , m_encryptor([this] { encryptPlaintext(); })
    , m_writer([this] { writeCiphertext(); }) {}

EncryptingSink::~EncryptingSink() {
    {
        std::lock_guard lock(m_mutex);
        m_abandoned = true;
    }
    m_changed.notify_all();
    m_encryptor.join();
    m_writer.join();
}

void EncryptingSink::take(zip::ByteBuffer& buffer) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_error || m_plaintext.size() < plaintextQueueLimit; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    m_taken += buffer.size();
    m_plaintext.push_back(std::move(buffer));
    buffer = zip::ByteBuffer();
    if (!m_plaintextSpare.empty()) {
        buffer.swap(m_plaintextSpare.back());
        m_plaintextSpare.pop_back();
    }
    lock.unlock();
    m_changed.notify_all();
}

void EncryptingSink::rewrite(uint64_t, std::span<const uint8_t>) {
    throw zip::Error(zip::ArchiveError::unwritableArchive, m_outputPath);
}

void EncryptingSink::truncate(uint64_t size) {
    if (size != m_taken) {
        throw zip::Error(zip::ArchiveError::unwritableArchive, m_outputPath);
    }
}

EncryptingSink::Outcome EncryptingSink::finish() {
    std::unique_lock lock(m_mutex);
    m_finishing = true;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_written; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    return m_outcome;
}

void EncryptingSink::fail(std::exception_ptr error) {
    std::lock_guard lock(m_mutex);
    if (!m_error) {
        m_error = std::move(error);
    }
    m_changed.notify_all();
}

bool EncryptingSink::queueCiphertext(zip::ByteBuffer piece) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] {
        return m_abandoned || m_error || m_ciphertext.size() < ciphertextQueueLimit;
    });
    if (m_abandoned || m_error) {
        return false;
    }
    m_ciphertext.push_back(std::move(piece));
    lock.unlock();
    m_changed.notify_all();
    return true;
}

zip::ByteBuffer EncryptingSink::cipherPiece() {
    std::lock_guard lock(m_mutex);
    zip::ByteBuffer piece;
    if (!m_ciphertextSpare.empty()) {
        piece.swap(m_ciphertextSpare.back());
        m_ciphertextSpare.pop_back();
    }
    return piece;
}

void EncryptingSink::encryptPlaintext() {
    try {
        for (;;) {
            zip::ByteBuffer plaintext;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [this] {
                    return m_abandoned || m_error || !m_plaintext.empty() || m_finishing;
                });
                if (m_abandoned || m_error) {
                    return;
                }
                if (m_plaintext.empty()) {
                    break;
                }
                plaintext = std::move(m_plaintext.front());
                m_plaintext.pop_front();
                if (!m_startTime) {
                    m_startTime = std::chrono::steady_clock::now();
                }
            }
            m_changed.notify_all();
            const std::span<const uint8_t> bytes(plaintext);
            for (std::size_t done = 0; done < bytes.size(); done += pieceSize) {
                const auto part = bytes.subspan(done, std::min(pieceSize, bytes.size() - done));
                zip::ByteBuffer piece = cipherPiece();
                piece.resize(part.size() + aesBlockSize);
                piece.resize(m_cipher.update(part, piece.data()));
                if (!queueCiphertext(std::move(piece))) {
                    return;
                }
                m_encrypted += part.size();
                if (m_progress != nullptr) {
                    m_progress->setDone(m_encrypted);
                }
            }
            plaintext.clear();
            std::lock_guard lock(m_mutex);
            m_plaintextSpare.push_back(std::move(plaintext));
        }
        zip::ByteBuffer last = cipherPiece();
        last.resize(aesBlockSize);
        last.resize(m_cipher.finish(last.data()));
        if (!queueCiphertext(std::move(last))) {
            return;
        }
        std::lock_guard lock(m_mutex);
        m_outcome.ciphertextBytes = m_encrypted + aesBlockSize - m_encrypted % aesBlockSize;
        m_encrypting = false;
        m_changed.notify_all();
    } catch (...) {
        fail(std::current_exception());
    }
}

void EncryptingSink::writeCiphertext() {
    uint64_t written = 0;
    uint64_t writebackStarted = 0;
    try {
        for (;;) {
            zip::ByteBuffer piece;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [this] {
                    return m_abandoned || m_error || !m_ciphertext.empty() || !m_encrypting;
                });
                if (m_abandoned || m_error) {
                    break;
                }
                if (m_ciphertext.empty()) {
                    const auto end = std::chrono::steady_clock::now();
                    m_outcome.seconds =
                        std::chrono::duration<double>(end - m_startTime.value_or(end)).count();
                    break;
                }
                piece = std::move(m_ciphertext.front());
                m_ciphertext.pop_front();
            }
            m_changed.notify_all();
            writeAll(m_outputFd, piece.data(), piece.size(), m_outputPath);
            written += piece.size();
            if (written - writebackStarted >= writebackStep) {
                // Only a hint to the kernel: a failure shows in the final fsync.
                ::sync_file_range(m_outputFd, static_cast<off_t>(writebackStarted),
                                  static_cast<off_t>(written - writebackStarted),
                                  SYNC_FILE_RANGE_WRITE);
                writebackStarted = written;
            }
            piece.clear();
            std::lock_guard lock(m_mutex);
            m_ciphertextSpare.push_back(std::move(piece));
        }
    } catch (...) {
        fail(std::current_exception());
    }
    std::lock_guard lock(m_mutex);
    m_written = true;
    m_changed.notify_all();
}

} // namespace corvina
