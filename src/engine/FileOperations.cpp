#include "engine/FileOperations.h"

#include <QRandomGenerator>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina {

SystemError::SystemError(int errnum, const std::filesystem::path& path)
    : m_errno(errnum)
    , m_path(path)
    , m_what(localizedDescription().toStdString()) {}

QString SystemError::localizedDescription() const {
    return QStringLiteral("%1: %2").arg(QString::fromStdString(m_path.string()),
                                        QString::fromLocal8Bit(std::strerror(m_errno)));
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        reset(other.release());
    }
    return *this;
}

int FileDescriptor::release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

void FileDescriptor::reset(int fd) {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
    m_fd = fd;
}

FileDescriptor openFile(const std::filesystem::path& path, int flags, mode_t mode) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        throw SystemError(errno, path);
    }
    return FileDescriptor(fd);
}

void writeAll(int fd, const void* data, std::size_t size, const std::filesystem::path& path) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw SystemError(errno, path);
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

namespace {

/// Repeats `readStep(at, wanted, done)` until `size` bytes are read or the
/// file ends, retrying interrupted reads.
template <typename ReadStep>
std::size_t readRepeatedly(void* data, std::size_t size, const std::filesystem::path& path,
                           ReadStep readStep) {
    auto* bytes = static_cast<char*>(data);
    std::size_t total = 0;
    while (total < size) {
        const ssize_t got = readStep(bytes + total, size - total, total);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw SystemError(errno, path);
        }
        if (got == 0) {
            break;
        }
        total += static_cast<std::size_t>(got);
    }
    return total;
}

} // namespace

std::size_t readAt(int fd, void* data, std::size_t size, uint64_t offset,
                   const std::filesystem::path& path) {
    return readRepeatedly(data, size, path, [&](char* at, std::size_t wanted, std::size_t done) {
        return ::pread(fd, at, wanted, static_cast<off_t>(offset + done));
    });
}

std::size_t readSome(int fd, void* data, std::size_t size, const std::filesystem::path& path) {
    return readRepeatedly(data, size, path, [&](char* at, std::size_t wanted, std::size_t) {
        return ::read(fd, at, wanted);
    });
}

void syncFile(int fd, const std::filesystem::path& path) {
    if (::fsync(fd) != 0) {
        throw SystemError(errno, path);
    }
}

void syncFolder(const std::filesystem::path& folder) {
    const FileDescriptor fd = openFile(folder, O_RDONLY | O_DIRECTORY);
    if (::fsync(fd.get()) != 0 && errno != EINVAL && errno != EOPNOTSUPP) {
        throw SystemError(errno, folder);
    }
}

namespace {

std::string randomHiddenName(const std::string& base) {
    return "." + base + "." +
           QString::number(QRandomGenerator::global()->generate64(), 36).toStdString();
}

std::string procPath(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

} // namespace

UnpublishedFile::UnpublishedFile(const std::filesystem::path& directory, mode_t mode)
    : m_directory(directory)
    , m_directoryFd(openFile(directory, O_RDONLY | O_DIRECTORY)) {
    const int fd = ::openat(m_directoryFd.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    if (fd >= 0) {
        m_fd.reset(fd);
        return;
    }
    // File systems without O_TMPFILE answer EOPNOTSUPP (or EISDIR on old
    // kernels); anything else is a real failure.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
        throw SystemError(errno, directory);
    }
    for (;;) {
        std::string name = randomHiddenName("unpublished");
        const int named = ::openat(m_directoryFd.get(), name.c_str(),
                                   O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
        if (named >= 0) {
            m_fd.reset(named);
            m_hiddenName = std::move(name);
            return;
        }
        if (errno != EEXIST) {
            throw SystemError(errno, directory);
        }
    }
}

UnpublishedFile::~UnpublishedFile() {
    if (!m_hiddenName.empty() && !m_published) {
        ::unlinkat(m_directoryFd.get(), m_hiddenName.c_str(), 0);
    }
}

std::filesystem::path UnpublishedFile::accessPath() const {
    if (!m_hiddenName.empty()) {
        return m_directory / m_hiddenName;
    }
    return procPath(m_fd.get());
}

void UnpublishedFile::publish(const std::string& name) {
    const std::filesystem::path target = m_directory / name;
    if (!m_hiddenName.empty()) {
        if (::renameat(m_directoryFd.get(), m_hiddenName.c_str(), m_directoryFd.get(),
                       name.c_str()) != 0) {
            throw SystemError(errno, target);
        }
        m_published = true;
        return;
    }
    // Link the unnamed file in under its name; when the name is taken, link
    // it under a hidden name and rename that over the existing item, so the
    // replacement is atomic.
    const std::string source = procPath(m_fd.get());
    if (::linkat(AT_FDCWD, source.c_str(), m_directoryFd.get(), name.c_str(), AT_SYMLINK_FOLLOW) ==
        0) {
        m_published = true;
        return;
    }
    if (errno != EEXIST) {
        throw SystemError(errno, target);
    }
    for (;;) {
        const std::string hidden = randomHiddenName(name);
        if (::linkat(AT_FDCWD, source.c_str(), m_directoryFd.get(), hidden.c_str(),
                     AT_SYMLINK_FOLLOW) != 0) {
            if (errno == EEXIST) {
                continue;
            }
            throw SystemError(errno, target);
        }
        if (::renameat(m_directoryFd.get(), hidden.c_str(), m_directoryFd.get(), name.c_str()) !=
            0) {
            const int error = errno;
            ::unlinkat(m_directoryFd.get(), hidden.c_str(), 0);
            throw SystemError(error, target);
        }
        m_published = true;
        return;
    }
}

} // namespace corvina
