#pragma once

#include "zip/Records.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// Helpers shared by the record parsers and encoders of this layer.
namespace corvina::zip::records {

using Field = ZIP64ExtendedInformation::Field;

constexpr uint32_t max32 = 0xFFFFFFFF;
constexpr uint16_t max16 = 0xFFFF;

/// Reads the variable part of a record; absent unless exactly `count` bytes came.
inline std::optional<std::vector<uint8_t>> readExactly(const DataProvider& provider,
                                                       std::size_t count) {
    auto bytes = provider(count);
    if (!bytes || bytes->size() != count) {
        return std::nullopt;
    }
    return bytes;
}

inline std::span<const uint8_t> slice(const std::vector<uint8_t>& bytes, std::size_t offset,
                                      std::size_t length) {
    return std::span<const uint8_t>(bytes).subspan(offset, length);
}

} // namespace corvina::zip::records
