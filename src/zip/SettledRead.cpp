#include "zip/SettledRead.h"

#include "zip/CompressionStream.h"
#include "zip/Error.h"
#include "zip/ItemInfo.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

namespace {

/// How recent a write makes a file one in use.
constexpr time_t inUseSeconds = 5;
constexpr int copyAttempts = 10;
constexpr std::size_t copyChunk = 1 << 20;

bool sameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

void rewind(int fd, const std::filesystem::path& location) {
    if (::lseek(fd, 0, SEEK_SET) < 0) {
        throw Error(DataError::unreadableFile, location, errno);
    }
}

} // namespace

namespace {

/// Reads the first `limit` bytes of `fd` from its start through `chunk`,
/// handing each piece to `take`, and gives their checksum; nothing when
/// `take` refuses a piece. Throws Error on a read failure.
template <typename Take>
std::optional<uint32_t> readThrough(int fd, const std::filesystem::path& location, uint64_t limit,
                                    std::vector<uint8_t>& chunk, Take take) {
    rewind(fd, location);
    uint32_t crc = 0;
    for (uint64_t done = 0; done < limit;) {
        const std::size_t wanted = std::min<uint64_t>(chunk.size(), limit - done);
        const std::size_t got = readFully(fd, chunk.data(), wanted, location);
        crc = continueCrc32(crc, {chunk.data(), got});
        if (!take(got)) {
            return std::nullopt;
        }
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return crc;
}

} // namespace

uint32_t checksumOf(int fd, const std::filesystem::path& location, uint64_t limit,
                    std::vector<uint8_t>& chunk) {
    if (chunk.empty()) {
        chunk.resize(copyChunk);
    }
    return *readThrough(fd, location, limit, chunk, [](std::size_t) { return true; });
}

void pauseBeforeAttempt(int attempt) {
    // A writer's burst passes; a later read may fall between two.
    std::this_thread::sleep_for(std::chrono::milliseconds(10) * attempt);
}

bool FileState::operator==(const FileState& other) const {
    return size == other.size && sameTime(modified, other.modified) &&
           sameTime(changed, other.changed);
}

FileState fileState(int fd, const std::filesystem::path& location) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        throw Error(DataError::unreadableFile, location, errno);
    }
    return {st.st_size, st.st_mtim, st.st_ctim};
}

bool isInUse(const FileState& state) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const time_t latest = std::max(state.modified.tv_sec, state.changed.tv_sec);
    return latest > now.tv_sec - inUseSeconds;
}

SharedReadLock::SharedReadLock(int fd)
    : m_fd(fd) {
    // Open file description locks: released with this object, not with any
    // other descriptor of the file this process may close meanwhile.
    struct flock whole {};
    whole.l_type = F_RDLCK;
    whole.l_whence = SEEK_SET;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (!(m_held = ::fcntl(fd, F_OFD_SETLK, &whole) == 0) &&
           (errno == EAGAIN || errno == EACCES) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

SharedReadLock::~SharedReadLock() {
    if (m_held) {
        struct flock whole {};
        whole.l_type = F_UNLCK;
        whole.l_whence = SEEK_SET;
        ::fcntl(m_fd, F_OFD_SETLK, &whole);
    }
}

SettledCopy::SettledCopy(int fd, const std::filesystem::path& location, uint64_t limit) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    m_fd = error ? -1 : ::open(folder.c_str(), O_RDWR | O_TMPFILE | O_EXCL | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        return;
    }
    std::vector<uint8_t> chunk(copyChunk);
    // Copies the file and returns the checksum of what was read; nothing
    // when the copy can't be written.
    const auto copyOnce = [&] {
        return readThrough(fd, location, limit, chunk, [&](std::size_t got) {
            for (std::size_t written = 0; written < got;) {
                const ssize_t n = ::write(m_fd, chunk.data() + written, got - written);
                if (n < 0 && errno != EINTR) {
                    return false;
                }
                written += n > 0 ? static_cast<std::size_t>(n) : 0;
            }
            return true;
        });
    };
    for (int attempt = 0; attempt < copyAttempts; ++attempt) {
        pauseBeforeAttempt(attempt);
        const SharedReadLock lock(fd);
        const FileState before = fileState(fd, location);
        std::optional<uint32_t> copied;
        if (::ftruncate(m_fd, 0) == 0 && ::lseek(m_fd, 0, SEEK_SET) == 0) {
            copied = copyOnce();
        }
        if (!copied) {
            // No room for a copy (a full temporary folder): the file is read
            // as it is.
            ::close(m_fd);
            m_fd = -1;
            rewind(fd, location);
            return;
        }
        // A write that began before the copy leaves the times as they were:
        // a second read that agrees tells that the copy is one version.
        const bool settled =
            checksumOf(fd, location, limit, chunk) == copied && fileState(fd, location) == before;
        m_sawChange = m_sawChange || !settled;
        if (settled) {
            break;
        }
    }
    rewind(m_fd, location);
}

SettledCopy::~SettledCopy() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

} // namespace corvina::zip
