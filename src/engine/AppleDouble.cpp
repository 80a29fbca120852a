#include "engine/AppleDouble.h"

#include <QFileInfo>

#include <algorithm>
#include <cstdint>

namespace corvina {

namespace {

constexpr uint32_t appleDoubleMagic = 0x00051607;
constexpr uint32_t appleDoubleVersion = 0x00020000;
constexpr uint32_t attributeHeaderMagic = 0x41545452; // "ATTR"
constexpr uint32_t resourceForkEntry = 2;
constexpr uint32_t finderInfoEntry = 9;

// Fixed offsets of the layout macOS writes: a 26-byte header, two 12-byte
// entry descriptors, the 32 bytes of Finder info, two bytes of padding, then
// the 36-byte attribute header and the attribute entries.
constexpr int headerSize = 26;
constexpr int finderInfoOffset = headerSize + 2 * 12; // 0x32
constexpr int finderInfoSize = 32;
constexpr int attributeHeaderOffset = finderInfoOffset + finderInfoSize + 2; // 0x54
constexpr int attributeEntriesOffset = attributeHeaderOffset + 36;           // 0x78
/// A file with small attributes is one 4 KiB block, the resource fork at its end.
constexpr int smallFileSize = 4096;

int aligned4(int offset) {
    return (offset + 3) & ~3;
}

/// The resource fork of a file that has none: a resource map without types.
QByteArray emptyResourceFork() {
    QByteArray fork(286, '\0');
    const char header[16] = {0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0x1e};
    fork.replace(0, 16, QByteArray(header, 16));
    fork.replace(16, 43, QByteArrayLiteral("This resource fork intentionally left blank"));
    fork.replace(256, 16, QByteArray(header, 16));
    const char map[14] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0x1c, 0, 0x1e, '\xff', '\xff'};
    fork.replace(272, 14, QByteArray(map, 14));
    return fork;
}

/// Big-endian reads that turn `ok` false for good past the end.
class BigEndianReader {
public:
    explicit BigEndianReader(const QByteArray& bytes)
        : m_bytes(bytes) {}
    uint32_t u32(qsizetype at) { return static_cast<uint32_t>(take(at, 4)); }
    uint16_t u16(qsizetype at) { return static_cast<uint16_t>(take(at, 2)); }
    uint8_t u8(qsizetype at) { return static_cast<uint8_t>(take(at, 1)); }
    /// `length` bytes at `at`, or nothing (and not ok) when they overrun.
    QByteArray bytes(uint64_t at, uint64_t length) {
        if (at > static_cast<uint64_t>(m_bytes.size()) ||
            length > static_cast<uint64_t>(m_bytes.size()) - at) {
            m_ok = false;
            return {};
        }
        return m_bytes.mid(static_cast<qsizetype>(at), static_cast<qsizetype>(length));
    }
    [[nodiscard]] bool ok() const { return m_ok; }

private:
    uint64_t take(qsizetype at, int width) {
        if (at < 0 || at > m_bytes.size() - width) {
            m_ok = false;
            return 0;
        }
        uint64_t value = 0;
        for (int i = 0; i < width; ++i) {
            value = value << 8 | static_cast<uint8_t>(m_bytes[at + i]);
        }
        return value;
    }

    const QByteArray& m_bytes;
    bool m_ok = true;
};

void put32(QByteArray& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.append(static_cast<char>(value >> shift & 0xff));
    }
}

void put16(QByteArray& out, uint16_t value) {
    out.append(static_cast<char>(value >> 8 & 0xff));
    out.append(static_cast<char>(value & 0xff));
}

/// A name as the attribute table holds it: with its terminating zero when
/// that fits the length byte. Other programs write names of 255 bytes
/// without one, and those must come back unchanged.
QByteArray storedName(const QByteArray& name) {
    return (name + '\0').left(255);
}

/// Reads the attribute table that follows the Finder info, if there is one.
bool parseAttributes(BigEndianReader& reader, uint64_t finderInfoEnd, AppleDouble& result) {
    if (finderInfoEnd < attributeEntriesOffset ||
        reader.u32(attributeHeaderOffset) != attributeHeaderMagic) {
        return true; // Finder info only
    }
    const uint16_t count = reader.u16(attributeHeaderOffset + 34);
    qsizetype at = attributeEntriesOffset;
    for (uint16_t i = 0; i < count && reader.ok(); ++i) {
        const uint32_t offset = reader.u32(at);
        const uint32_t length = reader.u32(at + 4);
        const uint8_t nameLength = reader.u8(at + 10);
        QByteArray name = reader.bytes(static_cast<uint64_t>(at) + 11, nameLength);
        // The name is stored with its terminating zero.
        if (name.endsWith('\0')) {
            name.chop(1);
        }
        result.attributes.append({name, reader.bytes(offset, length)});
        at = aligned4(static_cast<int>(at) + 11 + nameLength);
    }
    return reader.ok();
}

} // namespace

