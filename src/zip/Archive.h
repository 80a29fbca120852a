#pragma once

#include "zip/ArchiveSink.h"
#include "zip/Error.h"
#include "zip/Progress.h"
#include "zip/Records.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvina::zip {

enum class AccessMode { create, read, update };

/// Takes one chunk of an entry's data; may throw to end the extraction.
using EntryChunkConsumer = std::function<void(std::span<const uint8_t> chunk)>;
/// Gives the data of an entry being added, for (position, wanted size); may throw.
using EntryChunkSource = std::function<std::vector<uint8_t>(int64_t position, int64_t size)>;

/// A ZIP file opened for creating, reading or updating. Owns one buffered
/// stream and the current end records. Not for use from two threads at once.
class Archive {
public:
    /// Opens `url`. `create` makes a new file (mode 0600, failing when the
    /// path exists) holding an empty end record. Throws zip::Error.
    Archive(const std::filesystem::path& url, AccessMode mode);
    /// Reads the archive from `stream`, a seekable read-only stream of fixed
    /// length that it takes over and closes (also when this throws); `url`
    /// names it in errors. Throws zip::Error.
    Archive(std::FILE* stream, const std::filesystem::path& url);
    ~Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    [[nodiscard]] const std::filesystem::path& url() const { return m_url; }
    [[nodiscard]] AccessMode accessMode() const { return m_accessMode; }
    [[nodiscard]] const EndOfCentralDirectoryRecord& endOfCentralDirectoryRecord() const {
        return m_endRecords.endOfCentralDirectoryRecord;
    }
    [[nodiscard]] const std::optional<ZIP64EndOfCentralDirectory>&
    zip64EndOfCentralDirectory() const {
        return m_endRecords.zip64EndOfCentralDirectory;
    }
    [[nodiscard]] const EndRecords& endRecords() const { return m_endRecords; }

    /// Walks the central directory in order. A record that cannot be read or
    /// parsed ends the walk silently, as does an encrypted entry. Each step
    /// seeks before it reads, so entries may be extracted during the walk.
    class EntrySequence {
    public:
        class iterator {
        public:
            using value_type = Entry;
            using difference_type = std::ptrdiff_t;
            iterator() = default;
            const Entry& operator*() const { return *m_current; }
            const Entry* operator->() const { return &*m_current; }
            iterator& operator++();
            bool operator==(const iterator& other) const {
                return m_current.has_value() == other.m_current.has_value();
            }

        private:
            friend class EntrySequence;
            iterator(Archive* archive, uint64_t count, uint64_t position);
            void advance();
            Archive* m_archive = nullptr;
            uint64_t m_index = 0;
            uint64_t m_count = 0;
            uint64_t m_position = 0;
            std::optional<Entry> m_current;
        };
        [[nodiscard]] iterator begin() const;
        [[nodiscard]] iterator end() const { return {}; }

    private:
        friend class Archive;
        explicit EntrySequence(Archive* archive)
            : m_archive(archive) {}
        Archive* m_archive;
    };
    [[nodiscard]] EntrySequence entrySequence() { return EntrySequence(this); }

    /// The first entry, in directory order, whose decoded path equals `path`.
    [[nodiscard]] std::optional<Entry> entry(const QString& path);

    /// Reads up to `count` bytes at the stream position; fewer at the end of
    /// the file. Throws DataError.unreadableFile on a read error.
    std::vector<uint8_t> readFileChunk(std::size_t count);

    /// Adds one entry from a chunk source: rereads the central directory,
    /// writes the local header and data where it stood, then the directory
    /// and end records again. `entryPath` is UTF-8 bytes. Only a cancelled
    /// add is rolled back; after any other failure the archive must not be
    /// written to again. Throws.
    void appendEntry(const std::string& entryPath, EntryType type, int64_t uncompressedSize,
                     double modificationDate, std::optional<uint16_t> permissions,
                     CompressionMethod compressionMethod, int64_t bufferSize, Progress* progress,
                     const EntryChunkSource& source);

