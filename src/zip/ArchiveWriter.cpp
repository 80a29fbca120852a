#include "zip/ArchiveWriter.h"

#include "zip/ByteIO.h"
#include "zip/CompressionStream.h"
#include "zip/Error.h"
#include "zip/ItemInfo.h"
#include "zip/SettledRead.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

namespace {

constexpr std::size_t bufferCapacity = 4 << 20;
/// Data reads go straight into the buffer; below this much room it is flushed first.
constexpr std::size_t minimumReadRoom = 256 << 10;
/// Reads of a file that fits the buffer and changes while it is read.
constexpr int settleAttempts = 5;
constexpr uint32_t max32 = 0xFFFFFFFF;

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

/// How much of a stored file an add reads: whole chunks of `chunk` until the
/// declared size is covered, so a file that grew contributes up to the end
/// of its last chunk, and one that shrank ends at its end.
uint64_t storedReadLimit(uint64_t declared, int64_t chunk) {
    const auto size = static_cast<uint64_t>(chunk);
    return declared == 0 ? 0 : ((declared - 1) / size + 1) * size;
}

/// The local header of a stored file of `size` bytes; with `zip64` its
/// sizes are in the ZIP64 item whatever they are, so that the header keeps
/// its length from placeholder to final form.
LocalFileHeader storedHeader(std::string_view path, uint16_t modTime, uint16_t modDate,
                             uint32_t crc, uint64_t size, bool zip64) {
    LocalFileHeader header =
        LocalFileHeader::make(path, CompressionMethod::none, modTime, modDate, crc, size, size);
    if (zip64 && header.extraFields.empty()) {
        ZIP64ExtendedInformation info;
        info.dataSize = 16;
        info.uncompressedSize = size;
        info.compressedSize = size;
        header.versionNeededToExtract = 45;
        header.compressedSize = max32;
        header.uncompressedSize = max32;
        header.extraFields.push_back(info);
        // encode() leaves out zero fields: the item is written out here.
        std::vector<uint8_t> item;
        ByteWriter writer(item);
        writer.put16(ZIP64ExtendedInformation::zip64HeaderID);
        writer.put16(16);
        writer.put64(size);
        writer.put64(size);
        header.extraFieldData = std::move(item);
        header.extraFieldLength = 20;
    }
    return header;
}

/// The data descriptor after a stored entry's data, with its signature.
std::vector<uint8_t> dataDescriptor(uint32_t crc, uint64_t size, bool zip64) {
    std::vector<uint8_t> bytes;
    ByteWriter writer(bytes);
    writer.put32(DataDescriptor::signature);
    writer.put32(crc);
    if (zip64) {
        writer.put64(size);
        writer.put64(size);
    } else {
        writer.put32(static_cast<uint32_t>(size));
        writer.put32(static_cast<uint32_t>(size));
    }
    return bytes;
}

void throwIfCancelled(const Progress* progress) {
    if (progress != nullptr && progress->isCancelled()) {
        throw Error(ArchiveError::cancelledOperation);
    }
}

} // namespace

uint64_t sinkDescriptorBytes(uint64_t size, std::size_t pathBytes) {
    const uint64_t limit = storedReadLimit(size, defaultChunkSize);
    const bool zip64 = limit >= max32;
    if (LocalFileHeader::fixedSize + pathBytes + (zip64 ? 20 : 0) + limit <= bufferCapacity) {
        return 0;
    }
    return zip64 ? ZIP64DataDescriptor::fixedSize : DataDescriptor::fixedSize;
}

ArchiveWriter::ArchiveWriter(const std::filesystem::path& destination)
    : m_url(destination)
    , m_ownSink(std::make_unique<FileSink>(destination))
    , m_sink(*m_ownSink) {
    m_buffer.reserve(bufferCapacity);
}

ArchiveWriter::ArchiveWriter(std::filesystem::path url, ArchiveSink& sink)
    : m_url(std::move(url))
    , m_sink(sink) {
    m_buffer.reserve(bufferCapacity);
}

ArchiveWriter::~ArchiveWriter() = default;

void ArchiveWriter::append(std::span<const uint8_t> bytes) {
    if (m_buffer.size() + bytes.size() > bufferCapacity) {
        flush();
    }
    // More than the buffer holds (a large central directory) goes in pieces.
    while (bytes.size() > bufferCapacity - m_buffer.size()) {
        const std::size_t piece = bufferCapacity - m_buffer.size();
        m_buffer.insert(m_buffer.end(), bytes.begin(), bytes.begin() + static_cast<long>(piece));
        bytes = bytes.subspan(piece);
        flush();
    }
    m_buffer.insert(m_buffer.end(), bytes.begin(), bytes.end());
}

