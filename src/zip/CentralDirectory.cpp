#include "zip/Records.h"

#include "zip/ByteIO.h"
#include "zip/RecordSupport.h"

namespace corvina::zip {

using namespace records;

// ---------------------------------------------------------------- central record

std::optional<CentralDirectoryStructure>
CentralDirectoryStructure::parse(std::span<const uint8_t> fixed, const DataProvider& provider) {
    if (fixed.size() != fixedSize) {
        return std::nullopt;
    }
    ByteReader reader(fixed);
    CentralDirectoryStructure c;
    c.centralDirectorySignature = reader.u32();
    c.versionMadeBy = reader.u16();
    c.versionNeededToExtract = reader.u16();
    c.generalPurposeBitFlag = reader.u16();
    c.compressionMethod = reader.u16();
    c.lastModFileTime = reader.u16();
    c.lastModFileDate = reader.u16();
    c.crc32 = reader.u32();
    c.compressedSize = reader.u32();
    c.uncompressedSize = reader.u32();
    c.fileNameLength = reader.u16();
    c.extraFieldLength = reader.u16();
    c.fileCommentLength = reader.u16();
    c.diskNumberStart = reader.u16();
    c.internalFileAttributes = reader.u16();
    c.externalFileAttributes = reader.u32();
    c.relativeOffsetOfLocalHeader = reader.u32();
    if (!reader.ok() || c.centralDirectorySignature != signature) {
        return std::nullopt;
    }
    const std::size_t total =
        std::size_t{c.fileNameLength} + c.extraFieldLength + c.fileCommentLength;
    const auto variable = readExactly(provider, total);
    if (!variable) {
        return std::nullopt;
    }
    const auto name = slice(*variable, 0, c.fileNameLength);
    const auto extra = slice(*variable, c.fileNameLength, c.extraFieldLength);
    const auto comment =
        slice(*variable, std::size_t{c.fileNameLength} + c.extraFieldLength, c.fileCommentLength);
    c.fileNameData.assign(name.begin(), name.end());
    c.extraFieldData.assign(extra.begin(), extra.end());
    c.fileCommentData.assign(comment.begin(), comment.end());

    std::vector<Field> fields;
    if (c.uncompressedSize == max32) {
        fields.push_back(Field::uncompressedSize);
    }
    if (c.compressedSize == max32) {
        fields.push_back(Field::compressedSize);
    }
    if (c.relativeOffsetOfLocalHeader == max32) {
        fields.push_back(Field::relativeOffsetOfLocalHeader);
    }
    if (c.diskNumberStart == max16) {
        fields.push_back(Field::diskNumberStart);
    }
    if (auto info = ZIP64ExtendedInformation::scan(c.extraFieldData, fields)) {
        c.extraFields.push_back(*info);
    }
    return c;
}

void CentralDirectoryStructure::encodeInto(std::vector<uint8_t>& out) const {
    ByteWriter writer(out);
    writer.put32(centralDirectorySignature);
    writer.put16(versionMadeBy);
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
    writer.put16(fileCommentLength);
    writer.put16(diskNumberStart);
    writer.put16(internalFileAttributes);
    writer.put32(externalFileAttributes);
    writer.put32(relativeOffsetOfLocalHeader);
    writer.putBytes(fileNameData);
    writer.putBytes(extraFieldData);
    writer.putBytes(fileCommentData);
}

std::vector<uint8_t> CentralDirectoryStructure::encode() const {
    std::vector<uint8_t> out;
    out.reserve(recordSize());
    encodeInto(out);
    return out;
}

CentralDirectoryStructure CentralDirectoryStructure::make(const LocalFileHeader& local,
                                                          uint32_t externalAttributes,
                                                          uint64_t offset) {
    CentralDirectoryStructure c;
    c.versionNeededToExtract = local.versionNeededToExtract;
    c.generalPurposeBitFlag = local.generalPurposeBitFlag;
    c.compressionMethod = local.compressionMethod;
    c.lastModFileTime = local.lastModFileTime;
    c.lastModFileDate = local.lastModFileDate;
    c.crc32 = local.crc32;
    c.compressedSize = local.compressedSize;
    c.uncompressedSize = local.uncompressedSize;
    c.fileNameLength = local.fileNameLength;
    c.fileNameData = local.fileNameData;
    c.externalFileAttributes = externalAttributes;

    const bool sizesInZip64 = local.compressedSize == max32 || local.uncompressedSize == max32;
    const bool offsetInZip64 = offset >= max32;
    c.relativeOffsetOfLocalHeader = offsetInZip64 ? max32 : static_cast<uint32_t>(offset);
    if (sizesInZip64 || offsetInZip64) {
        ZIP64ExtendedInformation info;
        uint16_t count = 0;
        if (sizesInZip64) {
            const ZIP64ExtendedInformation* localInfo = local.zip64ExtendedInformation();
            info.uncompressedSize = localInfo != nullptr ? localInfo->uncompressedSize : 0;
            info.compressedSize = localInfo != nullptr ? localInfo->compressedSize : 0;
            count += 2;
        }
        if (offsetInZip64) {
            info.relativeOffsetOfLocalHeader = offset;
            count += 1;
        }
        info.dataSize = static_cast<uint16_t>(8 * count);
        c.extraFieldData = info.encode();
        c.extraFieldLength = static_cast<uint16_t>(info.dataSize + 4);
        c.extraFields.push_back(info);
    }
    return c;
}

bool CentralDirectoryStructure::isZip64() const {
    return (versionNeededToExtract & 0xFF) >= 45 || !extraFields.empty();
}

uint64_t CentralDirectoryStructure::effectiveUncompressedSize() const {
    const ZIP64ExtendedInformation* info = zip64ExtendedInformation();
    if (isZip64() && info != nullptr && info->uncompressedSize != 0) {
        return info->uncompressedSize;
    }
    return uncompressedSize;
}

uint64_t CentralDirectoryStructure::effectiveCompressedSize() const {
    const ZIP64ExtendedInformation* info = zip64ExtendedInformation();
    if (isZip64() && info != nullptr && info->compressedSize != 0) {
        return info->compressedSize;
    }
    return compressedSize;
}

uint64_t CentralDirectoryStructure::effectiveLocalHeaderOffset() const {
    const ZIP64ExtendedInformation* info = zip64ExtendedInformation();
    if (isZip64() && info != nullptr && info->relativeOffsetOfLocalHeader != 0) {
        return info->relativeOffsetOfLocalHeader;
    }
    return relativeOffsetOfLocalHeader;
}

} // namespace corvina::zip
