#include "engine/StreamingCipher.h"

#include "engine/FileOperations.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace corvina {

namespace {

/// The ciphertext goes to the disk in steps of this size while the rest is
/// still being encrypted, so the final sync has little left to wait for.
constexpr uint64_t writebackStep = uint64_t{8} << 20;

} // namespace

FollowingEncryptor::FollowingEncryptor(const ArchiveKey& key, std::span<const uint8_t> iv,
                                       std::filesystem::path plaintextPath, int outputFd,
                                       std::filesystem::path outputPath,
                                       OperationProgress* progress)
    : m_cipher(AesCbcStream::Direction::encrypt, key, iv)
    , m_plaintextPath(std::move(plaintextPath))
    , m_outputFd(outputFd)
    , m_outputPath(std::move(outputPath))
    , m_progress(progress)
    , m_thread([this] { run(); }) {}

FollowingEncryptor::~FollowingEncryptor() {
    {
        std::lock_guard lock(m_mutex);
        m_abandoned = true;
    }
    m_changed.notify_all();
    m_thread.join();
    if (m_plaintextFd) {
        ::close(*m_plaintextFd);
    }
}

void FollowingEncryptor::advance(uint64_t finalizedBytes) {
    {
        std::lock_guard lock(m_mutex);
        m_finalized = std::max(m_finalized, finalizedBytes);
    }
    m_changed.notify_all();
}

FollowingEncryptor::Outcome FollowingEncryptor::finish(uint64_t finalSize) {
    std::unique_lock lock(m_mutex);
    m_finalSize = finalSize;
    m_finalized = std::max(m_finalized, finalSize);
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_done; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    return m_outcome;
}

void FollowingEncryptor::run() {
    try {
        for (;;) {
            uint64_t mark = 0;
            std::optional<uint64_t> finalSize;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [this] {
                    return m_abandoned || m_finalized > m_encrypted || m_finalSize.has_value();
                });
                if (m_abandoned) {
                    return;
                }
                mark = m_finalized;
                finalSize = m_finalSize;
            }
            encryptUpTo(mark);
            if (finalSize) {
                if (m_encrypted != *finalSize) {
                    // More bytes were announced than the file finally holds.
                    throw SystemError(EIO, m_plaintextPath);
                }
                std::array<uint8_t, aesBlockSize> last{};
                const std::size_t produced = m_cipher.finish(last.data());
                writeAll(m_outputFd, last.data(), produced, m_outputPath);
                const auto end = std::chrono::steady_clock::now();
                std::lock_guard lock(m_mutex);
                m_outcome.ciphertextBytes = m_encrypted + aesBlockSize - m_encrypted % aesBlockSize;
                m_outcome.seconds =
                    std::chrono::duration<double>(end - m_startTime.value_or(end)).count();
                m_done = true;
                m_changed.notify_all();
                return;
            }
        }
    } catch (...) {
        std::lock_guard lock(m_mutex);
        m_error = std::current_exception();
        m_done = true;
        m_changed.notify_all();
    }
}

void FollowingEncryptor::encryptUpTo(uint64_t mark) {
    if (mark <= m_encrypted) {
        return;
    }
    if (!m_startTime) {
        m_startTime = std::chrono::steady_clock::now();
    }
    if (!m_plaintextFd) {
        m_plaintextFd = openFile(m_plaintextPath, O_RDONLY).release();
    }
    // Made once: with many small entries this runs once per entry.
    if (m_input.empty()) {
        m_input.resize(streamingChunkSize);
        m_output.resize(streamingChunkSize + aesBlockSize);
    }
    while (m_encrypted < mark) {
        const std::size_t wanted =
            static_cast<std::size_t>(std::min<uint64_t>(streamingChunkSize, mark - m_encrypted));
        const std::size_t got =
            readAt(*m_plaintextFd, m_input.data(), wanted, m_encrypted, m_plaintextPath);
        if (got != wanted) {
            // The writer promised bytes that are not there: the file shrank.
            throw SystemError(EIO, m_plaintextPath);
        }
        const std::size_t produced =
            m_cipher.update(std::span(m_input.data(), got), m_output.data());
        writeAll(m_outputFd, m_output.data(), produced, m_outputPath);
        m_encrypted += got;
        if (m_progress != nullptr) {
            m_progress->setDone(m_encrypted);
        }
        // Output so far: the input less what the cipher holds back (< 16 bytes).
        const uint64_t written = m_encrypted - m_encrypted % aesBlockSize;
        if (written - m_writebackStarted >= writebackStep) {
            // Only a hint to the kernel: a failure shows in the final fsync.
            ::sync_file_range(m_outputFd, static_cast<off_t>(m_writebackStarted),
                              static_cast<off_t>(written - m_writebackStarted),
                              SYNC_FILE_RANGE_WRITE);
            m_writebackStarted = written;
        }
    }
}

} // namespace corvina
