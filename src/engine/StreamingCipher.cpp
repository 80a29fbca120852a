#include "engine/StreamingCipher.h"

#include "engine/FileOperations.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace corvina {

DecryptionOutcome decryptStream(int inputFd, const std::filesystem::path& inputPath, int outputFd,
                                const std::filesystem::path& outputPath, const ArchiveKey& key,
                                std::span<const uint8_t> iv, OperationProgress* progress) {
    AesCbcStream cipher(AesCbcStream::Direction::decrypt, key, iv);
    DecryptionOutcome outcome;
    uint64_t consumed = 0;
    std::vector<uint8_t> input(streamingChunkSize);
    std::vector<uint8_t> output(streamingChunkSize + aesBlockSize);
    const auto deliver = [&](std::size_t produced) {
        const std::size_t headPart = std::min(outcome.head.size() - outcome.headSize, produced);
        std::copy_n(output.data(), headPart, outcome.head.data() + outcome.headSize);
        outcome.headSize += headPart;
        writeAll(outputFd, output.data(), produced, outputPath);
        outcome.plaintextBytes += produced;
    };
    for (;;) {
        const std::size_t got = readSome(inputFd, input.data(), input.size(), inputPath);
        if (got == 0) {
            break;
        }
        deliver(cipher.update(std::span(input.data(), got), output.data()));
        consumed += got;
        if (progress != nullptr) {
            progress->setDone(consumed);
        }
    }
    deliver(cipher.finish(output.data()));
    return outcome;
}

} // namespace corvina
