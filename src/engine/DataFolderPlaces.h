#pragma once

#include <filesystem>
#include <string>

namespace corvina::engine {

/// Where a restore replaces the data folder `Data` of a container. Every
/// folder a replacement makes lives on the file system of the folder whose
/// items it replaces, so that each move is a rename: beside that folder, or
/// inside it where its parent is another file system (a mount point) or not
/// writable, leaving out its own items when it moves the folder's contents.
struct DataFolderPlaces {
    /// The folder whose items are replaced: `Data`, or where a link `Data`
    /// points (the link itself stays).
    std::filesystem::path contents;
    /// Where the temporary and aside folders are: the parent of `contents`,
    /// or `contents` itself.
    std::filesystem::path work;

    [[nodiscard]] bool insideContents() const { return work == contents; }
    [[nodiscard]] std::filesystem::path temporaryFolder() const { return work / ".TempData"; }
    /// The prefix of a folder in `work` that keeps old items beside newer
    /// data after an interrupted restore; it says what it holds.
    [[nodiscard]] std::string keptFolderPrefix() const;
    /// Whether an item of `contents` named `name` belongs to the replacement
    /// rather than to the data.
    [[nodiscard]] bool isOwnItem(const std::string& name) const;
};

/// The places for the data folder `target`. Throws SystemError when a link
/// `target` leads nowhere.
DataFolderPlaces dataFolderPlaces(const std::filesystem::path& target);

} // namespace corvina::engine
