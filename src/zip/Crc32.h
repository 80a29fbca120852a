#pragma once

#include <cstdint>
#include <span>

namespace corvina::zip {

/// Continues a CRC-32 (the ZIP and zlib polynomial) over `bytes`; the value
/// is that of zlib's crc32. Large buffers are folded with carry-less
/// multiplication where the processor has it, several times faster than
/// zlib's tables, which matters because every byte of a backup is checked.
uint32_t fastCrc32(uint32_t crc, std::span<const uint8_t> bytes);

} // namespace corvina::zip
