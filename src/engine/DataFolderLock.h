#pragma once

#include <QString>

#include <chrono>
#include <optional>

namespace corvina {

/// One action on a data folder at a time, across processes: creating a
/// backup of it, restoring into it and deleting it each hold this lock for
/// as long as they run. It is an flock on a hidden file beside the folder
/// (".<name>.lock" in the same parent, never inside the folder, which a
/// restore replaces), so the kernel releases it when its process dies and a
/// killed run never leaves a stale lock behind.
class DataFolderLock {
public:
    /// Takes the lock of `dataFolder` if nobody holds it; nothing when
    /// another action (of this process or another) holds it. Where no lock
    /// file can be made (a read-only or missing parent) the action can't
    /// change the folder either, and gets a lock that holds nothing.
    static std::optional<DataFolderLock> tryAcquire(const QString& dataFolder);

    /// tryAcquire, retried until the lock is free or `timeout` has passed.
    static std::optional<DataFolderLock> acquire(const QString& dataFolder,
                                                 std::chrono::milliseconds timeout);

    /// The lock file of `dataFolder`.
    static QString lockFilePath(const QString& dataFolder);

    DataFolderLock(DataFolderLock&& other) noexcept;
    DataFolderLock& operator=(DataFolderLock&& other) noexcept;
    DataFolderLock(const DataFolderLock&) = delete;
    DataFolderLock& operator=(const DataFolderLock&) = delete;
    ~DataFolderLock();

private:
    explicit DataFolderLock(int fd)
        : m_fd(fd) {}

    int m_fd = -1;
};

/// What the window and the tool tell a user whose action found the lock held.
QString dataFolderBusyText();

} // namespace corvina
