#pragma once

#include "engine/Cipher.h"
#include "engine/OperationProgress.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace corvina {

/// Bytes read and encrypted or decrypted per step of the streaming cipher.
inline constexpr std::size_t streamingChunkSize = std::size_t{1} << 20;

/// What a streaming decryption saw of the plaintext.
struct DecryptionOutcome {
    uint64_t plaintextBytes = 0;
    /// The first bytes of the plaintext, up to four.
    std::array<uint8_t, 4> head{};
    std::size_t headSize = 0;
};

/// Decrypts everything from `inputFd`'s position to its end into `outputFd`,
/// chunk by chunk. Throws SystemError on a read or write failure and
/// CipherError when the final block does not unpad (a wrong password).
/// `progress`, when given, is told the input bytes decrypted so far.
DecryptionOutcome decryptStream(int inputFd, const std::filesystem::path& inputPath, int outputFd,
                                const std::filesystem::path& outputPath, const ArchiveKey& key,
                                std::span<const uint8_t> iv, OperationProgress* progress = nullptr);

} // namespace corvina
