#pragma once

#include <QString>

#include <exception>
#include <filesystem>
#include <string>

namespace corvina::zip {

/// Failures of archive access, writing and extraction.
enum class ArchiveError {
    unreadableArchive,
    unwritableArchive,
    invalidEntryPath,
    invalidCompressionMethod,
    invalidCRC32,
    cancelledOperation,
    invalidBufferSize,
    invalidEntrySize,
    invalidLocalHeaderDataOffset,
    invalidLocalHeaderSize,
    invalidCentralDirectoryOffset,
    invalidCentralDirectorySize,
    invalidCentralDirectoryEntryCount,
    missingEndOfCentralDirectoryRecord,
    uncontainedSymlink,
    /// A path given to an ExtractionRoot is absolute, has a ".." part or
    /// passes through a symbolic link.
    uncontainedEntryPath,
};

/// A read or write on a stream failed.
enum class DataError { unreadableFile, unwritableFile };

/// The deflate stream could not be set up or met damaged data.
enum class CompressionError { invalidStream, corruptedData };

/// Attributes of an extracted symbolic link could not be built.
enum class EntryError { missingPermissionsAttributeError, missingModificationDateAttributeError };

/// File system failures named the way the platform's file manager names them.
enum class FileError {
    fileReadNoSuchFile,
    fileWriteFileExists,
    fileReadNoPermission,
    fileReadTooLarge,
    /// Any other failure of a file system call, carried with its errno.
    posix,
};

/// The one exception type of the ZIP layer: which enumeration and case, the
/// affected path and errno where there is one.
class Error : public std::exception {
public:
    enum class Domain { archive, data, compression, entry, file };

    explicit Error(ArchiveError code, std::filesystem::path path = {}, int errnum = 0);
    explicit Error(DataError code, std::filesystem::path path = {}, int errnum = 0);
    explicit Error(CompressionError code);
    explicit Error(EntryError code, std::filesystem::path path = {});
    explicit Error(FileError code, std::filesystem::path path, int errnum = 0);

    /// A failure of a system call, from its errno, naming the path it concerned.
    static Error posix(int errnum, const std::filesystem::path& path);

    [[nodiscard]] Domain domain() const { return m_domain; }
    /// The case within the domain, as the integer value of its enumeration.
    [[nodiscard]] int code() const { return m_code; }
    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    /// errno of the failed system call, 0 when there was none.
    [[nodiscard]] int posixCode() const { return m_errno; }

    [[nodiscard]] bool is(ArchiveError code) const { return matches(Domain::archive, code); }
    [[nodiscard]] bool is(DataError code) const { return matches(Domain::data, code); }
    [[nodiscard]] bool is(CompressionError code) const {
        return matches(Domain::compression, code);
    }
    [[nodiscard]] bool is(EntryError code) const { return matches(Domain::entry, code); }
    [[nodiscard]] bool is(FileError code) const { return matches(Domain::file, code); }

    /// The enumeration and case name with any payload, e.g.
    /// "ArchiveError.missingEndOfCentralDirectoryRecord".
    [[nodiscard]] QString caseName() const;

    /// A sentence in the style of a platform message that names the path,
    /// e.g. "The file “x” couldn’t be opened because there is no such file."
    [[nodiscard]] QString localizedDescription() const;

    [[nodiscard]] const char* what() const noexcept override { return m_what.c_str(); }

private:
    Error(Domain domain, int code, std::filesystem::path path, int errnum);

    template <typename E> [[nodiscard]] bool matches(Domain domain, E code) const {
        return m_domain == domain && m_code == static_cast<int>(code);
    }

    Domain m_domain;
    int m_code;
    std::filesystem::path m_path;
    int m_errno;
    std::string m_what;
};

} // namespace corvina::zip
