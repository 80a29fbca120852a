#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace corvina::zip {

enum class CompressionMethod : uint16_t { none = 0, deflate = 8 };
enum class EntryType { file, directory, symlink };

/// Chunk size for reading, writing and the deflate stream buffer.
constexpr int64_t defaultChunkSize = 16384;
constexpr uint16_t defaultFilePermissions = 0644;
constexpr uint16_t defaultDirectoryPermissions = 0755;

/// "Made by" value written into central records: version 2.1, host Unix.
constexpr uint16_t versionMadeByUnix = 789;

/// Gives the next `count` bytes of the stream a record is parsed from, or
/// nothing on a read failure. A short result at the end of the file is
/// returned as it is; the parser then treats the record as absent.
using DataProvider = std::function<std::optional<std::vector<uint8_t>>(std::size_t count)>;

/// The ZIP64 item (header ID 1) of an extra field.
struct ZIP64ExtendedInformation {
    enum class Field {
        uncompressedSize,
        compressedSize,
        relativeOffsetOfLocalHeader,
        diskNumberStart
    };

    static constexpr uint16_t zip64HeaderID = 1;

    uint16_t headerID = zip64HeaderID;
    uint16_t dataSize = 0;
    uint64_t uncompressedSize = 0;
    uint64_t compressedSize = 0;
    uint64_t relativeOffsetOfLocalHeader = 0;
    uint32_t diskNumberStart = 0;

    /// Parses one item (header included) holding exactly `fields`.
    static std::optional<ZIP64ExtendedInformation> parse(std::span<const uint8_t> item,
                                                         std::span<const Field> fields);
    /// Walks the items of an extra field and parses the first ZIP64 item.
    static std::optional<ZIP64ExtendedInformation> scan(std::span<const uint8_t> extraFieldData,
                                                        std::span<const Field> fields);
    /// Byte form; a field counts as present when it is nonzero.
    [[nodiscard]] std::vector<uint8_t> encode() const;

    bool operator==(const ZIP64ExtendedInformation&) const = default;
};

struct LocalFileHeader {
    static constexpr uint32_t signature = 0x04034B50;
    static constexpr std::size_t fixedSize = 30;

    uint32_t localFileHeaderSignature = signature;
    uint16_t versionNeededToExtract = 20;
    uint16_t generalPurposeBitFlag = 0x0800;
    uint16_t compressionMethod = 0;
    uint16_t lastModFileTime = 0;
    uint16_t lastModFileDate = 0;
    uint32_t crc32 = 0;
    uint32_t compressedSize = 0;
    uint32_t uncompressedSize = 0;
    uint16_t fileNameLength = 0;
    uint16_t extraFieldLength = 0;
    std::vector<uint8_t> fileNameData;
    std::vector<uint8_t> extraFieldData;
    /// Parsed extra field items: the ZIP64 item when one was found.
    std::vector<ZIP64ExtendedInformation> extraFields;

    static std::optional<LocalFileHeader> parse(std::span<const uint8_t> fixed,
                                                const DataProvider& provider);
    [[nodiscard]] std::vector<uint8_t> encode() const;

    /// The header this layer writes for an entry; it takes the ZIP64 form
    /// when either size reaches 0xFFFFFFFF. `path` must be valid UTF-8 of at
    /// most 65,535 bytes.
    static LocalFileHeader make(std::string_view path, CompressionMethod method, uint16_t modTime,
                                uint16_t modDate, uint32_t crc32, uint64_t compressedSize,
                                uint64_t uncompressedSize);

    [[nodiscard]] const ZIP64ExtendedInformation* zip64ExtendedInformation() const {
        return extraFields.empty() ? nullptr : &extraFields.front();
    }
};

struct CentralDirectoryStructure {
    static constexpr uint32_t signature = 0x02014B50;
    static constexpr std::size_t fixedSize = 46;

    uint32_t centralDirectorySignature = signature;
    uint16_t versionMadeBy = versionMadeByUnix;
    uint16_t versionNeededToExtract = 20;
    uint16_t generalPurposeBitFlag = 0x0800;
    uint16_t compressionMethod = 0;
    uint16_t lastModFileTime = 0;
    uint16_t lastModFileDate = 0;
    uint32_t crc32 = 0;
    uint32_t compressedSize = 0;
    uint32_t uncompressedSize = 0;
    uint16_t fileNameLength = 0;
    uint16_t extraFieldLength = 0;
    uint16_t fileCommentLength = 0;
    uint16_t diskNumberStart = 0;
    uint16_t internalFileAttributes = 0;
    uint32_t externalFileAttributes = 0;
    uint32_t relativeOffsetOfLocalHeader = 0;
    std::vector<uint8_t> fileNameData;
    std::vector<uint8_t> extraFieldData;
    std::vector<uint8_t> fileCommentData;
    std::vector<ZIP64ExtendedInformation> extraFields;

