#pragma once

#include "engine/Cipher.h"
#include "engine/FileOperations.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <thread>
#include <vector>

namespace corvina {

/// Plaintext bytes decrypted in one step: whole cipher blocks, so a window
/// starts where a block does.
inline constexpr std::size_t decryptionWindowSize = std::size_t{1} << 20;

/// The plaintext of an AES-256-CBC file, readable at any offset without
/// ever being written out. CBC decrypts each block from its own ciphertext
/// and the block before it, so any window can be decrypted by itself. A
/// thread of this object decrypts the windows after the last one read while
/// the reader works on it; a few recent windows are kept, so memory stays at
/// some megabytes whatever the size of the file.
class DecryptingReader {
public:
    /// Takes over `ciphertext`, open for reading, of `ciphertextSize` bytes.
    /// Unpads the last block first, exactly as a decryption of the whole file
    /// would at its end: throws CipherError when that fails (a wrong
    /// password, a length that is not whole blocks) and SystemError when the
    /// file cannot be read.
    DecryptingReader(FileDescriptor ciphertext, std::filesystem::path path, uint64_t ciphertextSize,
                     const ArchiveKey& key, std::span<const uint8_t> iv);
    ~DecryptingReader();
    DecryptingReader(const DecryptingReader&) = delete;
    DecryptingReader& operator=(const DecryptingReader&) = delete;

    /// The length of the plaintext.
    [[nodiscard]] uint64_t size() const { return m_size; }

    /// Copies up to `count` plaintext bytes at `offset` into `into`; fewer
    /// only at the end. Any thread may call it. Throws SystemError.
    std::size_t read(uint64_t offset, uint8_t* into, std::size_t count);

    /// A read-only stdio stream over the plaintext, with a position of its
    /// own, for the caller to close; this object must outlive it. Throws
    /// SystemError.
    [[nodiscard]] std::FILE* openStream();

private:
    using Window = std::shared_ptr<uint8_t[]>;

    Window window(uint64_t index);
    /// Decrypts window `index` into `into` (windowBytes), plaintext from
    /// byte 16 on. Thread-safe.
    void decrypt(uint64_t index, uint8_t* into) const;
    void run();

    // With m_mutex held.
    void requestAfter(uint64_t index);
    Window takeBuffer();
    void store(uint64_t index, Window bytes);

    FileDescriptor m_ciphertext;
    std::filesystem::path m_path;
    uint64_t m_ciphertextSize;
    uint64_t m_size = 0;
    ArchiveKey m_key;
    std::array<uint8_t, aesBlockSize> m_iv{};

    struct Cached {
        Window bytes;
        uint64_t lastUse = 0;
    };
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<uint64_t, Cached> m_cache;
    std::set<uint64_t> m_inProgress;
    std::deque<uint64_t> m_wanted;
    std::vector<Window> m_spare;
    uint64_t m_clock = 0;
    bool m_stopping = false;

    std::thread m_thread;
};

/// Writes the whole plaintext of `plaintext` to an owner-only file that gets
/// the name `destination` only once it is complete, replacing a file of that
/// name. Throws SystemError or CipherError.
void writePlaintext(DecryptingReader& plaintext, const std::filesystem::path& destination);

} // namespace corvina
