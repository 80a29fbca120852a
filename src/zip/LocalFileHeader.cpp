#include "zip/Records.h"

#include "zip/ByteIO.h"
#include "zip/RecordSupport.h"

namespace corvina::zip {

using namespace records;

// ---------------------------------------------------------- local file header

std::optional<LocalFileHeader> LocalFileHeader::parse(std::span<const uint8_t> fixed,
                                                      const DataProvider& provider) {
    if (fixed.size() != fixedSize) {
        return std::nullopt;
    }
    ByteReader reader(fixed);
    LocalFileHeader h;
    h.localFileHeaderSignature = reader.u32();
    h.versionNeededToExtract = reader.u16();
    h.generalPurposeBitFlag = reader.u16();
    h.compressionMethod = reader.u16();
    h.lastModFileTime = reader.u16();
    h.lastModFileDate = reader.u16();
    h.crc32 = reader.u32();
    h.compressedSize = reader.u32();
    h.uncompressedSize = reader.u32();
    h.fileNameLength = reader.u16();
    h.extraFieldLength = reader.u16();
    if (!reader.ok() || h.localFileHeaderSignature != signature) {
        return std::nullopt;
    }
    const auto variable = readExactly(provider, std::size_t{h.fileNameLength} + h.extraFieldLength);
    if (!variable) {
        return std::nullopt;
    }
    const auto name = slice(*variable, 0, h.fileNameLength);
    const auto extra = slice(*variable, h.fileNameLength, h.extraFieldLength);
    h.fileNameData.assign(name.begin(), name.end());
    h.extraFieldData.assign(extra.begin(), extra.end());

    std::vector<Field> fields;
    if (h.uncompressedSize == max32) {
        fields.push_back(Field::uncompressedSize);
    }
    if (h.compressedSize == max32) {
        fields.push_back(Field::compressedSize);
    }
    if (auto info = ZIP64ExtendedInformation::scan(h.extraFieldData, fields)) {
        h.extraFields.push_back(*info);
    }
    return h;
}

std::vector<uint8_t> LocalFileHeader::encode() const {
    std::vector<uint8_t> out;
    out.reserve(fixedSize + fileNameData.size() + extraFieldData.size());
    ByteWriter writer(out);
    writer.put32(localFileHeaderSignature);
    writer.put16(versionNeededToExtract);
    writer.put16(generalPurposeBitFlag);
    writer.put16(compressionMethod);
    writer.put16(lastModFileTime);
    writer.put16(lastModFileDate);
    writer.put32(crc32);
    writer.put32(compressedSize);
    writer.put32(uncompressedSize);
    writer.put16(fileNameLength);
    writer.put16(extraFieldLength);
    writer.putBytes(fileNameData);
    writer.putBytes(extraFieldData);
    return out;
}

LocalFileHeader LocalFileHeader::make(std::string_view path, CompressionMethod method,
                                      uint16_t modTime, uint16_t modDate, uint32_t crc32,
                                      uint64_t compressedSize, uint64_t uncompressedSize) {
    LocalFileHeader h;
    h.compressionMethod = static_cast<uint16_t>(method);
    h.lastModFileTime = modTime;
    h.lastModFileDate = modDate;
    h.crc32 = crc32;
    h.fileNameData.assign(path.begin(), path.end());
    h.fileNameLength = static_cast<uint16_t>(path.size());
    if (uncompressedSize >= max32 || compressedSize >= max32) {
        ZIP64ExtendedInformation info;
        info.dataSize = 16;
        info.uncompressedSize = uncompressedSize;
        info.compressedSize = compressedSize;
        h.versionNeededToExtract = 45;
        h.compressedSize = max32;
        h.uncompressedSize = max32;
        h.extraFieldData = info.encode();
        h.extraFieldLength = static_cast<uint16_t>(h.extraFieldData.size());
        h.extraFields.push_back(info);
    } else {
        h.compressedSize = static_cast<uint32_t>(compressedSize);
        h.uncompressedSize = static_cast<uint32_t>(uncompressedSize);
    }
    return h;
}

// ---------------------------------------------------------------- data descriptor

template <typename SizeType>
std::optional<DataDescriptorOf<SizeType>>
DataDescriptorOf<SizeType>::parse(std::span<const uint8_t> bytes) {
    if (bytes.size() != fixedSize) {
        return std::nullopt;
    }
    DataDescriptorOf d;
    d.data.assign(bytes.begin(), bytes.end());
    ByteReader reader(bytes);
    const uint32_t first = reader.u32();
    if (first != signature) {
        reader.seek(0);
    }
    d.dataDescriptorSignature = first;
    d.crc32 = reader.u32();
    if constexpr (sizeof(SizeType) == 8) {
        d.compressedSize = reader.u64();
        d.uncompressedSize = reader.u64();
    } else {
        d.compressedSize = reader.u32();
        d.uncompressedSize = reader.u32();
    }
    return d;
}

template struct DataDescriptorOf<uint32_t>;
template struct DataDescriptorOf<uint64_t>;

} // namespace corvina::zip