std::optional<AppleDouble> AppleDouble::parse(const QByteArray& bytes) {
    BigEndianReader reader(bytes);
    if (reader.u32(0) != appleDoubleMagic || reader.u32(4) != appleDoubleVersion) {
        return std::nullopt;
    }
    AppleDouble result;
    const uint16_t entries = reader.u16(24);
    for (uint16_t i = 0; i < entries && reader.ok(); ++i) {
        const qsizetype descriptor = headerSize + 12 * i;
        const uint32_t id = reader.u32(descriptor);
        const uint32_t offset = reader.u32(descriptor + 4);
        const uint32_t length = reader.u32(descriptor + 8);
        const QByteArray content = reader.bytes(offset, length);
        if (id == finderInfoEntry) {
            result.finderInfo = content.left(finderInfoSize).leftJustified(finderInfoSize, '\0');
            if (offset == finderInfoOffset &&
                !parseAttributes(reader, uint64_t{offset} + length, result)) {
                return std::nullopt;
            }
        } else if (id == resourceForkEntry) {
            result.resourceFork = content;
        }
    }
    if (!reader.ok()) {
        return std::nullopt;
    }
    return result;
}

QByteArray AppleDouble::serialized() const {
    QByteArray table;
    QByteArray data;
    int entriesEnd = attributeEntriesOffset;
    for (const auto& [name, value] : attributes) {
        entriesEnd = aligned4(entriesEnd + 11 + static_cast<int>(storedName(name).size()));
    }
    const int dataStart = entriesEnd;
    for (const auto& [name, value] : attributes) {
        put32(table, static_cast<uint32_t>(dataStart + data.size()));
        put32(table, static_cast<uint32_t>(value.size()));
        put16(table, 0);
        const QByteArray stored = storedName(name);
        table.append(static_cast<char>(stored.size()));
        table.append(stored);
        table.append(QByteArray(aligned4(static_cast<int>(table.size())) - table.size(), '\0'));
        data.append(value);
    }
    const QByteArray fork = resourceFork.value_or(emptyResourceFork());
    const int attributesEnd = dataStart + static_cast<int>(data.size());
    const int forkOffset = std::max(attributesEnd, smallFileSize - static_cast<int>(fork.size()));

    QByteArray out;
    out.reserve(forkOffset + fork.size());
    put32(out, appleDoubleMagic);
    put32(out, appleDoubleVersion);
    out.append("Mac OS X        ", 16);
    put16(out, 2);
    put32(out, finderInfoEntry);
    put32(out, finderInfoOffset);
    put32(out, static_cast<uint32_t>(forkOffset - finderInfoOffset));
    put32(out, resourceForkEntry);
    put32(out, static_cast<uint32_t>(forkOffset));
    put32(out, static_cast<uint32_t>(fork.size()));
    out.append(finderInfo.left(finderInfoSize).leftJustified(finderInfoSize, '\0'));
    out.append(2, '\0');
    put32(out, attributeHeaderMagic);
    put32(out, 0); // debug tag
    put32(out, static_cast<uint32_t>(forkOffset));
    put32(out, static_cast<uint32_t>(dataStart));
    put32(out, static_cast<uint32_t>(data.size()));
    out.append(12, '\0'); // reserved
    put16(out, 0);        // flags
    put16(out, static_cast<uint16_t>(attributes.size()));
    out.append(table);
    out.append(data);
    out.append(QByteArray(forkOffset - out.size(), '\0'));
    out.append(fork);
    return out;
}

std::optional<QByteArray> AppleDouble::attribute(const QByteArray& name) const {
    for (const auto& [key, value] : attributes) {
        if (key == name) {
            return value;
        }
    }
    return std::nullopt;
}

void AppleDouble::setAttribute(const QByteArray& name, const QByteArray& value) {
    for (auto& [key, existing] : attributes) {
        if (key == name) {
            existing = value;
            return;
        }
    }
    attributes.append({name, value});
}

bool AppleDouble::removeAttribute(const QByteArray& name) {
    return attributes.removeIf([&name](const auto& entry) { return entry.first == name; }) > 0;
}

bool AppleDouble::isEmpty() const {
    return attributes.isEmpty() && finderInfo.count('\0') == finderInfo.size() &&
           (!resourceFork || *resourceFork == emptyResourceFork() || resourceFork->isEmpty());
}

QString appleDoublePath(const QString& filePath) {
    const QFileInfo info(filePath);
    return info.path() + QStringLiteral("/._") + info.fileName();
}

} // namespace corvina
