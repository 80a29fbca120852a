#include "engine/DataFolderPlaces.h"

#include "engine/FileOperations.h"

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace corvina::engine {

namespace fs = std::filesystem;

std::string DataFolderPlaces::keptFolderPrefix() const {
    return contents.filename().string() + " vor unterbrochener Wiederherstellung ";
}

bool DataFolderPlaces::isOwnItem(const std::string& name) const {
    return insideContents() && (name == ".TempData" || name.starts_with(".OldData") ||
                                name.starts_with(keptFolderPrefix()));
}

DataFolderPlaces dataFolderPlaces(const fs::path& target) {
    DataFolderPlaces places{target, target.parent_path()};
    struct stat status {};
    if (::lstat(target.c_str(), &status) != 0) {
        return places; // made by the restore, in the container
    }
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        places.contents = fs::canonical(target, error);
        if (error) {
            throw SystemError(error.value(), target);
        }
        places.work = places.contents.parent_path();
        if (::stat(places.contents.c_str(), &status) != 0) {
            throw SystemError(errno, places.contents);
        }
    }
    struct stat parent {};
    if (places.contents == places.contents.root_path() ||
        ::stat(places.work.c_str(), &parent) != 0 || parent.st_dev != status.st_dev ||
        ::access(places.work.c_str(), W_OK) != 0) {
        places.work = places.contents;
    }
    return places;
}

} // namespace corvina::engine
