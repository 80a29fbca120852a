#include "zip/Records.h"

#include "zip/ByteIO.h"
#include "zip/Error.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <sys/stat.h>

namespace corvina::zip {

namespace {

using Field = ZIP64ExtendedInformation::Field;

constexpr uint32_t max32 = 0xFFFFFFFF;
constexpr uint16_t max16 = 0xFFFF;

constexpr std::size_t fieldWidth(Field field) {
    return field == Field::diskNumberStart ? 4 : 8;
}

/// Reads the variable part of a record; absent unless exactly `count` bytes came.
std::optional<std::vector<uint8_t>> readExactly(const DataProvider& provider, std::size_t count) {
    auto bytes = provider(count);
    if (!bytes || bytes->size() != count) {
        return std::nullopt;
    }
    return bytes;
}

std::span<const uint8_t> slice(const std::vector<uint8_t>& bytes, std::size_t offset,
                               std::size_t length) {
    return std::span<const uint8_t>(bytes).subspan(offset, length);
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

// ---------------------------------------------------------------- end records

std::optional<EndOfCentralDirectoryRecord>
EndOfCentralDirectoryRecord::parse(std::span<const uint8_t> fixed, const DataProvider& provider) {
    if (fixed.size() != fixedSize) {
        return std::nullopt;
    }
    ByteReader reader(fixed);
    EndOfCentralDirectoryRecord r;
    r.endOfCentralDirectorySignature = reader.u32();
    r.numberOfDisk = reader.u16();
    r.numberOfDiskStart = reader.u16();
    r.totalNumberOfEntriesOnDisk = reader.u16();
    r.totalNumberOfEntriesInCentralDirectory = reader.u16();
    r.sizeOfCentralDirectory = reader.u32();
    r.offsetToStartOfCentralDirectory = reader.u32();
    r.zipFileCommentLength = reader.u16();
    if (!reader.ok() || r.endOfCentralDirectorySignature != signature) {
        return std::nullopt;
    }
    auto comment = readExactly(provider, r.zipFileCommentLength);
    if (!comment) {
        return std::nullopt;
    }
    r.zipFileCommentData = std::move(*comment);
    return r;
}

std::vector<uint8_t> EndOfCentralDirectoryRecord::encode() const {
    std::vector<uint8_t> out;
    ByteWriter writer(out);
    writer.put32(endOfCentralDirectorySignature);
    writer.put16(numberOfDisk);
    writer.put16(numberOfDiskStart);
    writer.put16(totalNumberOfEntriesOnDisk);
    writer.put16(totalNumberOfEntriesInCentralDirectory);
    writer.put32(sizeOfCentralDirectory);
    writer.put32(offsetToStartOfCentralDirectory);
    writer.put16(zipFileCommentLength);
    writer.putBytes(zipFileCommentData);
    return out;
}

std::optional<ZIP64EndOfCentralDirectoryRecord>
ZIP64EndOfCentralDirectoryRecord::parse(std::span<const uint8_t> fixed) {
    if (fixed.size() != fixedSize) {
        return std::nullopt;
    }
    ByteReader reader(fixed);
    ZIP64EndOfCentralDirectoryRecord r;
    r.zip64EOCDRecordSignature = reader.u32();
    r.sizeOfZIP64EndOfCentralDirectoryRecord = reader.u64();
    r.versionMadeBy = reader.u16();
    r.versionNeededToExtract = reader.u16();
    r.numberOfDisk = reader.u32();
    r.numberOfDiskStart = reader.u32();
    r.totalNumberOfEntriesOnDisk = reader.u64();
    r.totalNumberOfEntriesInCentralDirectory = reader.u64();
    r.sizeOfCentralDirectory = reader.u64();
    r.offsetToStartOfCentralDirectory = reader.u64();
    if (!reader.ok() || r.zip64EOCDRecordSignature != signature || r.versionNeededToExtract < 45) {
        return std::nullopt;
    }
    return r;
}

std::vector<uint8_t> ZIP64EndOfCentralDirectoryRecord::encode() const {
    std::vector<uint8_t> out;
    ByteWriter writer(out);
    writer.put32(zip64EOCDRecordSignature);
    writer.put64(sizeOfZIP64EndOfCentralDirectoryRecord);
    writer.put16(versionMadeBy);
    writer.put16(versionNeededToExtract);
    writer.put32(numberOfDisk);
    writer.put32(numberOfDiskStart);
    writer.put64(totalNumberOfEntriesOnDisk);
    writer.put64(totalNumberOfEntriesInCentralDirectory);
    writer.put64(sizeOfCentralDirectory);
    writer.put64(offsetToStartOfCentralDirectory);
    writer.putBytes(zip64ExtensibleDataSector);
    return out;
}

std::optional<ZIP64EndOfCentralDirectoryLocator>
ZIP64EndOfCentralDirectoryLocator::parse(std::span<const uint8_t> fixed) {
    if (fixed.size() != fixedSize) {
        return std::nullopt;
    }
    ByteReader reader(fixed);
    ZIP64EndOfCentralDirectoryLocator l;
    l.zip64EOCDLocatorSignature = reader.u32();
    l.numberOfDiskWithZIP64EOCDRecordStart = reader.u32();
    l.relativeOffsetOfZIP64EOCDRecord = reader.u64();
    l.totalNumberOfDisk = reader.u32();
    if (!reader.ok() || l.zip64EOCDLocatorSignature != signature) {
        return std::nullopt;
    }
    return l;
}

std::vector<uint8_t> ZIP64EndOfCentralDirectoryLocator::encode() const {
    std::vector<uint8_t> out;
    ByteWriter writer(out);
    writer.put32(zip64EOCDLocatorSignature);
    writer.put32(numberOfDiskWithZIP64EOCDRecordStart);
    writer.put64(relativeOffsetOfZIP64EOCDRecord);
    writer.put32(totalNumberOfDisk);
    return out;
}

uint64_t EndRecords::totalNumberOfEntries() const {
    return zip64EndOfCentralDirectory
               ? zip64EndOfCentralDirectory->record.totalNumberOfEntriesInCentralDirectory
               : endOfCentralDirectoryRecord.totalNumberOfEntriesInCentralDirectory;
}

uint64_t EndRecords::sizeOfCentralDirectory() const {
    return zip64EndOfCentralDirectory ? zip64EndOfCentralDirectory->record.sizeOfCentralDirectory
                                      : endOfCentralDirectoryRecord.sizeOfCentralDirectory;
}

uint64_t EndRecords::offsetToStartOfCentralDirectory() const {
    return zip64EndOfCentralDirectory
               ? zip64EndOfCentralDirectory->record.offsetToStartOfCentralDirectory
               : endOfCentralDirectoryRecord.offsetToStartOfCentralDirectory;
}

EndRecords EndRecords::afterAppend(uint64_t recordSize, uint64_t directoryOffset,
                                   uint64_t endRecordsOffset) const {
    uint64_t size = 0;
    uint64_t count = 0;
    if (__builtin_add_overflow(sizeOfCentralDirectory(), recordSize, &size)) {
        throw Error(ArchiveError::invalidCentralDirectorySize);
    }
    if (__builtin_add_overflow(totalNumberOfEntries(), uint64_t{1}, &count)) {
        throw Error(ArchiveError::invalidCentralDirectoryEntryCount);
    }
    EndRecords next = *this;
    const bool zip64 = count >= max16 || size >= max32 || directoryOffset >= max32;
    if (zip64) {
        ZIP64EndOfCentralDirectory pair =
            zip64EndOfCentralDirectory.value_or(ZIP64EndOfCentralDirectory{});
        pair.record.totalNumberOfEntriesOnDisk = count;
        pair.record.totalNumberOfEntriesInCentralDirectory = count;
        pair.record.sizeOfCentralDirectory = size;
        pair.record.offsetToStartOfCentralDirectory = directoryOffset;
        pair.locator.relativeOffsetOfZIP64EOCDRecord = endRecordsOffset;
        next.zip64EndOfCentralDirectory = pair;
    } else {
        next.zip64EndOfCentralDirectory.reset();
    }
    EndOfCentralDirectoryRecord& r = next.endOfCentralDirectoryRecord;
    r.totalNumberOfEntriesOnDisk = count >= max16 ? max16 : static_cast<uint16_t>(count);
    r.totalNumberOfEntriesInCentralDirectory = r.totalNumberOfEntriesOnDisk;
    r.sizeOfCentralDirectory = size >= max32 ? max32 : static_cast<uint32_t>(size);
    r.offsetToStartOfCentralDirectory =
        directoryOffset >= max32 ? max32 : static_cast<uint32_t>(directoryOffset);
    return next;
}

std::vector<uint8_t> EndRecords::encode() const {
    std::vector<uint8_t> out;
    if (zip64EndOfCentralDirectory) {
        const auto record = zip64EndOfCentralDirectory->record.encode();
        const auto locator = zip64EndOfCentralDirectory->locator.encode();
        out.insert(out.end(), record.begin(), record.end());
        out.insert(out.end(), locator.begin(), locator.end());
    }
    const auto plain = endOfCentralDirectoryRecord.encode();
    out.insert(out.end(), plain.begin(), plain.end());
    return out;
}

// ---------------------------------------------------------------- entry

QString Entry::entryPath() const {
    const auto& name = centralDirectoryStructure.fileNameData;
    if ((centralDirectoryStructure.generalPurposeBitFlag & 0x0800) != 0) {
        return decodeUtf8OrEmpty(name);
    }
    return decodeCodePage437(name);
}

EntryType Entry::entryType() const {
    const CentralDirectoryStructure& c = centralDirectoryStructure;
    const QString path = entryPath();
    const EntryType byPath =
        path.endsWith(QLatin1Char('/')) ? EntryType::directory : EntryType::file;
    switch (c.versionMadeBy >> 8) {
    case 3:
    case 19:
        switch ((c.externalFileAttributes >> 16) & S_IFMT) {
        case S_IFREG:
            return EntryType::file;
        case S_IFDIR:
            return EntryType::directory;
        case S_IFLNK:
            return EntryType::symlink;
        default:
            return byPath;
        }
    case 0:
        // Only attribute values 0x10...0x1F count as a directory: a folder
        // with the archive bit set is a file unless its path ends in "/".
        return (byPath == EntryType::directory || (c.externalFileAttributes >> 4) == 1)
                   ? EntryType::directory
                   : EntryType::file;
    default:
        return byPath;
    }
}

uint32_t Entry::entryChecksum() const {
    if (usesDataDescriptorFlag()) {
        if (zip64DataDescriptor) {
            return zip64DataDescriptor->crc32;
        }
        return dataDescriptor ? dataDescriptor->crc32 : 0;
    }
    return centralDirectoryStructure.crc32;
}

uint64_t Entry::entryUncompressedSize() const {
    if (isZip64Entry()) {
        return zip64DataDescriptor ? zip64DataDescriptor->uncompressedSize
                                   : centralDirectoryStructure.effectiveUncompressedSize();
    }
    return dataDescriptor ? dataDescriptor->uncompressedSize
                          : centralDirectoryStructure.uncompressedSize;
}

uint64_t Entry::entryCompressedSize() const {
    if (isZip64Entry()) {
        return zip64DataDescriptor ? zip64DataDescriptor->compressedSize
                                   : centralDirectoryStructure.effectiveCompressedSize();
    }
    return dataDescriptor ? dataDescriptor->compressedSize
                          : centralDirectoryStructure.compressedSize;
}

uint64_t Entry::entryDataOffset() const {
    uint64_t offset = 0;
    const uint64_t headerLength = LocalFileHeader::fixedSize +
                                  uint64_t{localFileHeader.fileNameLength} +
                                  localFileHeader.extraFieldLength;
    if (__builtin_add_overflow(centralDirectoryStructure.effectiveLocalHeaderOffset(), headerLength,
                               &offset) ||
        offset > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        throw Error(ArchiveError::invalidLocalHeaderDataOffset);
    }
    return offset;
}

uint16_t Entry::entryPermissions() const {
    const EntryType type = entryType();
    const uint16_t fallback =
        type == EntryType::directory ? defaultDirectoryPermissions : defaultFilePermissions;
    const int host = centralDirectoryStructure.versionMadeBy >> 8;
    if (host != 3 && host != 19) {
        return fallback;
    }
    const auto permissions =
        static_cast<uint16_t>((centralDirectoryStructure.externalFileAttributes >> 16) & ~S_IFMT);
    return permissions == 0 ? fallback : permissions;
}

int64_t Entry::entryModificationDate() const {
    return dateFromMsdos(centralDirectoryStructure.lastModFileTime,
                         centralDirectoryStructure.lastModFileDate);
}

bool Entry::operator==(const Entry& other) const {
    return entryPath() == other.entryPath() &&
           localFileHeader.crc32 == other.localFileHeader.crc32 &&
           centralDirectoryStructure.effectiveLocalHeaderOffset() ==
               other.centralDirectoryStructure.effectiveLocalHeaderOffset();
}

// ---------------------------------------------------------------- helpers

void msdosDateTime(double secondsSince1970, uint16_t& time, uint16_t& date) {
    // Callers pass times from lstat; anything else is a programming error.
    if (!std::isfinite(secondsSince1970) || secondsSince1970 >= 9.2233720368547758e18 ||
        secondsSince1970 <= -9.2233720368547758e18) {
        std::abort();
    }
    const auto seconds = static_cast<std::time_t>(std::trunc(secondsSince1970));
    std::tm tm{};
    if (gmtime_r(&seconds, &tm) == nullptr) {
        time = 0;
        date = 0;
        return;
    }
    const int year = std::clamp(tm.tm_year + 1900, 1980, 2099);
    date = static_cast<uint16_t>(tm.tm_mday + ((tm.tm_mon + 1) << 5) + ((year - 1980) << 9));
    time = static_cast<uint16_t>(tm.tm_sec / 2 + (tm.tm_min << 5) + (tm.tm_hour << 11));
}

int64_t dateFromMsdos(uint16_t time, uint16_t date) {
    std::tm tm{};
    tm.tm_sec = (time & 31) * 2;
    tm.tm_min = (time >> 5) & 63;
    tm.tm_hour = (time >> 11) & 31;
    tm.tm_mday = date & 31;
    tm.tm_mon = ((date >> 5) & 15) - 1;
    tm.tm_year = ((date >> 9) & 127) + 80;
    return static_cast<int64_t>(timegm(&tm));
}

uint32_t externalFileAttributes(EntryType type, uint16_t permissions) {
    uint32_t typeBits = S_IFREG;
    if (type == EntryType::directory) {
        typeBits = S_IFDIR;
    } else if (type == EntryType::symlink) {
        typeBits = S_IFLNK;
    }
    return ((typeBits | permissions) & 0xFFFF) << 16;
}

QString decodeCodePage437(std::span<const uint8_t> bytes) {
    // Upper half of code page 437 as published (IBM PC character set).
    static constexpr std::array<char16_t, 128> upper = {
        0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, // 80
        0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5, // 88
        0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, // 90
        0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, // 98
        0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA, // A0
        0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, // A8
        0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556, // B0
        0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, // B8
        0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, // C0
        0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567, // C8
        0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, // D0
        0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580, // D8
        0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4, // E0
        0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, // E8
        0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248, // F0
        0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0, // F8
    };
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    for (uint8_t byte : bytes) {
        text.append(QChar(byte < 0x80 ? char16_t{byte} : upper[byte - 0x80]));
    }
    return text;
}

QString decodeUtf8OrEmpty(std::span<const uint8_t> bytes) {
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom |
                                                       QStringConverter::Flag::Stateless);
    QString text =
        decoder.decode(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return decoder.hasError() ? QString() : text;
}

} // namespace corvina::zip
