#include "zip/Archive.h"
#include "zip/ArchiveWriter.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina::zip {

namespace {

/// Lists `dirfd` depth first, each folder ahead of its contents; takes
/// ownership of `dirfd`.
void listFolder(int dirfd, const std::string& prefix, const std::filesystem::path& folderPath,
                std::vector<std::string>& out) {
    DIR* dir = fdopendir(dirfd);
    if (dir == nullptr) {
        const int error = errno;
        ::close(dirfd);
        throw Error::posix(error, folderPath);
    }
    struct Closer {
        DIR* dir;
        ~Closer() { closedir(dir); }
    } closer{dir};
    for (;;) {
        errno = 0;
        const dirent* item = readdir(dir);
        if (item == nullptr) {
            if (errno != 0) {
                throw Error::posix(errno, folderPath);
            }
            return;
        }
        const char* name = item->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
            continue;
        }
        std::string subpath = prefix.empty() ? std::string(name) : prefix + '/' + name;
        bool isFolder = item->d_type == DT_DIR;
        if (item->d_type == DT_UNKNOWN) {
            struct stat st {};
            isFolder = fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
        }
        out.push_back(subpath);
        if (isFolder) {
            const int child = openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0) {
                throw Error::posix(errno, folderPath / name);
            }
            listFolder(child, subpath, folderPath / name, out);
        }
    }
}

/// The folder of the items being packed, kept open from one item to the
/// next (a folder's items follow each other): the kernel then looks up one
/// name per item instead of its whole path. Where the folder can't be
/// opened, AT_FDCWD and the whole path let the add report what is wrong.
class FolderCursor {
public:
    FolderCursor() = default;
    ~FolderCursor() {
        if (m_fd != AT_FDCWD) {
            ::close(m_fd);
        }
    }
    FolderCursor(const FolderCursor&) = delete;
    FolderCursor& operator=(const FolderCursor&) = delete;

    int at(const std::filesystem::path& folder) {
        if (m_fd == AT_FDCWD || folder != m_folder) {
            if (m_fd != AT_FDCWD) {
                ::close(m_fd);
            }
            const int fd = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            m_fd = fd < 0 ? AT_FDCWD : fd;
            m_folder = folder;
        }
        return m_fd;
    }

private:
    std::filesystem::path m_folder;
    int m_fd = AT_FDCWD;
};

/// Units one item stands for in the progress of a pack.
int64_t unitCount(const std::filesystem::path& location) {
    struct stat st {};
    if (lstat(location.c_str(), &st) != 0) {
        return -1;
    }
    return S_ISDIR(st.st_mode) ? 1 : static_cast<int64_t>(st.st_size);
}

} // namespace

std::vector<std::string> directorySubpaths(const std::filesystem::path& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        throw Error::posix(errno, folder);
    }
    std::vector<std::string> subpaths;
    listFolder(fd, {}, folder, subpaths);
    return subpaths;
}

namespace {

std::vector<std::filesystem::path>
packInto(ArchiveWriter& writer, const std::filesystem::path& source, bool keepParentFolder,
         CompressionMethod compressionMethod, Progress* progress) {
    struct stat st {};
    if (lstat(source.c_str(), &st) != 0) {
        throw Error(FileError::fileReadNoSuchFile, source, errno);
    }
    std::filesystem::path folder = source.lexically_normal();
    if (!folder.has_filename() && folder.has_parent_path() && folder != folder.root_path()) {
        folder = folder.parent_path();
    }
    const std::string name = folder.filename().string();
    if (!S_ISDIR(st.st_mode)) {
        writer.appendItem(name, source, compressionMethod, defaultChunkSize, progress);
        writer.finish();
        return writer.changedWhileRead();
    }
    std::vector<std::string> subpaths = directorySubpaths(source);
    if (keepParentFolder) {
        subpaths.emplace_back();
    }
    const std::filesystem::path base = keepParentFolder ? folder.parent_path() : folder;
    const auto entryPathOf = [&](const std::string& subpath) {
        return keepParentFolder ? name + '/' + subpath : subpath;
    };
    if (progress != nullptr) {
        int64_t total = 0;
        for (const std::string& subpath : subpaths) {
            total += unitCount(base / entryPathOf(subpath));
        }
        progress->setTotalUnitCount(total);
    }
    FolderCursor cursor;
    for (const std::string& subpath : subpaths) {
        const std::string entryPath = entryPathOf(subpath);
        const std::filesystem::path location = base / entryPath;
        // The source folder itself, last, is named by its whole path.
        const int dirfd = location.has_filename() ? cursor.at(location.parent_path()) : AT_FDCWD;
        const std::string itemName =
            dirfd == AT_FDCWD ? location.string() : location.filename().string();
        std::unique_ptr<Progress> child;
        if (progress != nullptr) {
            child = progress->makeChild(unitCount(location));
        }
        writer.appendItemAt(entryPath, dirfd, itemName.c_str(), location, compressionMethod,
                            defaultChunkSize, child.get());
    }
    writer.finish();
    return writer.changedWhileRead();
}

void checkSourceExists(const std::filesystem::path& source) {
    struct stat st {};
    if (lstat(source.c_str(), &st) != 0) {
        throw Error(FileError::fileReadNoSuchFile, source, errno);
    }
}

} // namespace

std::vector<std::filesystem::path>
packItem(const std::filesystem::path& source, const std::filesystem::path& destination,
         bool keepParentFolder, CompressionMethod compressionMethod, Progress* progress) {
    checkSourceExists(source);
    struct stat st {};
    if (lstat(destination.c_str(), &st) == 0) {
        throw Error(FileError::fileWriteFileExists, destination, EEXIST);
    }
    ArchiveWriter writer(destination);
    return packInto(writer, source, keepParentFolder, compressionMethod, progress);
}

std::vector<std::filesystem::path> packItem(const std::filesystem::path& source,
                                            const std::filesystem::path& archiveName,
                                            ArchiveSink& sink, bool keepParentFolder,
                                            CompressionMethod compressionMethod,
                                            Progress* progress) {
    checkSourceExists(source);
    ArchiveWriter writer(archiveName, sink);
    return packInto(writer, source, keepParentFolder, compressionMethod, progress);
}

} // namespace corvina::zip