void ArchiveWriter::flush() {
    if (m_buffer.empty()) {
        return;
    }
    m_flushed += m_buffer.size();
    m_sink.take(m_buffer);
    m_buffer.reserve(bufferCapacity);
}

void ArchiveWriter::makeRoom(uint64_t bytes) {
    if (bufferCapacity - m_buffer.size() < bytes) {
        flush();
    }
}

void ArchiveWriter::patchAt(uint64_t offset, std::span<const uint8_t> bytes) {
    // The part already handed to the sink is rewritten there, the rest is
    // still in the buffer.
    if (offset < m_flushed) {
        const auto taken =
            static_cast<std::size_t>(std::min<uint64_t>(bytes.size(), m_flushed - offset));
        m_sink.rewrite(offset, bytes.first(taken));
        bytes = bytes.subspan(taken);
        offset += taken;
    }
    if (!bytes.empty()) {
        std::memcpy(m_buffer.data() + (offset - m_flushed), bytes.data(), bytes.size());
    }
}

std::pair<uint64_t, uint32_t>
ArchiveWriter::appendDeflated(int fd, const std::filesystem::path& location, int64_t declaredSize,
                              int64_t bufferSize, Progress* progress) {
    const auto chunk = static_cast<uint64_t>(bufferSize);
    uint64_t written = 0;
    bool atEnd = false;
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
            throwIfCancelled(progress);
            append(produced);
            written += produced.size();
        });
    return {written, crc};
}

