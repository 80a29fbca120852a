#include "zip/Records.h"

#include "zip/ByteIO.h"
#include "zip/RecordSupport.h"

namespace corvina::zip {

using namespace records;

namespace {

constexpr std::size_t fieldWidth(Field field) {
    return field == Field::diskNumberStart ? 4 : 8;
}

} // namespace

// ---------------------------------------------------------------- ZIP64 item

std::optional<ZIP64ExtendedInformation>
ZIP64ExtendedInformation::parse(std::span<const uint8_t> item, std::span<const Field> fields) {
    std::size_t expected = 4;
    for (Field field : fields) {
        expected += fieldWidth(field);
    }
    if (item.size() != expected) {
        return std::nullopt;
    }
    ByteReader reader(item);
    ZIP64ExtendedInformation info;
    info.headerID = reader.u16();
    info.dataSize = reader.u16();
    const auto wants = [&](Field field) {
        for (Field f : fields) {
            if (f == field) {
                return true;
            }
        }
        return false;
    };
    if (wants(Field::uncompressedSize)) {
        info.uncompressedSize = reader.u64();
    }
    if (wants(Field::compressedSize)) {
        info.compressedSize = reader.u64();
    }
    if (wants(Field::relativeOffsetOfLocalHeader)) {
        info.relativeOffsetOfLocalHeader = reader.u64();
    }
    if (wants(Field::diskNumberStart)) {
        info.diskNumberStart = reader.u32();
    }
    if (!reader.ok()) {
        return std::nullopt;
    }
    return info;
}

std::optional<ZIP64ExtendedInformation>
ZIP64ExtendedInformation::scan(std::span<const uint8_t> extraFieldData,
                               std::span<const Field> fields) {
    const std::size_t length = extraFieldData.size();
    if (length < 5) {
        return std::nullopt;
    }
    std::size_t offset = 0;
    while (offset < length - 4) {
        ByteReader reader(extraFieldData.subspan(offset));
        const uint16_t headerID = reader.u16();
        const uint16_t dataSize = reader.u16();
        const std::size_t next = offset + 4 + dataSize;
        if (next > length) {
            return std::nullopt;
        }
        if (headerID == zip64HeaderID) {
            return parse(extraFieldData.subspan(offset, next - offset), fields);
        }
        offset = next;
    }
    return std::nullopt;
}

std::vector<uint8_t> ZIP64ExtendedInformation::encode() const {
    std::vector<uint8_t> out;
    ByteWriter writer(out);
    writer.put16(headerID);
    writer.put16(dataSize);
    if (uncompressedSize != 0 || compressedSize != 0) {
        writer.put64(uncompressedSize);
        writer.put64(compressedSize);
    }
    if (relativeOffsetOfLocalHeader != 0) {
        writer.put64(relativeOffsetOfLocalHeader);
    }
    if (diskNumberStart != 0) {
        writer.put32(diskNumberStart);
    }
    return out;
}

} // namespace corvina::zip