    static std::optional<CentralDirectoryStructure> parse(std::span<const uint8_t> fixed,
                                                          const DataProvider& provider);
    [[nodiscard]] std::vector<uint8_t> encode() const;
    /// Appends the byte form to `out` without a temporary.
    void encodeInto(std::vector<uint8_t>& out) const;

    /// The central record this layer writes for a local header at `offset`.
    static CentralDirectoryStructure make(const LocalFileHeader& local,
                                          uint32_t externalFileAttributes, uint64_t offset);

    [[nodiscard]] const ZIP64ExtendedInformation* zip64ExtendedInformation() const {
        return extraFields.empty() ? nullptr : &extraFields.front();
    }
    /// Byte length of the record: 46 + name + extra + comment.
    [[nodiscard]] uint64_t recordSize() const {
        return fixedSize + uint64_t{fileNameLength} + extraFieldLength + fileCommentLength;
    }

    [[nodiscard]] bool isZip64() const;
    [[nodiscard]] bool isEncrypted() const { return (generalPurposeBitFlag & 1) != 0; }
    [[nodiscard]] bool usesDataDescriptorFlag() const { return (generalPurposeBitFlag & 8) != 0; }
    [[nodiscard]] uint64_t effectiveUncompressedSize() const;
    [[nodiscard]] uint64_t effectiveCompressedSize() const;
    [[nodiscard]] uint64_t effectiveLocalHeaderOffset() const;
};

/// A data descriptor, with 32-bit sizes (16 bytes) or ZIP64 sizes (24 bytes).
template <typename SizeType> struct DataDescriptorOf {
    static constexpr uint32_t signature = 0x08074B50;
    static constexpr std::size_t fixedSize = 8 + 2 * sizeof(SizeType);

    std::vector<uint8_t> data;
    uint32_t dataDescriptorSignature = signature;
    uint32_t crc32 = 0;
    SizeType compressedSize = 0;
    SizeType uncompressedSize = 0;

    /// The signature is optional: without it the fields start at offset 0.
    static std::optional<DataDescriptorOf> parse(std::span<const uint8_t> bytes);
};
using DataDescriptor = DataDescriptorOf<uint32_t>;
using ZIP64DataDescriptor = DataDescriptorOf<uint64_t>;

struct EndOfCentralDirectoryRecord {
    static constexpr uint32_t signature = 0x06054B50;
    static constexpr std::size_t fixedSize = 22;

    uint32_t endOfCentralDirectorySignature = signature;
    uint16_t numberOfDisk = 0;
    uint16_t numberOfDiskStart = 0;
    uint16_t totalNumberOfEntriesOnDisk = 0;
    uint16_t totalNumberOfEntriesInCentralDirectory = 0;
    uint32_t sizeOfCentralDirectory = 0;
    uint32_t offsetToStartOfCentralDirectory = 0;
    uint16_t zipFileCommentLength = 0;
    std::vector<uint8_t> zipFileCommentData;

    static std::optional<EndOfCentralDirectoryRecord> parse(std::span<const uint8_t> fixed,
                                                            const DataProvider& provider);
    [[nodiscard]] std::vector<uint8_t> encode() const;
};

struct ZIP64EndOfCentralDirectoryRecord {
    static constexpr uint32_t signature = 0x06064B50;
    static constexpr std::size_t fixedSize = 56;

    uint32_t zip64EOCDRecordSignature = signature;
    uint64_t sizeOfZIP64EndOfCentralDirectoryRecord = 44;
    uint16_t versionMadeBy = versionMadeByUnix;
    uint16_t versionNeededToExtract = 45;
    uint32_t numberOfDisk = 0;
    uint32_t numberOfDiskStart = 0;
    uint64_t totalNumberOfEntriesOnDisk = 0;
    uint64_t totalNumberOfEntriesInCentralDirectory = 0;
    uint64_t sizeOfCentralDirectory = 0;
    uint64_t offsetToStartOfCentralDirectory = 0;
    std::vector<uint8_t> zip64ExtensibleDataSector;

