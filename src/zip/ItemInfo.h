#pragma once

#include "zip/Records.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace corvina::zip {

/// What adding a file system item needs to know about it, from lstat.
struct ItemInfo {
    EntryType type = EntryType::file;
    double modificationDate = 0;
    int64_t size = 0;
    uint16_t permissions = 0;
};

/// Inspects the item `name` in the folder `dirfd` without following a link:
/// a missing item is FileError.fileReadNoSuchFile, an unreadable non-link
/// FileError.fileReadNoPermission, a negative size FileError.fileReadTooLarge.
/// `displayPath` names the item in errors. A caller that opens a file
/// itself right after may skip its readability check and treat EACCES from
/// the open as fileReadNoPermission: one system call less per file.
ItemInfo inspectItem(int dirfd, const char* name, const std::filesystem::path& displayPath,
                     bool checkFileReadable = true);

/// The bytes of a link's target; a failure is a POSIX error with `displayPath`.
std::vector<uint8_t> readLinkTarget(int dirfd, const char* name,
                                    const std::filesystem::path& displayPath);

/// Throws ArchiveError.invalidEntryPath unless `path` is valid UTF-8 that
/// fits a record's 16-bit length fields.
void validateEntryPath(std::string_view path);

/// True when a link target, taken as it stands if absolute and otherwise
/// against `root`, lies beneath `root` after "//" and dot parts are folded,
/// and has no ".." after another part (which a link could turn outwards).
bool isContainedLinkTarget(const std::filesystem::path& root, const std::string& target);

/// Reads up to `count` bytes from `fd` like fread: until `count` or end of
/// file. A read error is DataError.unreadableFile with `displayPath`.
std::size_t readFully(int fd, uint8_t* into, std::size_t count,
                      const std::filesystem::path& displayPath);

/// Writes all bytes to `fd`; a failure is DataError.unwritableFile.
void writeFully(int fd, const uint8_t* bytes, std::size_t count,
                const std::filesystem::path& displayPath);

} // namespace corvina::zip
