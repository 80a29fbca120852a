#include "engine/EncryptingSink.h"

#include "engine/FileOperations.h"
#include "zip/Error.h"

#include <algorithm>
#include <array>

#include <fcntl.h>

namespace corvina {

namespace {

/// The ciphertext goes to the disk in steps of this size while the rest is
/// still being encrypted, so the final sync has little left to wait for.
constexpr uint64_t writebackStep = uint64_t{8} << 20;
/// Ciphertext is written in pieces of this size.
constexpr std::size_t writeStep = std::size_t{256} << 10;
/// Buffers waiting for the cipher: enough that it never waits for the packer.
constexpr std::size_t queueLimit = 2;

} // namespace

EncryptingSink::EncryptingSink(const ArchiveKey& key, std::span<const uint8_t> iv, int outputFd,
                               std::filesystem::path outputPath, OperationProgress* progress)
    : m_cipher(AesCbcStream::Direction::encrypt, key, iv)
    , m_outputFd(outputFd)
    , m_outputPath(std::move(outputPath))
    , m_progress(progress)
    , m_thread([this] { run(); }) {}

EncryptingSink::~EncryptingSink() {
    {
        std::lock_guard lock(m_mutex);
        m_abandoned = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void EncryptingSink::take(zip::ByteBuffer& buffer) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_error || m_queued.size() < queueLimit; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    m_taken += buffer.size();
    m_queued.push_back(std::move(buffer));
    buffer = zip::ByteBuffer();
    if (!m_spare.empty()) {
        buffer.swap(m_spare.back());
        m_spare.pop_back();
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
    m_changed.wait(lock, [this] { return m_done; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    return m_outcome;
}

void EncryptingSink::run() {
    try {
        for (;;) {
            zip::ByteBuffer plaintext;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock,
                               [this] { return m_abandoned || !m_queued.empty() || m_finishing; });
                if (m_abandoned) {
                    return;
                }
                if (m_queued.empty()) {
                    break;
                }
                plaintext = std::move(m_queued.front());
                m_queued.pop_front();
            }
            m_changed.notify_all();
            encrypt(plaintext);
            plaintext.clear();
            {
                std::lock_guard lock(m_mutex);
                m_spare.push_back(std::move(plaintext));
            }
        }
        std::array<uint8_t, aesBlockSize> last{};
        const std::size_t produced = m_cipher.finish(last.data());
        writeAll(m_outputFd, last.data(), produced, m_outputPath);
        const auto end = std::chrono::steady_clock::now();
        std::lock_guard lock(m_mutex);
        m_outcome.ciphertextBytes = m_encrypted + aesBlockSize - m_encrypted % aesBlockSize;
        m_outcome.seconds = std::chrono::duration<double>(end - m_startTime.value_or(end)).count();
        m_done = true;
        m_changed.notify_all();
    } catch (...) {
        std::lock_guard lock(m_mutex);
        m_error = std::current_exception();
        m_done = true;
        m_changed.notify_all();
    }
}

void EncryptingSink::encrypt(std::span<const uint8_t> plaintext) {
    if (!m_startTime) {
        m_startTime = std::chrono::steady_clock::now();
    }
    if (m_output.size() < writeStep + aesBlockSize) {
        m_output.resize(writeStep + aesBlockSize);
    }
    for (std::size_t done = 0; done < plaintext.size(); done += writeStep) {
        const auto piece = plaintext.subspan(done, std::min(writeStep, plaintext.size() - done));
        const std::size_t produced = m_cipher.update(piece, m_output.data());
        writeAll(m_outputFd, m_output.data(), produced, m_outputPath);
    }
    m_encrypted += plaintext.size();
    if (m_progress != nullptr) {
        m_progress->setDone(m_encrypted);
    }
    // Output so far: the input less what the cipher holds back (< 16 bytes).
    const uint64_t written = m_encrypted - m_encrypted % aesBlockSize;
    if (written - m_writebackStarted >= writebackStep) {
        // Only a hint to the kernel: a failure shows in the final fsync.
        ::sync_file_range(m_outputFd, static_cast<off_t>(m_writebackStarted),
                          static_cast<off_t>(written - m_writebackStarted), SYNC_FILE_RANGE_WRITE);
        m_writebackStarted = written;
    }
}

} // namespace corvina
