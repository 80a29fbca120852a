#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace corvina {

/// A failed system call: its errno and the path it concerned.
class SystemError : public std::exception {
public:
    SystemError(int errnum, const std::filesystem::path& path);

    [[nodiscard]] int code() const { return m_errno; }
    [[nodiscard]] QString localizedDescription() const;
    [[nodiscard]] const char* what() const noexcept override { return m_what.c_str(); }

private:
    int m_errno;
    std::filesystem::path m_path;
    std::string m_what;
};

/// An owned file descriptor, closed on destruction.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : m_fd(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_fd(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool isValid() const { return m_fd >= 0; }
    int release();
    void reset(int fd = -1);

private:
    int m_fd = -1;
};

/// Opens `path` with `flags` (O_CLOEXEC added). Throws SystemError.
[[nodiscard]] FileDescriptor openFile(const std::filesystem::path& path, int flags,
                                      mode_t mode = 0);

/// Writes all of `size` bytes, retrying short writes. Throws SystemError.
void writeAll(int fd, const void* data, std::size_t size, const std::filesystem::path& path);

/// Reads up to `size` bytes at `offset`, fewer only at the end of the file.
/// Throws SystemError.
std::size_t readAt(int fd, void* data, std::size_t size, uint64_t offset,
                   const std::filesystem::path& path);

/// Reads up to `size` bytes from the current position, fewer only at the end
/// of the file. Throws SystemError.
std::size_t readSome(int fd, void* data, std::size_t size, const std::filesystem::path& path);

/// fsync of the descriptor. Throws SystemError.
void syncFile(int fd, const std::filesystem::path& path);

/// Makes the names in `folder` durable (fsync of the folder). File systems
/// that can't sync a folder (network and FUSE ones answer EINVAL or
/// EOPNOTSUPP) write names through on their own, so that refusal is no
/// failure. Throws SystemError on any other.
void syncFolder(const std::filesystem::path& folder);

/// A file without a name in `directory` (O_TMPFILE), or where the file system
/// has none, a hidden file with a random name that is removed again unless it
/// is published. The content stays invisible under the final name until
/// publish().
class UnpublishedFile {
public:
    /// Creates the file with `mode` (the umask applies). Throws SystemError.
    UnpublishedFile(const std::filesystem::path& directory, mode_t mode);
    ~UnpublishedFile();
    UnpublishedFile(const UnpublishedFile&) = delete;
    UnpublishedFile& operator=(const UnpublishedFile&) = delete;

    [[nodiscard]] int fd() const { return m_fd.get(); }
    /// A path that opens this file again while it is unpublished.
    [[nodiscard]] std::filesystem::path accessPath() const;

    /// Gives the file the name `name` in its directory, replacing an item of
    /// that name that is not a folder. Throws SystemError.
    void publish(const std::string& name);

private:
    std::filesystem::path m_directory;
    FileDescriptor m_directoryFd;
    FileDescriptor m_fd;
    /// Set for the hidden named fallback until it is published.
    std::string m_hiddenName;
    bool m_published = false;
};

} // namespace corvina
