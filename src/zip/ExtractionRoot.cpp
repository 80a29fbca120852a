#include "zip/ExtractionRoot.h"

#include "zip/ItemInfo.h"

#include <QByteArrayList>

#include <cerrno>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace corvina::zip {

namespace {

/// Folder parts and the last part of a relative path; "" and "." parts are
/// dropped. An empty leaf addresses the root itself.
struct SplitPath {
    std::vector<std::string> parents;
    std::string leaf;
};

SplitPath splitRelative(const QByteArray& bytes, const std::filesystem::path& display) {
    // A name with a NUL byte in it ends there for the system: "..\0x" would
    // pass the checks below as a name of its own and then reach the parent.
    if (bytes.startsWith('/') || bytes.contains('\0')) {
        throw Error(ArchiveError::uncontainedEntryPath, display);
    }
    std::vector<std::string> parts;
    for (const QByteArray& part : bytes.split('/')) {
        if (part.isEmpty() || part == ".") {
            continue;
        }
        if (part == "..") {
            throw Error(ArchiveError::uncontainedEntryPath, display);
        }
        parts.emplace_back(part.constData(), static_cast<std::size_t>(part.size()));
    }
    SplitPath split;
    if (!parts.empty()) {
        split.leaf = std::move(parts.back());
        parts.pop_back();
    }
    split.parents = std::move(parts);
    return split;
}

/// Starts writing a restored file's data to the disk while the restore goes
/// on, in steps while the file grows and for its tail once it is complete,
/// so that the closing sync of the folder has little left to wait for. Small
/// files are left to that sync, which writes them together. Only a hint: a
/// failure shows in the closing sync.
class EarlyWriteback {
public:
    explicit EarlyWriteback(int fd)
        : m_fd(fd) {}

    void wrote(std::size_t bytes) {
        m_written += bytes;
        if (m_written - m_started >= step) {
            start();
        }
    }

    void finish() {
        if (m_written >= smallestStarted) {
            start();
        }
    }

private:
    static constexpr uint64_t step = uint64_t{8} << 20;
    static constexpr uint64_t smallestStarted = uint64_t{64} << 10;

    void start() {
        if (m_written > m_started) {
            ::sync_file_range(m_fd, static_cast<off_t>(m_started),
                              static_cast<off_t>(m_written - m_started), SYNC_FILE_RANGE_WRITE);
            m_started = m_written;
        }
    }

    int m_fd;
    uint64_t m_written = 0;
    uint64_t m_started = 0;
};

struct Fd {
    int fd = -1;
    explicit Fd(int value)
        : fd(value) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

int duplicate(int fd, const std::filesystem::path& display) {
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        throw Error::posix(errno, display);
    }
    return copy;
}

/// Fails with uncontainedEntryPath when `name` in `dirfd` is a link, else
/// with the POSIX error `error`.
[[noreturn]] void throwOpenFailure(int dirfd, const std::string& name, int error,
                                   const std::filesystem::path& display) {
    struct stat st {};
    if (error == ELOOP || error == EXDEV ||
        (fstatat(dirfd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode))) {
        throw Error(ArchiveError::uncontainedEntryPath, display);
    }
    throw Error::posix(error, display);
}

/// Opens the folder `parts` beneath `rootfd`, creating missing folders. No
/// part may be a link.
int openFolderBeneath(int rootfd, const std::vector<std::string>& parts,
                      const std::filesystem::path& display) {
    std::string joined;
    for (const std::string& part : parts) {
        if (!joined.empty()) {
            joined.push_back('/');
        }
        joined += part;
    }
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const auto fd =
        static_cast<int>(syscall(SYS_openat2, rootfd, joined.c_str(), &how, sizeof how));
    if (fd >= 0) {
        return fd;
    }
    const int error = errno;
    if (error == ELOOP || error == EXDEV) {
        throw Error(ArchiveError::uncontainedEntryPath, display);
    }
    if (error != ENOSYS && error != EAGAIN && error != ENOENT) {
        throw Error::posix(error, display);
    }
    // Part by part, refusing links at every step.
    Fd current(duplicate(rootfd, display));
    for (const std::string& part : parts) {
        if (mkdirat(current.fd, part.c_str(), 0777) != 0 && errno != EEXIST) {
            throw Error::posix(errno, display);
        }
        const int next =
            openat(current.fd, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            throwOpenFailure(current.fd, part, errno, display);
        }
        ::close(current.fd);
        current.fd = next;
    }
    const int result = current.fd;
    current.fd = -1;
    return result;
}

void setTimes(int fd, int64_t modificationDate, const std::filesystem::path& display) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {modificationDate, 0}};
    if (futimens(fd, times) != 0) {
        throw Error::posix(errno, display);
    }
}

void setAttributes(int fd, uint16_t permissions, int64_t modificationDate,
                   const std::filesystem::path& display) {
    if (fchmod(fd, permissions) != 0) {
        throw Error::posix(errno, display);
    }
    setTimes(fd, modificationDate, display);
}

} // namespace

ExtractionRoot::ExtractionRoot(const std::filesystem::path& root)
    : m_path(root) {
    m_fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_fd < 0) {
        throw Error::posix(errno, root);
    }
}

ExtractionRoot::~ExtractionRoot() {
    if (m_lastFolderFd >= 0) {
        ::close(m_lastFolderFd);
    }
    ::close(m_fd);
}

