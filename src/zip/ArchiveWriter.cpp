#include "zip/ArchiveWriter.h"

#include "zip/CompressionStream.h"
#include "zip/Error.h"
#include "zip/ItemInfo.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

namespace {

constexpr std::size_t bufferCapacity = 4 << 20;
/// Data reads go straight into the buffer; below this much room it is flushed first.
constexpr std::size_t minimumReadRoom = 256 << 10;

struct FdCloser {
    int fd;
    ~FdCloser() { ::close(fd); }
};

std::string withTrailingSlash(std::string path) {
    if (path.empty() || path.back() != '/') {
        path.push_back('/');
    }
    return path;
}

} // namespace

ArchiveWriter::ArchiveWriter(const std::filesystem::path& destination,
                             std::function<void(uint64_t)> finalizedBytes)
    : m_url(destination)
    , m_finalizedBytes(std::move(finalizedBytes)) {
    m_fd = ::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        if (errno == EEXIST) {
            throw Error(FileError::fileWriteFileExists, destination, errno);
        }
        throw Error::posix(errno, destination);
    }
    m_buffer.reserve(bufferCapacity);
}

ArchiveWriter::~ArchiveWriter() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

void ArchiveWriter::append(std::span<const uint8_t> bytes) {
    if (m_buffer.size() + bytes.size() > bufferCapacity) {
        flush();
    }
    if (bytes.size() > bufferCapacity) {
        writeFully(m_fd, bytes.data(), bytes.size(), m_url);
        m_flushed += bytes.size();
        return;
    }
    m_buffer.insert(m_buffer.end(), bytes.begin(), bytes.end());
}

void ArchiveWriter::flush() {
    writeFully(m_fd, m_buffer.data(), m_buffer.size(), m_url);
    m_flushed += m_buffer.size();
    m_buffer.clear();
}

void ArchiveWriter::patchAt(uint64_t offset, std::span<const uint8_t> bytes) {
    // The part already handed to the kernel is rewritten in place, the rest
    // is still in the buffer.
    if (offset < m_flushed) {
        const auto onDisk =
            static_cast<std::size_t>(std::min<uint64_t>(bytes.size(), m_flushed - offset));
        std::size_t done = 0;
        while (done < onDisk) {
            const ssize_t n =
                pwrite(m_fd, bytes.data() + done, onDisk - done, static_cast<off_t>(offset + done));
            if (n < 0) {
                if (errno == EINTR) {
                    continue;
                }
                throw Error(DataError::unwritableFile, m_url, errno);
            }
            done += static_cast<std::size_t>(n);
        }
        bytes = bytes.subspan(onDisk);
        offset += onDisk;
    }
    if (!bytes.empty()) {
        std::memcpy(m_buffer.data() + (offset - m_flushed), bytes.data(), bytes.size());
    }
}

std::pair<uint64_t, uint32_t>
ArchiveWriter::appendFileData(int fd, const std::filesystem::path& location, int64_t declaredSize,
                              CompressionMethod method, int64_t bufferSize, Progress* progress) {
    const auto chunk = static_cast<uint64_t>(bufferSize);
    uint64_t written = 0;
    bool atEnd = false;
    if (method == CompressionMethod::deflate) {
        // Same chunking as the stream-based add: one read of bufferSize per
        // request, and nothing more once the end of the file was seen.
        const uint32_t crc = deflateStream(
            static_cast<uint64_t>(declaredSize), bufferSize,
            [&](int64_t, int64_t) {
                std::vector<uint8_t> bytes(atEnd ? 0 : chunk);
                bytes.resize(readFully(fd, bytes.data(), bytes.size(), location));
                atEnd = atEnd || bytes.size() < chunk;
                return bytes;
            },
            [&](std::span<const uint8_t> produced) {
                if (progress != nullptr && progress->isCancelled()) {
                    throw Error(ArchiveError::cancelledOperation);
                }
                append(produced);
                written += produced.size();
            });
        return {written, crc};
    }
    // Stored data: the add reads whole chunks of bufferSize until the declared
    // size is covered, so a file that grew contributes up to the end of its
    // last chunk, and one that shrank ends at its end.
    const auto declared = static_cast<uint64_t>(declaredSize);
    const uint64_t limit = declared == 0 ? 0 : ((declared - 1) / chunk + 1) * chunk;
    uint32_t crc = 0;
    while (written < limit && !atEnd) {
        if (progress != nullptr && progress->isCancelled()) {
            throw Error(ArchiveError::cancelledOperation);
        }
        if (bufferCapacity - m_buffer.size() < minimumReadRoom) {
            flush();
        }
        const std::size_t room = bufferCapacity - m_buffer.size();
        const auto wanted = static_cast<std::size_t>(std::min<uint64_t>(room, limit - written));
        const std::size_t start = m_buffer.size();
        m_buffer.resize(start + wanted);
        const std::size_t got = readFully(fd, m_buffer.data() + start, wanted, location);
        m_buffer.resize(start + got);
        atEnd = got < wanted;
        crc = continueCrc32(crc, {m_buffer.data() + start, got});
        written += got;
        if (progress != nullptr) {
            progress->setCompletedUnitCount(static_cast<int64_t>(written));
        }
    }
    return {written, crc};
}

