#pragma once

#include "engine/Cipher.h"
#include "engine/OperationProgress.h"
#include "zip/ArchiveSink.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace corvina {

/// Encrypts an archive while it is being packed: the packer hands over
/// full buffers, a thread of this object encrypts them and another writes
/// the ciphertext, so packing, encryption and the kernel's copying overlap.
/// The plaintext never touches a disk, memory stays at a few buffers, and
/// the output is byte for byte that of aesEncrypt over the whole archive.
class EncryptingSink : public zip::ArchiveSink {
public:
    EncryptingSink(const ArchiveKey& key, std::span<const uint8_t> iv, int outputFd,
                   std::filesystem::path outputPath, OperationProgress* progress = nullptr);
    /// Abandons the work if finish() was not called, and waits for the threads.
    ~EncryptingSink() override;
    EncryptingSink(const EncryptingSink&) = delete;
    EncryptingSink& operator=(const EncryptingSink&) = delete;

    /// Queues the bytes; waits while two buffers are queued already. Throws
    /// the first error of the encryption or the writing.
    void take(zip::ByteBuffer& buffer) override;
    /// Encrypted bytes cannot be rewritten: throws zip::Error.
    void rewrite(uint64_t offset, std::span<const uint8_t> bytes) override;
    /// Only a cut at the current end, which changes nothing, is possible.
    void truncate(uint64_t size) override;

    struct Outcome {
        /// Time from the first encrypted byte to the last written one.
        double seconds = 0;
        uint64_t ciphertextBytes = 0;
    };
    /// The archive is complete: waits until all of it is encrypted and
    /// written, padding included. Throws the first error met.
    Outcome finish();

private:
    void encryptPlaintext();
    void writeCiphertext();
    void fail(std::exception_ptr error);
    /// Waits for room; false when the work was abandoned or failed.
    bool queueCiphertext(zip::ByteBuffer piece);
    zip::ByteBuffer cipherPiece();

    AesCbcStream m_cipher;
    int m_outputFd;
    std::filesystem::path m_outputPath;
    OperationProgress* m_progress;
    uint64_t m_taken = 0;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<zip::ByteBuffer> m_plaintext;
    std::deque<zip::ByteBuffer> m_ciphertext;
    /// Emptied buffers, used again so that no new memory is touched.
    std::vector<zip::ByteBuffer> m_plaintextSpare;
    std::vector<zip::ByteBuffer> m_ciphertextSpare;
    bool m_finishing = false;
    bool m_encrypting = true;
    bool m_written = false;
    bool m_abandoned = false;
    std::exception_ptr m_error;
    Outcome m_outcome;
    std::optional<std::chrono::steady_clock::time_point> m_startTime;

    // Owned by the encrypting thread.
    uint64_t m_encrypted = 0;

    std::thread m_encryptor;
    std::thread m_writer;
};

} // namespace corvina
