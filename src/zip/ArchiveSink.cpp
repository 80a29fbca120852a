#include "zip/ArchiveSink.h"

#include "zip/Error.h"
#include "zip/ItemInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace corvina::zip {

FileSink::FileSink(std::filesystem::path path)
    : m_path(std::move(path)) {
    m_fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        if (errno == EEXIST) {
            throw Error(FileError::fileWriteFileExists, m_path, errno);
        }
        throw Error::posix(errno, m_path);
    }
}

FileSink::~FileSink() {
    ::close(m_fd);
}

void FileSink::take(ByteBuffer& buffer) {
    writeFully(m_fd, buffer.data(), buffer.size(), m_path);
    buffer.clear();
}

void FileSink::rewrite(uint64_t offset, std::span<const uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(m_fd, bytes.data() + done, bytes.size() - done,
                                   static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw Error(DataError::unwritableFile, m_path, errno);
        }
        done += static_cast<std::size_t>(n);
    }
}

void FileSink::truncate(uint64_t size) {
    if (::ftruncate(m_fd, static_cast<off_t>(size)) != 0 ||
        ::lseek(m_fd, static_cast<off_t>(size), SEEK_SET) < 0) {
        throw Error(DataError::unwritableFile, m_path, errno);
    }
}

} // namespace corvina::zip
