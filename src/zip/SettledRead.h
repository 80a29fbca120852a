#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include <sys/types.h>
#include <time.h>

namespace corvina::zip {

/// What tells that a file changed while it was read: its size and its
/// modification and status change times.
struct FileState {
    off_t size = 0;
    timespec modified{};
    timespec changed{};

    bool operator==(const FileState& other) const;
};

/// The state of the open file `fd`. Throws Error.
FileState fileState(int fd, const std::filesystem::path& location);

/// Whether the file was written within the last few seconds: a file in use
/// (a database the companion keeps open) rather than one at rest.
bool isInUse(const FileState& state);

/// Waits a little longer before each further attempt to read a file in use.
void pauseBeforeAttempt(int attempt);

/// The checksum of the first `limit` bytes of `fd`, read from its start
/// through `chunk` (sized on first use). Throws Error.
uint32_t checksumOf(int fd, const std::filesystem::path& location, uint64_t limit,
                    std::vector<uint8_t>& chunk);

/// A shared record lock over the whole of an open file, held while a file in
/// use is read. A program that locks its file before it writes (SQLite takes
/// a write lock for every transaction) then waits for the read, and the read
/// never falls in the middle of one of its transactions: two reads that agree
/// can otherwise both see the same half-written state while its writer is
/// held up. A file that nobody locks is read as it is; a lock that can't be
/// had within a second is not waited for any longer.
class SharedReadLock {
public:
    explicit SharedReadLock(int fd);
    ~SharedReadLock();
    SharedReadLock(const SharedReadLock&) = delete;
    SharedReadLock& operator=(const SharedReadLock&) = delete;

private:
    int m_fd;
    bool m_held = false;
};

/// A copy of the first `limit` bytes of a file in use, taken while the file
/// held still, in a file without a name: the one version that a large entry,
/// which can't be read a second time once its data has gone on, is packed
/// from. Owns its descriptor.
class SettledCopy {
public:
    /// Copies `fd` into an unnamed file of the temporary folder until two
    /// reads agree and the file's state stayed the same, a few times at most;
    /// the last copy stands. isValid() is false where no unnamed file can be
    /// made. Throws Error on a read failure.
    SettledCopy(int fd, const std::filesystem::path& location, uint64_t limit);
    ~SettledCopy();
    SettledCopy(const SettledCopy&) = delete;
    SettledCopy& operator=(const SettledCopy&) = delete;

    [[nodiscard]] bool isValid() const { return m_fd >= 0; }
    /// The copy, positioned at its start.
    [[nodiscard]] int fd() const { return m_fd; }
    /// Whether the file changed during a copy.
    [[nodiscard]] bool sawChange() const { return m_sawChange; }

private:
    int m_fd = -1;
    bool m_sawChange = false;
};

} // namespace corvina::zip