    /// The extensible data sector is not read from the stream: the record is
    /// only ever looked for at a fixed distance ahead of its locator.
    static std::optional<ZIP64EndOfCentralDirectoryRecord> parse(std::span<const uint8_t> fixed);
    [[nodiscard]] std::vector<uint8_t> encode() const;
};

struct ZIP64EndOfCentralDirectoryLocator {
    static constexpr uint32_t signature = 0x07064B50;
    static constexpr std::size_t fixedSize = 20;

    uint32_t zip64EOCDLocatorSignature = signature;
    uint32_t numberOfDiskWithZIP64EOCDRecordStart = 0;
    uint64_t relativeOffsetOfZIP64EOCDRecord = 0;
    uint32_t totalNumberOfDisk = 1;

    static std::optional<ZIP64EndOfCentralDirectoryLocator> parse(std::span<const uint8_t> fixed);
    [[nodiscard]] std::vector<uint8_t> encode() const;
};

struct ZIP64EndOfCentralDirectory {
    ZIP64EndOfCentralDirectoryRecord record;
    ZIP64EndOfCentralDirectoryLocator locator;
};

/// The end records of an archive: the plain record and, when a limit was
/// reached, the ZIP64 pair ahead of it.
struct EndRecords {
    EndOfCentralDirectoryRecord endOfCentralDirectoryRecord;
    std::optional<ZIP64EndOfCentralDirectory> zip64EndOfCentralDirectory;

    /// The values that count: the ZIP64 record's when there is one.
    [[nodiscard]] uint64_t totalNumberOfEntries() const;
    [[nodiscard]] uint64_t sizeOfCentralDirectory() const;
    [[nodiscard]] uint64_t offsetToStartOfCentralDirectory() const;

    /// The records after one central record of `recordSize` bytes was added
    /// and the directory now starts at `directoryOffset`; the records
    /// themselves go at `endRecordsOffset`. Throws
    /// ArchiveError.invalidCentralDirectorySize / EntryCount on overflow.
    [[nodiscard]] EndRecords afterAppend(uint64_t recordSize, uint64_t directoryOffset,
                                         uint64_t endRecordsOffset) const;

    /// ZIP64 record and locator (if any) followed by the plain record.
    [[nodiscard]] std::vector<uint8_t> encode() const;
};

/// One entry of an archive, as archive reading makes it.
struct Entry {
    CentralDirectoryStructure centralDirectoryStructure;
    LocalFileHeader localFileHeader;
    std::optional<DataDescriptor> dataDescriptor;
    std::optional<ZIP64DataDescriptor> zip64DataDescriptor;

    [[nodiscard]] QString entryPath() const;
    [[nodiscard]] EntryType entryType() const;
    [[nodiscard]] uint32_t entryChecksum() const;
    [[nodiscard]] uint64_t entryUncompressedSize() const;
    [[nodiscard]] uint64_t entryCompressedSize() const;
    /// Where the entry's data starts. Throws
    /// ArchiveError.invalidLocalHeaderDataOffset when the sum overflows.
    [[nodiscard]] uint64_t entryDataOffset() const;
    [[nodiscard]] bool isZip64Entry() const { return centralDirectoryStructure.isZip64(); }
    [[nodiscard]] bool usesDataDescriptorFlag() const {
        return centralDirectoryStructure.usesDataDescriptorFlag();
    }
    /// Permission bits to restore (type bits cleared), defaults as fallback.
    [[nodiscard]] uint16_t entryPermissions() const;
    /// Modification time, seconds since 1970, from the MS-DOS fields in UTC.
    [[nodiscard]] int64_t entryModificationDate() const;

    bool operator==(const Entry& other) const;
};

/// MS-DOS time and date words (UTC) for seconds since 1970, truncated toward
/// zero. Years are limited to 1980...2099.
void msdosDateTime(double secondsSince1970, uint16_t& time, uint16_t& date);
/// Seconds since 1970 for MS-DOS time and date words read as UTC.
int64_t dateFromMsdos(uint16_t time, uint16_t date);

/// External attributes for a central record: (type bits | permissions) << 16.
uint32_t externalFileAttributes(EntryType type, uint16_t permissions);

/// Decodes a name by code page 437 (the DOS Latin US code page).
QString decodeCodePage437(std::span<const uint8_t> bytes);
/// Decodes strict UTF-8; invalid input gives the empty string.
QString decodeUtf8OrEmpty(std::span<const uint8_t> bytes);

} // namespace corvina::zip
