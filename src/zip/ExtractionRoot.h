#pragma once

#include "zip/Archive.h"

#include <QString>

#include <filesystem>

namespace corvina::zip {

/// A folder that untrusted archives are restored into. Every relative path
/// is resolved beneath the folder with the kernel's help; an absolute path, a
/// ".." part or a path through a symbolic link fails with
/// ArchiveError.uncontainedEntryPath.
class ExtractionRoot {
public:
    /// Opens the existing folder `root`. Throws zip::Error.
    explicit ExtractionRoot(const std::filesystem::path& root);
    ~ExtractionRoot();
    ExtractionRoot(const ExtractionRoot&) = delete;
    ExtractionRoot& operator=(const ExtractionRoot&) = delete;

    /// The folder's descriptor (e.g. for syncfs) and path.
    [[nodiscard]] int fd() const { return m_fd; }
    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

    /// Creates the folder and its missing parents; existing folders are fine.
    void createDirectories(const QString& relativePath);

    /// Extracts `entry` to `relativePath` as Archive::extractEntry does:
    /// no overwriting, parents created, attributes set.
    uint32_t extractEntry(Archive& archive, const Entry& entry, const QString& relativePath,
                          int64_t bufferSize = defaultChunkSize, bool skipCRC32 = false,
                          bool allowUncontainedSymlinks = false, Progress* progress = nullptr);

    /// Creates a symbolic link at `relativePath` pointing at `target` as it
    /// stands; parents are created. An existing item fails.
    void createSymbolicLink(const QString& relativePath, const QByteArray& target);

private:
    /// The folder `parts` beneath the root, created where missing, as a
    /// descriptor owned by this object. The last folder asked for is kept
    /// open: a restore writes one folder's files one after the other, and
    /// nothing under the root is ever moved or removed meanwhile.
    int folderBeneath(const std::vector<std::string>& parts, const std::filesystem::path& display);

    std::filesystem::path m_path;
    int m_fd = -1;
    std::vector<std::string> m_lastFolderParts;
    int m_lastFolderFd = -1;
};

} // namespace corvina::zip