    /// Adds the file system item at `fileLocation` (not followed when it is
    /// a link) under `entryPath`. Throws.
    void appendItem(const std::string& entryPath, const std::filesystem::path& fileLocation,
                    CompressionMethod compressionMethod = CompressionMethod::none,
                    int64_t bufferSize = defaultChunkSize, Progress* progress = nullptr);

    /// Delivers the entry's data to `consumer` chunk by chunk and returns the
    /// CRC-32 of what was delivered (0 with `skipCRC32`). Throws.
    uint32_t readEntry(const Entry& entry, int64_t bufferSize, bool skipCRC32, Progress* progress,
                       const EntryChunkConsumer& consumer);

    /// Extracts the entry to `destination`: never overwrites, creates parent
    /// folders, sets permissions and modification time. Returns the CRC-32,
    /// which is not compared with the stored one. Throws.
    uint32_t extractEntry(const Entry& entry, const std::filesystem::path& destination,
                          int64_t bufferSize = defaultChunkSize, bool skipCRC32 = false,
                          bool allowUncontainedSymlinks = false, Progress* progress = nullptr);

    /// Finds the end records of an open stream: the record nearest the end of
    /// the file and the ZIP64 pair right ahead of it. Nothing when absent.
    static std::optional<EndRecords> findEndRecords(std::FILE* stream);

private:
    friend class EntrySequence::iterator;
    friend class ExtractionRoot;

    std::optional<Entry> readEntryAt(uint64_t position);
    uint32_t readEntryData(const Entry& entry, int64_t bufferSize, int64_t storedChunkSize,
                           bool skipCRC32, Progress* progress, const EntryChunkConsumer& consumer);
    void readEndRecords();
    [[nodiscard]] uint64_t remainingInFile() const;
    void seekTo(uint64_t offset);
    void writeFileChunk(std::span<const uint8_t> bytes);
    void writeLargeBuffer(std::span<const uint8_t> bytes, int64_t bufferSize);
    void rollbackAppend(uint64_t localHeaderOffset, const std::vector<uint8_t>& centralDirectory,
                        const EndRecords& savedEndRecords, int64_t bufferSize);
    std::pair<uint64_t, uint32_t> writeEntryData(EntryType type, CompressionMethod method,
                                                 int64_t uncompressedSize, int64_t bufferSize,
                                                 Progress* progress,
                                                 const EntryChunkSource& source);

    std::filesystem::path m_url;
    AccessMode m_accessMode;
    std::FILE* m_archiveFile = nullptr;
    /// The length of a stream handed in, which has no descriptor to ask;
    /// a file opened here is asked each time, as updating makes it grow.
    std::optional<uint64_t> m_streamSize;
    EndRecords m_endRecords;
};

/// Packs `source` (a folder, file or link) into a new archive at
/// `destination`. With `keepParentFolder` each entry path starts with the
/// source's name and the source folder itself is the last entry. The result
/// has the same bytes as appending every item one by one with appendItem,
/// but is written in one sequential pass with the central directory held in
/// memory. A file that changes while it is read never fails the pack: it is
/// stored as read, and returned among the files that changed while read.
std::vector<std::filesystem::path>
packItem(const std::filesystem::path& source, const std::filesystem::path& destination,
         bool keepParentFolder, CompressionMethod compressionMethod, Progress* progress = nullptr);

/// Packs as above into `sink`; `archiveName` names the archive in errors.
/// Stored entries never ask the sink to rewrite: a stored file larger than
/// the write buffer carries its checksum and sizes in a data descriptor, so
/// only those entries differ from the bytes above.
std::vector<std::filesystem::path> packItem(const std::filesystem::path& source,
                                            const std::filesystem::path& archiveName,
                                            ArchiveSink& sink, bool keepParentFolder,
                                            CompressionMethod compressionMethod,
                                            Progress* progress = nullptr);

/// The subpaths of a folder in the order packItem adds them: every folder
/// ahead of its contents, unsorted. Throws on a listing failure.
std::vector<std::string> directorySubpaths(const std::filesystem::path& folder);

} // namespace corvina::zip
