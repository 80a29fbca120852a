#include "zip/Archive.h"

#include "zip/ArchiveSupport.h"
#include "zip/CompressionStream.h"
#include "zip/ItemInfo.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

using namespace archive;

namespace {

struct FileCloser {
    std::FILE* file;
    ~FileCloser() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
};

std::string withTrailingSlash(std::string path) {
    if (path.empty() || path.back() != '/') {
        path.push_back('/');
    }
    return path;
}

} // namespace

// ---------------------------------------------------------------- opening

Archive::Archive(const std::filesystem::path& url, AccessMode mode)
    : m_url(url)
    , m_accessMode(mode) {
    if (mode == AccessMode::create) {
        const int fd = ::open(url.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) {
                throw Error(FileError::fileWriteFileExists, url, errno);
            }
            throw Error::posix(errno, url);
        }
        FdCloser closer{fd};
        const auto empty = EndOfCentralDirectoryRecord{}.encode();
        try {
            writeFully(fd, empty.data(), empty.size(), url);
        } catch (const Error& error) {
            throw Error::posix(error.posixCode(), url);
        }
    }
    m_archiveFile = std::fopen(url.c_str(), mode == AccessMode::read ? "rbe" : "rb+e");
    if (m_archiveFile == nullptr) {
        throw Error::posix(errno, url);
    }
    std::setvbuf(m_archiveFile, nullptr, _IOFBF, streamBufferSize);
    readEndRecords();
    if (mode != AccessMode::read) {
        fseeko(m_archiveFile, 0, SEEK_SET);
    }
}

Archive::Archive(std::FILE* stream, const std::filesystem::path& url)
    : m_url(url)
    , m_accessMode(AccessMode::read)
    , m_archiveFile(stream) {
    std::setvbuf(m_archiveFile, nullptr, _IOFBF, streamBufferSize);
    if (fseeko(m_archiveFile, 0, SEEK_END) != 0 || ftello(m_archiveFile) < 0) {
        const int code = errno;
        std::fclose(m_archiveFile);
        m_archiveFile = nullptr;
        throw Error(DataError::unreadableFile, url, code);
    }
    m_streamSize = static_cast<uint64_t>(ftello(m_archiveFile));
    readEndRecords();
}

void Archive::readEndRecords() {
    auto endRecords = findEndRecords(m_archiveFile);
    if (!endRecords) {
        std::fclose(m_archiveFile);
        m_archiveFile = nullptr;
        throw Error(ArchiveError::missingEndOfCentralDirectoryRecord, m_url);
    }
    m_endRecords = std::move(*endRecords);
}

Archive::~Archive() {
    if (m_archiveFile != nullptr) {
        std::fclose(m_archiveFile);
    }
}

std::optional<EndRecords> Archive::findEndRecords(std::FILE* stream) {
    if (fseeko(stream, 0, SEEK_END) != 0) {
        return std::nullopt;
    }
    const off_t length = ftello(stream);
    constexpr off_t fixed = EndOfCentralDirectoryRecord::fixedSize;
    if (length < fixed) {
        return std::nullopt;
    }
    // The record nearest the end wins. Candidates are scanned backwards in
    // blocks, with three bytes of overlap so a signature across a block
    // boundary is seen.
    constexpr off_t block = 1 << 16;
    std::vector<uint8_t> buffer(static_cast<std::size_t>(block) + 3);
    off_t found = -1;
    for (off_t high = length - fixed; high >= 0 && found < 0;) {
        const off_t low = std::max<off_t>(0, high - (block - 1));
        const auto wanted = static_cast<std::size_t>(high - low + 4);
        if (fseeko(stream, low, SEEK_SET) != 0) {
            return std::nullopt;
        }
        const std::size_t got = std::fread(buffer.data(), 1, wanted, stream);
        if (std::ferror(stream) > 0) {
            std::clearerr(stream);
        }
        for (off_t position = high; position >= low; --position) {
            const auto index = static_cast<std::size_t>(position - low);
            if (index + 4 <= got && buffer[index] == 0x50 && buffer[index + 1] == 0x4B &&
                buffer[index + 2] == 0x05 && buffer[index + 3] == 0x06) {
                found = position;
                break;
            }
        }
        high = low - 1;
    }
    if (found < 0) {
        return std::nullopt;
    }

    const auto readAt = [stream](off_t offset, std::size_t count) -> std::vector<uint8_t> {
        std::vector<uint8_t> bytes(count);
        if (fseeko(stream, offset, SEEK_SET) != 0) {
            return {};
        }
        bytes.resize(std::fread(bytes.data(), 1, count, stream));
        return bytes;
    };
    const DataProvider provider =
        [stream](std::size_t count) -> std::optional<std::vector<uint8_t>> {
        std::vector<uint8_t> bytes(count);
        bytes.resize(std::fread(bytes.data(), 1, count, stream));
        if (std::ferror(stream) > 0) {
            std::clearerr(stream);
            return std::nullopt;
        }
        return bytes;
    };
    auto record = EndOfCentralDirectoryRecord::parse(readAt(found, fixed), provider);
    if (!record) {
        return std::nullopt;
    }
    EndRecords result;
    result.endOfCentralDirectoryRecord = std::move(*record);

    const off_t end = found;
    constexpr auto locatorSize = static_cast<off_t>(ZIP64EndOfCentralDirectoryLocator::fixedSize);
    constexpr auto recordSize = static_cast<off_t>(ZIP64EndOfCentralDirectoryRecord::fixedSize);
    if (end > locatorSize && end - locatorSize > recordSize) {
        auto locator =
            ZIP64EndOfCentralDirectoryLocator::parse(readAt(end - locatorSize, locatorSize));
        if (locator) {
            auto zip64 = ZIP64EndOfCentralDirectoryRecord::parse(
                readAt(end - locatorSize - recordSize, recordSize));
            if (zip64) {
                result.zip64EndOfCentralDirectory =
                    ZIP64EndOfCentralDirectory{std::move(*zip64), *locator};
            }
        }
    }
    return result;
}

