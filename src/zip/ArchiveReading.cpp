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

/// Chunk size for extracting to a file: chunk boundaries are invisible there.
constexpr int64_t extractionChunkSize = 1 << 20;

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

} // namespace corvina::zip
