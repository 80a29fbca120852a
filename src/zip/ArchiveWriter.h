#pragma once

#include "zip/ArchiveSink.h"
#include "zip/Progress.h"
#include "zip/Records.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace corvina::zip {

/// Writes a new archive in one sequential pass: local headers and data go
/// out in order through a large buffer, and the central directory, held in
/// memory, is written once by finish(). The bytes are the same as those of a
/// series of Archive::appendItem calls on a freshly created archive,
/// including the rollback a cancelled add leaves behind.
///
/// Every file is read once into the archive. A stored entry that fits the
/// buffer leaves it only with its final local header, and is read again
/// while the file changes under the read; a larger one written to a sink
/// carries its checksum and sizes in a data descriptor after the data. So a
/// sink never has to rewrite stored archives; deflated entries, and large
/// stored ones in an archive file of the writer's own, are patched in place.
/// The bytes a stored file of `size` bytes, whose entry path has
/// `pathBytes`, gets after its data when packed through a sink: a data
/// descriptor when the entry doesn't fit the write buffer, else none.
uint64_t sinkDescriptorBytes(uint64_t size, std::size_t pathBytes);

class ArchiveWriter {
public:
    /// Creates `destination` exclusively, mode 0600.
    explicit ArchiveWriter(const std::filesystem::path& destination);
    /// Writes to `sink`; `url` names the archive in errors.
    ArchiveWriter(std::filesystem::path url, ArchiveSink& sink);
    ~ArchiveWriter();
    ArchiveWriter(const ArchiveWriter&) = delete;
    ArchiveWriter& operator=(const ArchiveWriter&) = delete;

    /// Adds the item at `fileLocation` (a link is not followed) as
    /// Archive::appendItem does. After a failure the writer takes no more.
    void appendItem(const std::string& entryPath, const std::filesystem::path& fileLocation,
                    CompressionMethod compressionMethod = CompressionMethod::none,
                    int64_t bufferSize = defaultChunkSize, Progress* progress = nullptr);

    /// Adds the item `name` of the folder `dirfd` (AT_FDCWD: `name` is a
    /// path), which errors name `location`, as appendItem does.
    void appendItemAt(const std::string& entryPath, int dirfd, const char* name,
                      const std::filesystem::path& location, CompressionMethod compressionMethod,
                      int64_t bufferSize, Progress* progress);

    /// Writes the central directory and the end records.
    void finish();

    /// The files that changed while they were read, in the order added.
    [[nodiscard]] const std::vector<std::filesystem::path>& changedWhileRead() const {
        return m_changedWhileRead;
    }

private:
    void append(std::span<const uint8_t> bytes);
    void flush();
    void patchAt(uint64_t offset, std::span<const uint8_t> bytes);
    void makeRoom(uint64_t bytes);
    [[nodiscard]] uint64_t offset() const { return m_flushed + m_buffer.size(); }
    void rollback(uint64_t localHeaderOffset);
    std::pair<uint64_t, uint32_t> appendDeflated(int fd, const std::filesystem::path& location,
                                                 int64_t declaredSize, int64_t bufferSize,
                                                 Progress* progress);
    std::pair<uint64_t, uint32_t> appendStored(int fd, const std::filesystem::path& location,
                                               uint64_t limit, Progress* progress);
    /// Adds a stored file's header and data (the header's zeros are
    /// placeholders) and returns its final header.
    LocalFileHeader appendStoredFile(int fd, std::string_view path,
                                     const std::filesystem::path& location, uint64_t limit,
                                     uint16_t modTime, uint16_t modDate, Progress* progress);

    std::filesystem::path m_url;
    std::unique_ptr<FileSink> m_ownSink;
    ArchiveSink& m_sink;
    bool m_failed = false;
    ByteBuffer m_buffer;
    std::vector<std::filesystem::path> m_changedWhileRead;
    /// Read buffer of the second read of a file in use, made on first use.
    std::vector<uint8_t> m_scratch;
    uint64_t m_flushed = 0;
    std::vector<uint8_t> m_directory;
    EndRecords m_endRecords;
};

} // namespace corvina::zip
