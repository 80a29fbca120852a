#include "zip/Archive.h"

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

namespace {

constexpr uint64_t maxFileOffset = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
constexpr std::size_t streamBufferSize = 16384;
/// Chunk size for extracting to a file: chunk boundaries are invisible there.
constexpr int64_t extractionChunkSize = 1 << 20;

struct FileCloser {
    std::FILE* file;
    ~FileCloser() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
};

struct FdCloser {
    int fd;
    ~FdCloser() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

uint32_t crcOf(uint32_t crc, std::span<const uint8_t> bytes) {
    return continueCrc32(crc, bytes);
}

/// Reads with fread semantics from a stream: a read error is
/// DataError.unreadableFile, a short count at the end of the file is not.
std::size_t freadChecked(std::FILE* stream, uint8_t* into, std::size_t count,
                         const std::filesystem::path& path) {
    const std::size_t got = std::fread(into, 1, count, stream);
    if (std::ferror(stream) > 0) {
        throw Error(DataError::unreadableFile, path, errno);
    }
    return got;
}

std::string withTrailingSlash(std::string path) {
    if (path.empty() || path.back() != '/') {
        path.push_back('/');
    }
    return path;
}

bool itemExists(const std::filesystem::path& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

void setItemAttributes(const std::filesystem::path& path, EntryType type, uint16_t permissions,
                       int64_t modificationDate) {
    if (type == EntryType::symlink) {
        // Links have no mode of their own on Linux; only the times are set,
        // keeping the access time.
        struct stat st {};
        if (lstat(path.c_str(), &st) != 0) {
            throw Error::posix(errno, path);
        }
        const struct timespec times[2] = {st.st_atim, {modificationDate, 0}};
        if (utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) {
            throw Error::posix(errno, path);
        }
        return;
    }
    if (chmod(path.c_str(), permissions) != 0) {
        throw Error::posix(errno, path);
    }
    const struct timespec times[2] = {{0, UTIME_OMIT}, {modificationDate, 0}};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
        throw Error::posix(errno, path);
    }
}

void createDirectoriesOrThrow(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        throw Error::posix(error.value(), path);
    }
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

// ---------------------------------------------------------------- reading

/// Bytes from the stream position to the end of the file, for capping
/// buffers whose size comes from a (possibly damaged) record.
uint64_t Archive::remainingInFile() const {
    const off_t position = ftello(m_archiveFile);
    uint64_t size = m_streamSize.value_or(0);
    struct stat st {};
    if (!m_streamSize) {
        if (fstat(fileno(m_archiveFile), &st) != 0) {
            return 0;
        }
        size = static_cast<uint64_t>(st.st_size);
    }
    if (position < 0 || size <= static_cast<uint64_t>(position)) {
        return 0;
    }
    return size - static_cast<uint64_t>(position);
}

void Archive::seekTo(uint64_t offset) {
    if (offset > maxFileOffset ||
        fseeko(m_archiveFile, static_cast<off_t>(offset), SEEK_SET) != 0) {
        throw Error(DataError::unreadableFile, m_url, errno);
    }
}

std::vector<uint8_t> Archive::readFileChunk(std::size_t count) {
    // A size read from a damaged record must not become an absurd buffer:
    // no read can return more than the file still holds.
    if (count > streamBufferSize) {
        count = static_cast<std::size_t>(std::min<uint64_t>(count, remainingInFile()));
    }
    std::vector<uint8_t> bytes(count);
    bytes.resize(freadChecked(m_archiveFile, bytes.data(), count, m_url));
    return bytes;
}

std::optional<Entry> Archive::readEntryAt(uint64_t position) {
    const DataProvider provider = [this](std::size_t count) -> std::optional<std::vector<uint8_t>> {
        try {
            return readFileChunk(count);
        } catch (const Error&) {
            return std::nullopt;
        }
    };
    try {
        seekTo(position);
        auto central = CentralDirectoryStructure::parse(
            readFileChunk(CentralDirectoryStructure::fixedSize), provider);
        if (!central) {
            return std::nullopt;
        }
        seekTo(central->effectiveLocalHeaderOffset());
        auto local = LocalFileHeader::parse(readFileChunk(LocalFileHeader::fixedSize), provider);
        if (!local) {
            return std::nullopt;
        }
        Entry entry{std::move(*central), std::move(*local), std::nullopt, std::nullopt};
        const CentralDirectoryStructure& c = entry.centralDirectoryStructure;
        if (c.usesDataDescriptorFlag()) {
            const uint64_t dataSize = c.compressionMethod != 0 ? c.effectiveCompressedSize()
                                                               : c.effectiveUncompressedSize();
            uint64_t offset = 0;
            const uint64_t header = LocalFileHeader::fixedSize +
                                    uint64_t{entry.localFileHeader.fileNameLength} +
                                    entry.localFileHeader.extraFieldLength;
            if (!__builtin_add_overflow(c.effectiveLocalHeaderOffset(), header, &offset) &&
                !__builtin_add_overflow(offset, dataSize, &offset) && offset <= maxFileOffset) {
                try {
                    seekTo(offset);
                    if (c.isZip64()) {
                        entry.zip64DataDescriptor = ZIP64DataDescriptor::parse(
                            readFileChunk(ZIP64DataDescriptor::fixedSize));
                    } else {
                        entry.dataDescriptor =
                            DataDescriptor::parse(readFileChunk(DataDescriptor::fixedSize));
                    }
                } catch (const Error&) {
                    // An unreadable descriptor is simply absent.
                }
            }
        }
        if (c.isEncrypted()) {
            return std::nullopt;
        }
        return entry;
    } catch (const Error&) {
        return std::nullopt;
    }
}

Archive::EntrySequence::iterator Archive::EntrySequence::begin() const {
    return iterator(m_archive, m_archive->m_endRecords.totalNumberOfEntries(),
                    m_archive->m_endRecords.offsetToStartOfCentralDirectory());
}

Archive::EntrySequence::iterator::iterator(Archive* archive, uint64_t count, uint64_t position)
    : m_archive(archive)
    , m_count(count)
    , m_position(position) {
    advance();
}

Archive::EntrySequence::iterator& Archive::EntrySequence::iterator::operator++() {
    advance();
    return *this;
}

void Archive::EntrySequence::iterator::advance() {
    m_current.reset();
    if (m_index >= m_count) {
        return;
    }
    m_current = m_archive->readEntryAt(m_position);
    if (!m_current) {
        return;
    }
    if (__builtin_add_overflow(m_position, m_current->centralDirectoryStructure.recordSize(),
                               &m_position)) {
        m_count = m_index + 1;
    }
    ++m_index;
}

std::optional<Entry> Archive::entry(const QString& path) {
    for (const Entry& candidate : entrySequence()) {
        if (candidate.entryPath() == path) {
            return candidate;
        }
    }
    return std::nullopt;
}

uint32_t Archive::readEntry(const Entry& entry, int64_t bufferSize, bool skipCRC32,
                            Progress* progress, const EntryChunkConsumer& consumer) {
    return readEntryData(entry, bufferSize, bufferSize, skipCRC32, progress, consumer);
}

uint32_t Archive::readEntryData(const Entry& entry, int64_t bufferSize, int64_t storedChunkSize,
                                bool skipCRC32, Progress* progress,
                                const EntryChunkConsumer& consumer) {
    if (bufferSize < 1) {
        throw Error(ArchiveError::invalidBufferSize);
    }
    seekTo(entry.entryDataOffset());
    const EntryType type = entry.entryType();
    if (progress != nullptr) {
        progress->setTotalUnitCount(type == EntryType::directory
                                        ? 1
                                        : static_cast<int64_t>(std::min<uint64_t>(
                                              entry.entryUncompressedSize(), INT64_MAX)));
    }
    const auto deliver = [&](std::span<const uint8_t> chunk) {
        if (progress != nullptr && progress->isCancelled()) {
            throw Error(ArchiveError::cancelledOperation);
        }
        consumer(chunk);
        if (progress != nullptr) {
            progress->addCompletedUnitCount(static_cast<int64_t>(chunk.size()));
        }
    };

    switch (type) {
    case EntryType::directory:
        consumer({});
        if (progress != nullptr) {
            progress->setCompletedUnitCount(progress->totalUnitCount());
        }
        return 0;
    case EntryType::symlink: {
        const auto target = readFileChunk(entry.localFileHeader.compressedSize);
        const uint32_t crc = crcOf(0, target);
        consumer(target);
        if (progress != nullptr) {
            progress->setCompletedUnitCount(progress->totalUnitCount());
        }
        return crc;
    }
    case EntryType::file:
        break;
    }

    const CentralDirectoryStructure& central = entry.centralDirectoryStructure;
    switch (entry.localFileHeader.compressionMethod) {
    case static_cast<uint16_t>(CompressionMethod::none): {
        const uint64_t size = central.effectiveUncompressedSize();
        if (size < 1) {
            deliver({});
            return 0;
        }
        // The chunk never needs to exceed what the file still holds: a larger
        // read would return the same bytes.
        const uint64_t chunk = std::min<uint64_t>({static_cast<uint64_t>(storedChunkSize), size,
                                                   std::max<uint64_t>(1, remainingInFile())});
        std::vector<uint8_t> buffer(static_cast<std::size_t>(chunk));
        uint32_t crc = 0;
        for (uint64_t position = 0; position < size;) {
            const auto wanted = static_cast<std::size_t>(std::min(size - position, chunk));
            const std::size_t got = freadChecked(m_archiveFile, buffer.data(), wanted, m_url);
            const std::span<const uint8_t> piece(buffer.data(), got);
            deliver(piece);
            if (!skipCRC32) {
                crc = crcOf(crc, piece);
            }
            position += wanted;
            // Past the end of the file every further chunk would be empty.
            if (got < wanted) {
                break;
            }
        }
        return crc;
    }
    case static_cast<uint16_t>(CompressionMethod::deflate): {
        const StreamSource source = [this](std::span<uint8_t> into) {
            return freadChecked(m_archiveFile, into.data(), into.size(), m_url);
        };
        return inflateStream(central.effectiveCompressedSize(), bufferSize, skipCRC32, source,
                             deliver);
    }
    default:
        throw Error(ArchiveError::invalidCompressionMethod, m_url);
    }
}

uint32_t Archive::extractEntry(const Entry& entry, const std::filesystem::path& destination,
                               int64_t bufferSize, bool skipCRC32, bool allowUncontainedSymlinks,
                               Progress* progress) {
    if (bufferSize < 1) {
        throw Error(ArchiveError::invalidBufferSize);
    }
    const EntryType type = entry.entryType();
    uint32_t crc = 0;
    switch (type) {
    case EntryType::file: {
        if (itemExists(destination)) {
            throw Error(FileError::fileWriteFileExists, destination, EEXIST);
        }
        createDirectoriesOrThrow(destination.parent_path());
        const int fd = ::open(destination.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0) {
            throw Error::posix(errno, destination);
        }
        FdCloser closer{fd};
        crc = readEntryData(entry, bufferSize, std::max(bufferSize, extractionChunkSize), skipCRC32,
                            progress, [&](std::span<const uint8_t> chunk) {
                                writeFully(fd, chunk.data(), chunk.size(), destination);
                            });
        break;
    }
    case EntryType::directory:
        crc = readEntry(entry, bufferSize, skipCRC32, progress,
                        [&](std::span<const uint8_t>) { createDirectoriesOrThrow(destination); });
        break;
    case EntryType::symlink:
        if (itemExists(destination)) {
            throw Error(FileError::fileWriteFileExists, destination, EEXIST);
        }
        crc =
            readEntry(entry, bufferSize, skipCRC32, progress, [&](std::span<const uint8_t> bytes) {
                if (decodeUtf8OrEmpty(bytes).isNull() && !bytes.empty()) {
                    throw Error(ArchiveError::invalidEntryPath, destination);
                }
                const std::string target(bytes.begin(), bytes.end());
                if (!allowUncontainedSymlinks &&
                    !isContainedLinkTarget(destination.parent_path(), target)) {
                    throw Error(ArchiveError::uncontainedSymlink, destination);
                }
                createDirectoriesOrThrow(destination.parent_path());
                if (symlink(target.c_str(), destination.c_str()) != 0) {
                    throw Error::posix(errno, destination);
                }
            });
        break;
    }
    setItemAttributes(destination, type, entry.entryPermissions(), entry.entryModificationDate());
    return crc;
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