// ---------------------------------------------------------------- writing

void Archive::writeFileChunk(std::span<const uint8_t> bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), m_archiveFile);
    if (std::ferror(m_archiveFile) > 0) {
        throw Error(DataError::unwritableFile, m_url, errno);
    }
}

void Archive::writeLargeBuffer(std::span<const uint8_t> bytes, int64_t bufferSize) {
    const auto slice = static_cast<std::size_t>(bufferSize);
    for (std::size_t offset = 0; offset < bytes.size(); offset += slice) {
        const std::size_t length = std::min(slice, bytes.size() - offset);
        std::fwrite(bytes.data() + offset, 1, length, m_archiveFile);
    }
    if (std::ferror(m_archiveFile) > 0) {
        throw Error(DataError::unwritableFile, m_url, errno);
    }
}

std::pair<uint64_t, uint32_t> Archive::writeEntryData(EntryType type, CompressionMethod method,
                                                      int64_t uncompressedSize, int64_t bufferSize,
                                                      Progress* progress,
                                                      const EntryChunkSource& source) {
    switch (type) {
    case EntryType::directory:
        (void)source(0, 0);
        if (progress != nullptr) {
            progress->setCompletedUnitCount(progress->totalUnitCount());
        }
        return {0, 0};
    case EntryType::symlink: {
        const auto target = source(0, uncompressedSize);
        writeFileChunk(target);
        return {target.size(), crcOf(0, target)};
    }
    case EntryType::file:
        break;
    }
    uint64_t written = 0;
    if (method == CompressionMethod::deflate) {
        const uint32_t crc = deflateStream(static_cast<uint64_t>(uncompressedSize), bufferSize,
                                           source, [&](std::span<const uint8_t> produced) {
                                               if (progress != nullptr && progress->isCancelled()) {
                                                   throw Error(ArchiveError::cancelledOperation);
                                               }
                                               writeFileChunk(produced);
                                               written += produced.size();
                                           });
        return {written, crc};
    }
    uint32_t crc = 0;
    for (int64_t position = 0; position < uncompressedSize; position += bufferSize) {
        if (progress != nullptr && progress->isCancelled()) {
            throw Error(ArchiveError::cancelledOperation);
        }
        const auto chunk = source(position, std::min(uncompressedSize - position, bufferSize));
        crc = crcOf(crc, chunk);
        writeFileChunk(chunk);
        written += chunk.size();
        if (progress != nullptr) {
            progress->setCompletedUnitCount(static_cast<int64_t>(written));
        }
    }
    return {written, crc};
}