void ArchiveWriter::appendItem(const std::string& entryPath,
                               const std::filesystem::path& fileLocation,
                               CompressionMethod compressionMethod, int64_t bufferSize,
                               Progress* progress) {
    if (m_failed) {
        throw Error(ArchiveError::unwritableArchive, m_url);
    }
    m_failed = true;
    const ItemInfo info = inspectItem(AT_FDCWD, fileLocation.c_str(), fileLocation);
    const std::string path =
        info.type == EntryType::directory ? withTrailingSlash(entryPath) : entryPath;
    int fd = -1;
    if (info.type == EntryType::file) {
        fd = ::open(fileLocation.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            // Named after the archive, as the stream-based add does.
            throw Error::posix(errno, m_url);
        }
    }
    const FdCloser closer{fd};
    validateEntryPath(path);
    if (bufferSize < 1) {
        throw Error(ArchiveError::invalidBufferSize);
    }
    const CompressionMethod method =
        info.type == EntryType::file ? compressionMethod : CompressionMethod::none;
    if (progress != nullptr) {
        progress->setTotalUnitCount(info.type == EntryType::directory ? 1 : info.size);
    }
    uint16_t modTime = 0;
    uint16_t modDate = 0;
    msdosDateTime(info.modificationDate, modTime, modDate);

    const uint64_t headerOffset = offset();
    try {
        const auto declared = static_cast<uint64_t>(info.size);
        append(LocalFileHeader::make(path, method, modTime, modDate, 0, 0, declared).encode());
        uint64_t written = 0;
        uint32_t crc = 0;
        switch (info.type) {
        case EntryType::directory:
            if (progress != nullptr) {
                progress->setCompletedUnitCount(progress->totalUnitCount());
            }
            break;
        case EntryType::symlink: {
            const auto target = readLinkTarget(AT_FDCWD, fileLocation.c_str(), fileLocation);
            append(target);
            written = target.size();
            crc = continueCrc32(0, target);
            break;
        }
        case EntryType::file:
            std::tie(written, crc) =
                appendFileData(fd, fileLocation, info.size, method, bufferSize, progress);
            break;
        }
        const uint64_t dataEnd = offset();
        const auto local =
            LocalFileHeader::make(path, method, modTime, modDate, crc, written, declared);
        patchAt(headerOffset, local.encode());
        const auto central = CentralDirectoryStructure::make(
            local, externalFileAttributes(info.type, info.permissions), headerOffset);
        EndRecords next = m_endRecords.afterAppend(
            central.recordSize(), dataEnd, dataEnd + m_directory.size() + central.recordSize());
        central.encodeInto(m_directory);
        m_endRecords = std::move(next);
    } catch (const Error& error) {
        if (error.is(ArchiveError::cancelledOperation)) {
            rollback(headerOffset);
        }
        throw;
    }
    if (m_finalizedBytes) {
        flush();
        m_finalizedBytes(offset());
    }
    m_failed = false;
}

void ArchiveWriter::rollback(uint64_t localHeaderOffset) {
    // What a cancelled stream-based add leaves: the file cut back to the
    // entry's header, the old directory twice, then the old end records.
    flush();
    if (ftruncate(m_fd, static_cast<off_t>(localHeaderOffset)) != 0 ||
        lseek(m_fd, static_cast<off_t>(localHeaderOffset), SEEK_SET) < 0) {
        throw Error(DataError::unwritableFile, m_url, errno);
    }
    m_flushed = localHeaderOffset;
    append(m_directory);
    append(m_directory);
    append(m_endRecords.encode());
    flush();
}

void ArchiveWriter::finish() {
    if (m_failed) {
        throw Error(ArchiveError::unwritableArchive, m_url);
    }
    m_failed = true;
    append(m_directory);
    append(m_endRecords.encode());
    flush();
    if (m_finalizedBytes) {
        m_finalizedBytes(offset());
    }
}

} // namespace corvina::zip