std::pair<uint64_t, uint32_t> ArchiveWriter::appendStored(int fd,
                                                          const std::filesystem::path& location,
                                                          uint64_t limit, Progress* progress) {
    uint64_t written = 0;
    uint32_t crc = 0;
    bool atEnd = false;
    while (written < limit && !atEnd) {
        throwIfCancelled(progress);
        if (bufferCapacity - m_buffer.size() <
            std::min<uint64_t>(minimumReadRoom, limit - written)) {
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

LocalFileHeader ArchiveWriter::appendStoredFile(int fd, std::string_view path,
                                                const std::filesystem::path& location,
                                                uint64_t limit, uint16_t modTime, uint16_t modDate,
                                                Progress* progress) {
    const uint64_t headerOffset = offset();
    const bool zip64 = limit >= max32 || headerOffset >= max32;
    const std::vector<uint8_t> placeholder =
        storedHeader(path, modTime, modDate, 0, 0, zip64).encode();
    bool changed = false;
    // One read into the archive; it holds one version of the file when the
    // file's state stayed the same and, for a file in use, where a write
    // begun earlier leaves the times alone, a second read agrees.
    const auto readOnce = [&] {
        std::optional<SharedReadLock> lock;
        if (isInUse(fileState(fd, location))) {
            lock.emplace(fd);
        }
        const FileState before = fileState(fd, location);
        const auto result = appendStored(fd, location, limit, progress);
        const bool same =
            fileState(fd, location) == before &&
            (!isInUse(before) || checksumOf(fd, location, limit, m_scratch) == result.second);
        changed = changed || !same;
        return std::pair{result, same};
    };

    if (placeholder.size() + limit <= bufferCapacity) {
        // The whole entry stays in the buffer until its header is final, so
        // a read that saw the file change is simply made again.
        makeRoom(placeholder.size() + limit);
        append(placeholder);
        const std::size_t dataStart = m_buffer.size();
        auto [result, settled] = readOnce();
        for (int attempt = 1; !settled && attempt < settleAttempts; ++attempt) {
            pauseBeforeAttempt(attempt);
            m_buffer.resize(dataStart);
            if (::lseek(fd, 0, SEEK_SET) < 0) {
                throw Error(DataError::unreadableFile, location, errno);
            }
            std::tie(result, settled) = readOnce();
        }
        if (changed) {
            m_changedWhileRead.push_back(location);
        }
        const auto [written, crc] = result;
        LocalFileHeader header = storedHeader(path, modTime, modDate, crc, written, zip64);
        patchAt(headerOffset, header.encode());
        return header;
    }

    // A larger file is read once, straight through the buffer. Its checksum
    // and size are known only after the data has gone on, so they follow it
    // in a data descriptor (general purpose bit 3) and the local header
    // carries zeros; the central record has them as well. Whatever happens
    // to the file, the entry's bytes, checksum and sizes agree: the backup
    // never fails on it. The other way, reading the file twice (checksum
    // first, data second) until both passes agree, can't promise that for a
    // file that never holds still, and reads everything twice. A file in use
    // (written in the last seconds) is first copied into an unnamed file
    // until a copy holds one version, and packed from there; a file at rest
    // that changes anyway is stored as the one pass that read it. A sink
    // that can rewrite (a plain file) gets the final header patched in
    // instead, which keeps those archives free of descriptors.
    const bool patchable = m_ownSink != nullptr;
    LocalFileHeader header = storedHeader(path, modTime, modDate, 0, 0, zip64);
    if (!patchable) {
        header.generalPurposeBitFlag |= 0x0008;
    }
    std::optional<SettledCopy> copy;
    if (isInUse(fileState(fd, location))) {
        copy.emplace(fd, location, limit);
    }
    append(header.encode());
    std::pair<uint64_t, uint32_t> result;
    if (copy && copy->isValid()) {
        result = appendStored(copy->fd(), location, limit, progress);
        changed = copy->sawChange();
    } else {
        result = readOnce().first;
    }
    const auto [written, crc] = result;
    if (changed) {
        m_changedWhileRead.push_back(location);
    }
    LocalFileHeader final = storedHeader(path, modTime, modDate, crc, written, zip64);
    if (patchable) {
        patchAt(headerOffset, final.encode());
    } else {
        final.generalPurposeBitFlag |= 0x0008;
        append(dataDescriptor(crc, written, zip64));
    }
    return final;
}

void ArchiveWriter::appendItem(const std::string& entryPath,
                               const std::filesystem::path& fileLocation,
                               CompressionMethod compressionMethod, int64_t bufferSize,
                               Progress* progress) {
    appendItemAt(entryPath, AT_FDCWD, fileLocation.c_str(), fileLocation, compressionMethod,
                 bufferSize, progress);
}

void ArchiveWriter::appendItemAt(const std::string& entryPath, int dirfd, const char* name,
                                 const std::filesystem::path& fileLocation,
                                 CompressionMethod compressionMethod, int64_t bufferSize,
                                 Progress* progress) {
    if (m_failed) {
        throw Error(ArchiveError::unwritableArchive, m_url);
    }
    m_failed = true;
    const ItemInfo info = inspectItem(dirfd, name, fileLocation, false);
    const std::string path =
        info.type == EntryType::directory ? withTrailingSlash(entryPath) : entryPath;
    int fd = -1;
    if (info.type == EntryType::file) {
        fd = ::openat(dirfd, name, O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            if (errno == EACCES) {
                throw Error(FileError::fileReadNoPermission, fileLocation, errno);
            }
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
        const auto headerWith = [&](uint32_t crc, uint64_t written) {
            return LocalFileHeader::make(path, method, modTime, modDate, crc, written, declared);
        };
        uint64_t written = 0;
        uint32_t crc = 0;
        std::optional<LocalFileHeader> local;
        switch (info.type) {
        case EntryType::directory: {
            const std::vector<uint8_t> header = headerWith(0, 0).encode();
            makeRoom(header.size());
            append(header);
            if (progress != nullptr) {
                progress->setCompletedUnitCount(progress->totalUnitCount());
            }
            break;
        }
        case EntryType::symlink: {
            const auto target = readLinkTarget(dirfd, name, fileLocation);
            written = target.size();
            crc = continueCrc32(0, target);
            const std::vector<uint8_t> header = headerWith(crc, written).encode();
            makeRoom(header.size() + target.size());
            append(header);
            append(target);
            break;
        }
        case EntryType::file:
            if (method == CompressionMethod::deflate) {
                append(headerWith(0, 0).encode());
                std::tie(written, crc) =
                    appendDeflated(fd, fileLocation, info.size, bufferSize, progress);
                patchAt(headerOffset, headerWith(crc, written).encode());
                break;
            }
            local = appendStoredFile(fd, path, fileLocation, storedReadLimit(declared, bufferSize),
                                     modTime, modDate, progress);
            break;
        }
        if (!local) {
            local = headerWith(crc, written);
        }
        const uint64_t dataEnd = offset();
        const auto central = CentralDirectoryStructure::make(
            *local, externalFileAttributes(info.type, info.permissions), headerOffset);
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
    m_failed = false;
}

void ArchiveWriter::rollback(uint64_t localHeaderOffset) {
    // What a cancelled stream-based add leaves: the file cut back to the
    // entry's header, the old directory twice, then the old end records.
    if (localHeaderOffset >= m_flushed) {
        m_buffer.resize(localHeaderOffset - m_flushed);
    } else {
        m_buffer.clear();
        m_sink.truncate(localHeaderOffset);
        m_flushed = localHeaderOffset;
    }
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
}

} // namespace corvina::zip
