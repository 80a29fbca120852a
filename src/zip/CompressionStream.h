#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace corvina::zip {

/// Fills the given buffer with at most its size of source bytes and returns
/// how many it wrote; may throw.
using StreamSource = std::function<std::size_t(std::span<uint8_t> into)>;
/// Gives source bytes for (position, wanted size); may throw.
using DeflateSource = std::function<std::vector<uint8_t>(int64_t position, int64_t size)>;
/// Takes produced bytes; may throw.
using StreamConsumer = std::function<void(std::span<const uint8_t> produced)>;

/// Continues a CRC-32 over `bytes`. Unlike zlib's crc32 with a null buffer,
/// an empty span leaves the value as it is.
uint32_t continueCrc32(uint32_t crc, std::span<const uint8_t> bytes);

/// Raw deflate (no zlib header) of `size` source bytes, asking the source for
/// at most `bufferSize` bytes at a time. The stream finishes with the first
/// source buffer shorter than `bufferSize`. Returns the CRC-32 of the source.
uint32_t deflateStream(uint64_t size, int64_t bufferSize, const DeflateSource& source,
                       const StreamConsumer& consumer);

/// Raw inflate of `size` compressed bytes; returns the CRC-32 of the output
/// unless `skipCRC32`. Damaged or truncated data is
/// CompressionError.corruptedData.
uint32_t inflateStream(uint64_t size, int64_t bufferSize, bool skipCRC32,
                       const StreamSource& source, const StreamConsumer& consumer);

} // namespace corvina::zip
