#pragma once

#include "zip/CompressionStream.h"
#include "zip/Error.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <span>
#include <sys/types.h>
#include <unistd.h>

// Helpers shared by the archive's reading and its bookkeeping.
namespace corvina::zip::archive {

constexpr uint64_t maxFileOffset = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
constexpr std::size_t streamBufferSize = 16384;

struct FdCloser {
    int fd;
    ~FdCloser() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

inline uint32_t crcOf(uint32_t crc, std::span<const uint8_t> bytes) {
    return continueCrc32(crc, bytes);
}

/// Reads with fread semantics from a stream: a read error is
/// DataError.unreadableFile, a short count at the end of the file is not.
inline std::size_t freadChecked(std::FILE* stream, uint8_t* into, std::size_t count,
                                const std::filesystem::path& path) {
    const std::size_t got = std::fread(into, 1, count, stream);
    if (std::ferror(stream) > 0) {
        throw Error(DataError::unreadableFile, path, errno);
    }
    return got;
}

} // namespace corvina::zip::archive
