#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace corvina::zip {

/// Cursor over a byte span that reads little-endian values. Any read past the
/// end turns `ok()` false for good and yields zeros, so a caller reads a block
/// of fields and checks once.
class ByteReader {
public:
    explicit ByteReader(std::span<const uint8_t> bytes)
        : m_bytes(bytes) {}

    uint16_t u16() { return static_cast<uint16_t>(take(2)); }
    uint32_t u32() { return static_cast<uint32_t>(take(4)); }
    uint64_t u64() { return take(8); }

    /// Moves the cursor to an absolute offset; beyond the end fails.
    void seek(std::size_t offset) {
        if (offset > m_bytes.size()) {
            m_ok = false;
            return;
        }
        m_position = offset;
    }

    [[nodiscard]] bool ok() const { return m_ok; }
    [[nodiscard]] std::size_t position() const { return m_position; }
    [[nodiscard]] std::size_t remaining() const { return m_bytes.size() - m_position; }

private:
    uint64_t take(std::size_t width) {
        if (!m_ok || width > m_bytes.size() - m_position) {
            m_ok = false;
            return 0;
        }
        uint64_t value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value |= static_cast<uint64_t>(m_bytes[m_position + i]) << (8 * i);
        }
        m_position += width;
        return value;
    }

    std::span<const uint8_t> m_bytes;
    std::size_t m_position = 0;
    bool m_ok = true;
};

/// Appends little-endian values to a byte vector.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<uint8_t>& out)
        : m_out(out) {}

    void put16(uint16_t value) { put(value, 2); }
    void put32(uint32_t value) { put(value, 4); }
    void put64(uint64_t value) { put(value, 8); }
    void putBytes(std::span<const uint8_t> bytes) {
        m_out.insert(m_out.end(), bytes.begin(), bytes.end());
    }

private:
    void put(uint64_t value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            m_out.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
    }

    std::vector<uint8_t>& m_out;
};

} // namespace corvina::zip