int ExtractionRoot::folderBeneath(const std::vector<std::string>& parts,
                                  const std::filesystem::path& display) {
    if (parts.empty()) {
        return m_fd;
    }
    if (m_lastFolderFd < 0 || parts != m_lastFolderParts) {
        const int fd = openFolderBeneath(m_fd, parts, display);
        if (m_lastFolderFd >= 0) {
            ::close(m_lastFolderFd);
        }
        m_lastFolderFd = fd;
        m_lastFolderParts = parts;
    }
    return m_lastFolderFd;
}

void ExtractionRoot::createDirectories(const QString& relativePath) {
    const QByteArray bytes = relativePath.toUtf8();
    const std::filesystem::path display = m_path / bytes.toStdString();
    SplitPath split = splitRelative(bytes, display);
    if (!split.leaf.empty()) {
        split.parents.push_back(split.leaf);
    }
    folderBeneath(split.parents, display);
}

void ExtractionRoot::createSymbolicLink(const QString& relativePath, const QByteArray& target) {
    const QByteArray bytes = relativePath.toUtf8();
    const std::filesystem::path display = m_path / bytes.toStdString();
    const SplitPath split = splitRelative(bytes, display);
    if (split.leaf.empty()) {
        throw Error(FileError::fileWriteFileExists, display, EEXIST);
    }
    if (symlinkat(target.constData(), folderBeneath(split.parents, display), split.leaf.c_str()) !=
        0) {
        if (errno == EEXIST) {
            throw Error(FileError::fileWriteFileExists, display, EEXIST);
        }
        throw Error::posix(errno, display);
    }
}

uint32_t ExtractionRoot::extractEntry(Archive& archive, const Entry& entry,
                                      const QString& relativePath, int64_t bufferSize,
                                      bool skipCRC32, bool allowUncontainedSymlinks,
                                      Progress* progress) {
    if (bufferSize < 1) {
        throw Error(ArchiveError::invalidBufferSize);
    }
    const QByteArray bytes = relativePath.toUtf8();
    const std::filesystem::path display = m_path / bytes.toStdString();
    const SplitPath split = splitRelative(bytes, display);
    const EntryType type = entry.entryType();
    const uint16_t permissions = entry.entryPermissions();
    const int64_t modificationDate = entry.entryModificationDate();

    if (split.leaf.empty()) {
        if (type != EntryType::directory) {
            throw Error(FileError::fileWriteFileExists, display, EEXIST);
        }
        const uint32_t crc = archive.readEntry(entry, bufferSize, skipCRC32, progress, [](auto) {});
        setAttributes(m_fd, permissions, modificationDate, display);
        return crc;
    }

    const int parentFd = folderBeneath(split.parents, display);
    const char* leaf = split.leaf.c_str();
    struct stat st {};
    switch (type) {
    case EntryType::file: {
        const int fd =
            openat(parentFd, leaf, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) {
                throw Error(FileError::fileWriteFileExists, display, EEXIST);
            }
            throw Error::posix(errno, display);
        }
        Fd file(fd);
        EarlyWriteback writeback{fd};
        // Stored data is written in pieces of 256 KiB: small enough to stay
        // in the processor's cache while the kernel copies it, which larger
        // writes measurably did not.
        const uint32_t crc =
            archive.readEntryData(entry, bufferSize, std::max<int64_t>(bufferSize, 256 << 10),
                                  skipCRC32, progress, [&](std::span<const uint8_t> chunk) {
                                      writeFully(fd, chunk.data(), chunk.size(), display);
                                      writeback.wrote(chunk.size());
                                  });
        writeback.finish();
        setAttributes(fd, permissions, modificationDate, display);
        return crc;
    }
    case EntryType::directory: {
        int folderFd = -1;
        const uint32_t crc = archive.readEntry(
            entry, bufferSize, skipCRC32, progress, [&](std::span<const uint8_t>) {
                if (mkdirat(parentFd, leaf, 0777) != 0 && errno != EEXIST) {
                    throw Error::posix(errno, display);
                }
                folderFd = openat(parentFd, leaf, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
                if (folderFd < 0) {
                    throwOpenFailure(parentFd, split.leaf, errno, display);
                }
            });
        Fd folder(folderFd);
        setAttributes(folder.fd, permissions, modificationDate, display);
        return crc;
    }
    case EntryType::symlink: {
        if (fstatat(parentFd, leaf, &st, AT_SYMLINK_NOFOLLOW) == 0) {
            throw Error(FileError::fileWriteFileExists, display, EEXIST);
        }
        const uint32_t crc = archive.readEntry(
            entry, bufferSize, skipCRC32, progress, [&](std::span<const uint8_t> target) {
                if (decodeUtf8OrEmpty(target).isNull() && !target.empty()) {
                    throw Error(ArchiveError::invalidEntryPath, display);
                }
                const std::string text(target.begin(), target.end());
                if (!allowUncontainedSymlinks &&
                    !isContainedLinkTarget(display.parent_path(), text)) {
                    throw Error(ArchiveError::uncontainedSymlink, display);
                }
                if (symlinkat(text.c_str(), parentFd, leaf) != 0) {
                    throw Error::posix(errno, display);
                }
            });
        if (fstatat(parentFd, leaf, &st, AT_SYMLINK_NOFOLLOW) != 0) {
            throw Error::posix(errno, display);
        }
        const struct timespec times[2] = {st.st_atim, {modificationDate, 0}};
        if (utimensat(parentFd, leaf, times, AT_SYMLINK_NOFOLLOW) != 0) {
            throw Error::posix(errno, display);
        }
        return crc;
    }
    }
    return 0;
}

} // namespace corvina::zip
