#pragma once

#include "zip/Progress.h"
#include "zip/Records.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace corvina::zip {

/// Writes a new archive in one sequential pass: local headers and data go
/// out in order through a large buffer, each local header is patched in
/// place once its data is known, and the central directory, held in memory,
/// is written once by finish(). The bytes are the same as those of a series
/// of Archive::appendItem calls on a freshly created archive, including the
/// rollback a cancelled add leaves behind.
class ArchiveWriter {
public:
    /// Creates `destination` exclusively, mode 0600. `finalizedBytes`, when
    /// given, is told after each entry and at the end how many leading bytes
    /// of the file are final and written to the kernel.
    explicit ArchiveWriter(const std::filesystem::path& destination,
                           std::function<void(uint64_t)> finalizedBytes = {});
    ~ArchiveWriter();
    ArchiveWriter(const ArchiveWriter&) = delete;
    ArchiveWriter& operator=(const ArchiveWriter&) = delete;

    /// Adds the item at `fileLocation` (a link is not followed) as
    /// Archive::appendItem does. After a failure the writer takes no more.
    void appendItem(const std::string& entryPath, const std::filesystem::path& fileLocation,
                    CompressionMethod compressionMethod = CompressionMethod::none,
                    int64_t bufferSize = defaultChunkSize, Progress* progress = nullptr);

    /// Writes the central directory and the end records.
    void finish();

private:
    void append(std::span<const uint8_t> bytes);
    void flush();
    void patchAt(uint64_t offset, std::span<const uint8_t> bytes);
    [[nodiscard]] uint64_t offset() const { return m_flushed + m_buffer.size(); }
    void rollback(uint64_t localHeaderOffset);
    std::pair<uint64_t, uint32_t> appendFileData(int fd, const std::filesystem::path& location,
                                                 int64_t declaredSize, CompressionMethod method,
                                                 int64_t bufferSize, Progress* progress);

    std::filesystem::path m_url;
    std::function<void(uint64_t)> m_finalizedBytes;
    int m_fd = -1;
    bool m_failed = false;
    std::vector<uint8_t> m_buffer;
    uint64_t m_flushed = 0;
    std::vector<uint8_t> m_directory;
    EndRecords m_endRecords;
};

} // namespace corvina::zip
