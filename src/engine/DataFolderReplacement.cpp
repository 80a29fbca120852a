#include "engine/DataFolderReplacement.h"

#include "engine/DiagnosticLog.h"
#include "engine/EngineSupport.h"
#include "engine/FileOperations.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> directoryContents(const fs::path& folder) {
    std::vector<fs::path> items;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        items.push_back(it->path());
    }
    check(error, folder);
    return items;
}

} // namespace

void replaceContents(const fs::path& target, const fs::path& temporaryFolder) {
    std::error_code error;
    if (!fs::exists(target, error)) {
        fs::create_directories(target, error);
        check(error, target);
    } else {
        diagnosticLog(QStringLiteral("Очистка директории: ") + pathText(target));
        for (const fs::path& item : directoryContents(target)) {
            fs::remove_all(item, error);
            check(error, item);
        }
    }
    for (const fs::path& item : directoryContents(temporaryFolder)) {
        const fs::path destination = target / item.filename();
        // A move never replaces an item. File systems without
        // RENAME_NOREPLACE answer EINVAL; there the test is made beforehand.
        if (::renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) ==
            0) {
            continue;
        }
        if (errno != EINVAL) {
            throw SystemError(errno, destination);
        }
        struct stat existing {};
        if (::lstat(destination.c_str(), &existing) == 0) {
            throw SystemError(EEXIST, destination);
        }
        if (::rename(item.c_str(), destination.c_str()) != 0) {
            throw SystemError(errno, destination);
        }
    }
}

} // namespace corvina::engine
