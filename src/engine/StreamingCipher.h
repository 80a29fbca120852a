#pragma once

#include "engine/Cipher.h"
#include "engine/OperationProgress.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace corvina {

/// Bytes read and encrypted or decrypted per step of the streaming cipher.
inline constexpr std::size_t streamingChunkSize = std::size_t{1} << 20;

/// Encrypts a file while another thread is still writing it. The writer
/// announces how far the file is final with advance(); a thread of this
/// object reads up to that mark, encrypts and appends to the output, so
/// writing, reading and encryption overlap and memory stays at two chunks.
/// The output is byte for byte that of aesEncrypt over the whole file, and
/// goes to the disk while the rest is encrypted.
class FollowingEncryptor {
public:
    FollowingEncryptor(const ArchiveKey& key, std::span<const uint8_t> iv,
                       std::filesystem::path plaintextPath, int outputFd,
                       std::filesystem::path outputPath, OperationProgress* progress = nullptr);
    /// Abandons the work if finish() was not called, and waits for the thread.
    ~FollowingEncryptor();
    FollowingEncryptor(const FollowingEncryptor&) = delete;
    FollowingEncryptor& operator=(const FollowingEncryptor&) = delete;

    /// Bytes [0, finalizedBytes) of the plaintext are written and final.
    void advance(uint64_t finalizedBytes);

    struct Outcome {
        /// Time from the first encrypted chunk to the last written byte.
        double seconds = 0;
        uint64_t ciphertextBytes = 0;
    };

    /// The plaintext is complete at `finalSize` bytes: waits until all of it
    /// is encrypted and written. Throws the first error met.
    Outcome finish(uint64_t finalSize);

private:
    void run();
    void encryptUpTo(uint64_t mark);

    AesCbcStream m_cipher;
    std::filesystem::path m_plaintextPath;
    int m_outputFd;
    std::filesystem::path m_outputPath;
    /// Told the plaintext bytes encrypted so far, when given.
    OperationProgress* m_progress;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    uint64_t m_finalized = 0;
    std::optional<uint64_t> m_finalSize;
    bool m_abandoned = false;
    bool m_done = false;
    std::exception_ptr m_error;
    Outcome m_outcome;

    // Owned by the worker thread.
    uint64_t m_encrypted = 0;
    /// Output bytes up to which write-back to the disk has been started.
    uint64_t m_writebackStarted = 0;
    std::optional<int> m_plaintextFd;
    std::vector<uint8_t> m_input;
    std::vector<uint8_t> m_output;
    std::optional<std::chrono::steady_clock::time_point> m_startTime;

    std::thread m_thread;
};

} // namespace corvina
