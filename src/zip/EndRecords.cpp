#include "zip/Records.h"

#include "zip/ByteIO.h"
#include "zip/Error.h"
#include "zip/RecordSupport.h"

namespace corvina::zip {

using namespace records;

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

} // namespace corvina::zip
