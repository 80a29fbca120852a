#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace corvina::zip {

/// Where an ArchiveWriter's bytes go, strictly in order. A file can take
/// back or rewrite what it was given; a sink that passes the bytes on (to a
/// cipher, say) cannot, and the writer only asks that of it for deflated
/// entries and cancelled adds.
class ArchiveSink {
public:
    virtual ~ArchiveSink() = default;

    /// Takes all bytes of `buffer` and leaves it empty, its capacity kept or
    /// exchanged for another buffer's, so the writer can fill it again.
    virtual void take(std::vector<uint8_t>& buffer) = 0;
    /// Rewrites bytes taken earlier, at `offset` from the start.
    virtual void rewrite(uint64_t offset, std::span<const uint8_t> bytes) = 0;
    /// Drops everything taken beyond the first `size` bytes.
    virtual void truncate(uint64_t size) = 0;
};

/// A new file, created exclusively with mode 0600.
class FileSink : public ArchiveSink {
public:
    explicit FileSink(std::filesystem::path path);
    ~FileSink() override;
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    void take(std::vector<uint8_t>& buffer) override;
    void rewrite(uint64_t offset, std::span<const uint8_t> bytes) override;
    void truncate(uint64_t size) override;

private:
    std::filesystem::path m_path;
    int m_fd = -1;
};

} // namespace corvina::zip
