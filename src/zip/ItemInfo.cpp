#include "zip/ItemInfo.h"

#include "zip/Error.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

ItemInfo inspectItem(int dirfd, const char* name, const std::filesystem::path& displayPath,
                     bool checkFileReadable) {
    struct stat st {};
    if (fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        throw Error(FileError::fileReadNoSuchFile, displayPath, errno);
    }
    ItemInfo info;
    switch (st.st_mode & S_IFMT) {
    case S_IFDIR:
        info.type = EntryType::directory;
        break;
    case S_IFLNK:
        info.type = EntryType::symlink;
        break;
    default:
        info.type = EntryType::file;
        break;
    }
    const bool check =
        info.type == EntryType::directory || (info.type == EntryType::file && checkFileReadable);
    if (check && faccessat(dirfd, name, R_OK, 0) != 0) {
        throw Error(FileError::fileReadNoPermission, displayPath, errno);
    }
    info.modificationDate =
        static_cast<double>(st.st_mtim.tv_sec) + static_cast<double>(st.st_mtim.tv_nsec) / 1e9;
    info.size = info.type == EntryType::directory ? 0 : static_cast<int64_t>(st.st_size);
    if (info.size < 0) {
        throw Error(FileError::fileReadTooLarge, displayPath);
    }
    info.permissions = static_cast<uint16_t>(st.st_mode & 0xFFFF);
    return info;
}

std::vector<uint8_t> readLinkTarget(int dirfd, const char* name,
                                    const std::filesystem::path& displayPath) {
    std::vector<uint8_t> target(256);
    for (;;) {
        const ssize_t n =
            readlinkat(dirfd, name, reinterpret_cast<char*>(target.data()), target.size());
        if (n < 0) {
            throw Error::posix(errno, displayPath);
        }
        if (static_cast<std::size_t>(n) < target.size()) {
            target.resize(static_cast<std::size_t>(n));
            return target;
        }
        target.resize(target.size() * 2);
    }
}

void validateEntryPath(std::string_view path) {
    // Name, ZIP64 extra field (at most 28 bytes) and comment share 16 bits.
    if (path.size() > 0xFFFF - 28) {
        throw Error(ArchiveError::invalidEntryPath);
    }
    const auto* s = reinterpret_cast<const unsigned char*>(path.data());
    const std::size_t n = path.size();
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        uint32_t code = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            code = c & 0x07;
        } else {
            throw Error(ArchiveError::invalidEntryPath);
        }
        if (n - i < length) {
            throw Error(ArchiveError::invalidEntryPath);
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) {
                throw Error(ArchiveError::invalidEntryPath);
            }
            code = (code << 6) | (s[i + k] & 0x3F);
        }
        const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
        if (overlong || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            throw Error(ArchiveError::invalidEntryPath);
        }
        i += length;
    }
}

/// True when `target`, resolved against `root`, stays beneath `root`.
bool isContainedLinkTarget(const std::filesystem::path& root, const std::string& target) {
    std::string rootText = root.lexically_normal().string();
    if (rootText.empty() || rootText.back() != '/') {
        rootText.push_back('/');
    }
    std::string resolved = (!target.empty() && target.front() == '/') ? target : rootText + target;
    std::string collapsed;
    collapsed.reserve(resolved.size());
    for (char c : resolved) {
        if (c == '/' && !collapsed.empty() && collapsed.back() == '/') {
            continue;
        }
        collapsed.push_back(c);
    }
    const std::string normal = std::filesystem::path(collapsed).lexically_normal().string();
    if (normal.compare(0, rootText.size(), rootText) != 0) {
        return false;
    }
    // The kernel takes ".." after a link from where the link leads, not from
    // the folder the text names: "s/.." with s a link to "." is the root's
    // parent. Any part may be such a link, now or once a later entry makes
    // it, so ".." may only come first, where it climbs real folders.
    bool descended = false;
    for (std::size_t begin = 0; begin <= target.size();) {
        const std::size_t end = std::min(target.find('/', begin), target.size());
        const std::string_view part = std::string_view(target).substr(begin, end - begin);
        if (part == "..") {
            if (descended) {
                return false;
            }
        } else if (!part.empty() && part != ".") {
            descended = true;
        }
        begin = end + 1;
    }
    return true;
}

std::size_t readFully(int fd, uint8_t* into, std::size_t count,
                      const std::filesystem::path& displayPath) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t n = ::read(fd, into + done, count - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw Error(DataError::unreadableFile, displayPath, errno);
        }
        if (n == 0) {
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    return done;
}

void writeFully(int fd, const uint8_t* bytes, std::size_t count,
                const std::filesystem::path& displayPath) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t n = ::write(fd, bytes + done, count - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw Error(DataError::unwritableFile, displayPath, errno);
        }
        done += static_cast<std::size_t>(n);
    }
}

} // namespace corvina::zip
