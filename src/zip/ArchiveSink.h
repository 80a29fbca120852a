#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace corvina::zip {

/// Allocates as std::allocator does but leaves new elements uninitialised
/// where they have no arguments: file data is read straight into a grown
/// buffer, and zeroing it first would cost another pass over every byte.
template <typename T> struct UninitializedAllocator : std::allocator<T> {
    template <typename U> struct rebind { using other = UninitializedAllocator<U>; };
    UninitializedAllocator() = default;
    template <typename U>
    UninitializedAllocator(const UninitializedAllocator<U>& /*other*/) noexcept {}

    template <typename U> void construct(U* place) noexcept { ::new (static_cast<void*>(place)) U; }
    template <typename U, typename... Args> void construct(U* place, Args&&... args) {
        ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
    }
};

/// The buffers an archive is written in.
using ByteBuffer = std::vector<uint8_t, UninitializedAllocator<uint8_t>>;

/// Where an ArchiveWriter's bytes go, strictly in order. A file can take
/// back or rewrite what it was given; a sink that passes the bytes on (to a
/// cipher, say) cannot, and the writer only asks that of it for deflated
/// entries and cancelled adds.
class ArchiveSink {
public:
    virtual ~ArchiveSink() = default;

    /// Takes all bytes of `buffer` and leaves it empty, its capacity kept or
    /// exchanged for another buffer's, so the writer can fill it again.
    virtual void take(ByteBuffer& buffer) = 0;
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

    void take(ByteBuffer& buffer) override;
    void rewrite(uint64_t offset, std::span<const uint8_t> bytes) override;
    void truncate(uint64_t size) override;

private:
    std::filesystem::path m_path;
    int m_fd = -1;
};

} // namespace corvina::zip