void Archive::appendEntry(const std::string& entryPath, EntryType type, int64_t uncompressedSize,
                          double modificationDate, std::optional<uint16_t> permissions,
                          CompressionMethod compressionMethod, int64_t bufferSize,
                          Progress* progress, const EntryChunkSource& source) {
    if (m_accessMode == AccessMode::read) {
        throw Error(ArchiveError::unwritableArchive, m_url);
    }
    validateEntryPath(entryPath);
    if (uncompressedSize < 0) {
        throw Error(ArchiveError::invalidEntrySize, m_url);
    }
    if (bufferSize < 1) {
        throw Error(ArchiveError::invalidBufferSize);
    }
    const CompressionMethod method =
        type == EntryType::file ? compressionMethod : CompressionMethod::none;
    if (progress != nullptr) {
        progress->setTotalUnitCount(type == EntryType::directory ? 1 : uncompressedSize);
    }
    const EndRecords saved = m_endRecords;
    const uint64_t directoryStart = saved.offsetToStartOfCentralDirectory();
    const uint64_t directorySize = saved.sizeOfCentralDirectory();

    seekTo(directoryStart);
    const std::vector<uint8_t> directory =
        readFileChunk(static_cast<std::size_t>(std::min<uint64_t>(directorySize, SIZE_MAX)));
    seekTo(directoryStart);
    const uint64_t localHeaderOffset = directoryStart;

    uint16_t modTime = 0;
    uint16_t modDate = 0;
    msdosDateTime(modificationDate, modTime, modDate);

    struct Flush {
        std::FILE* file;
        ~Flush() { std::fflush(file); }
    } flushOnExit{m_archiveFile};

    try {
        const auto first = LocalFileHeader::make(entryPath, method, modTime, modDate, 0, 0,
                                                 static_cast<uint64_t>(uncompressedSize));
        writeFileChunk(first.encode());
        const auto [written, crc] =
            writeEntryData(type, method, uncompressedSize, bufferSize, progress, source);
        const auto newDirectoryStart = static_cast<uint64_t>(ftello(m_archiveFile));

        const auto local = LocalFileHeader::make(entryPath, method, modTime, modDate, crc, written,
                                                 static_cast<uint64_t>(uncompressedSize));
        seekTo(localHeaderOffset);
        writeFileChunk(local.encode());
        seekTo(newDirectoryStart);
        writeLargeBuffer(directory, bufferSize);

        const uint16_t mode = permissions.value_or(
            type == EntryType::directory ? defaultDirectoryPermissions : defaultFilePermissions);
        const auto central = CentralDirectoryStructure::make(
            local, externalFileAttributes(type, mode), localHeaderOffset);
        writeFileChunk(central.encode());

        const auto endRecordsOffset = static_cast<uint64_t>(ftello(m_archiveFile));
        EndRecords next =
            saved.afterAppend(central.recordSize(), newDirectoryStart, endRecordsOffset);
        writeFileChunk(next.encode());
        m_endRecords = std::move(next);
    } catch (const Error& error) {
        if (!error.is(ArchiveError::cancelledOperation)) {
            throw;
        }
        rollbackAppend(localHeaderOffset, directory, saved, bufferSize);
        throw;
    }
}

void Archive::rollbackAppend(uint64_t localHeaderOffset,
                             const std::vector<uint8_t>& centralDirectory,
                             const EndRecords& savedEndRecords, int64_t bufferSize) {
    std::fflush(m_archiveFile);
    if (ftruncate(fileno(m_archiveFile), static_cast<off_t>(localHeaderOffset)) != 0) {
        throw Error(DataError::unwritableFile, m_url, errno);
    }
    seekTo(localHeaderOffset);
    // The directory goes out twice, and the end record points at the first
    // copy: that is the file an interrupted add has always left behind.
    writeLargeBuffer(centralDirectory, bufferSize);
    writeFileChunk(centralDirectory);
    writeFileChunk(savedEndRecords.encode());
    std::fflush(m_archiveFile);
}

void Archive::appendItem(const std::string& entryPath, const std::filesystem::path& fileLocation,
                         CompressionMethod compressionMethod, int64_t bufferSize,
                         Progress* progress) {
    const ItemInfo info = inspectItem(AT_FDCWD, fileLocation.c_str(), fileLocation);
    switch (info.type) {
    case EntryType::file: {
        std::FILE* file = std::fopen(fileLocation.c_str(), "rbe");
        if (file == nullptr) {
            // The error names the archive, not the file that failed.
            throw Error::posix(errno, m_url);
        }
        FileCloser closer{file};
        std::vector<uint8_t> chunk;
        appendEntry(entryPath, info.type, info.size, info.modificationDate, info.permissions,
                    compressionMethod, bufferSize, progress, [&](int64_t, int64_t) {
                        chunk.resize(static_cast<std::size_t>(bufferSize));
                        chunk.resize(freadChecked(file, chunk.data(), chunk.size(), fileLocation));
                        return chunk;
                    });
        return;
    }
    case EntryType::directory:
        appendEntry(withTrailingSlash(entryPath), info.type, info.size, info.modificationDate,
                    info.permissions, compressionMethod, bufferSize, progress,
                    [](int64_t, int64_t) { return std::vector<uint8_t>(); });
        return;
    case EntryType::symlink:
        appendEntry(entryPath, info.type, info.size, info.modificationDate, info.permissions,
                    compressionMethod, bufferSize, progress, [&](int64_t, int64_t) {
                        return readLinkTarget(AT_FDCWD, fileLocation.c_str(), fileLocation);
                    });
        return;
    }
}

} // namespace corvina::zip
