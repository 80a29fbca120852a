#include "engine/DataFolderReplacement.h"

#include "engine/DiagnosticLog.h"
#include "engine/EngineSupport.h"
#include "engine/FileOperations.h"

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

// No old item is deleted before every new item is in: the old items move
// aside into a hidden folder beside the data folder, the new items move in,
// and only then is the aside folder removed. The aside folder's name records
// how far a run got, so that the next run can put back what a killed one
// left:
//   ".OldData"            old items are moving out; the data folder holds
//                         only old items
//   ".OldData-replaced"   every old item is aside; the data folder holds
//                         only new items
//   ".OldData-discarded"  every new item is in; the old ones are only to be
//                         removed
// All moves are renames within the container's file system.

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

struct AsideFolders {
    explicit AsideFolders(const fs::path& target)
        : movingOut(target.parent_path() / ".OldData")
        , movingIn(target.parent_path() / ".OldData-replaced")
        , discarded(target.parent_path() / ".OldData-discarded") {}

    fs::path movingOut;
    fs::path movingIn;
    fs::path discarded;
};

bool isPresent(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        throw SystemError(errno, path);
    }
    return false;
}

std::vector<fs::path> directoryContents(const fs::path& folder) {
    std::vector<fs::path> items;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        items.push_back(it->path());
    }
    check(error, folder);
    return items;
}

/// Renames `item` to `destination`, never replacing an item there. File
/// systems without RENAME_NOREPLACE answer EINVAL; there the test is made
/// beforehand.
void moveItem(const fs::path& item, const fs::path& destination) {
    if (::renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) {
        return;
    }
    if (errno != EINVAL) {
        throw SystemError(errno, destination);
    }
    if (isPresent(destination)) {
        throw SystemError(EEXIST, destination);
    }
    if (::rename(item.c_str(), destination.c_str()) != 0) {
        throw SystemError(errno, destination);
    }
}

void moveContents(const fs::path& from, const fs::path& to) {
    for (const fs::path& item : directoryContents(from)) {
        moveItem(item, to / item.filename());
    }
}

/// Makes the moves recorded in `folder` durable before the next phase.
void syncFolder(const fs::path& folder) {
    syncFile(openFile(folder, O_RDONLY | O_DIRECTORY).get(), folder);
}

void makePrivateFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0) {
        throw SystemError(errno, folder);
    }
}

/// Removes old items that are no longer needed. An item that can't be
/// removed (immutable, say) stays there and blocks nothing.
void removeDiscarded(const fs::path& discarded) {
    std::error_code error;
    fs::remove_all(discarded, error);
    if (error) {
        diagnosticLog(QStringLiteral("Ошибка удаления прежних данных: ") +
                      SystemError(error.value(), discarded).localizedDescription());
    }
}

/// Where this run's old items go once the new ones are in: the discard
/// folder, or when old items an earlier run could not remove are still
/// there, a folder of this run's inside it.
fs::path discardDestination(const fs::path& discarded) {
    if (!isPresent(discarded)) {
        return discarded;
    }
    std::string run = std::to_string(::time(nullptr));
    run += '-';
    run += std::to_string(::getpid());
    return discarded / run;
}

/// Brings the data folder back to its old items from whichever phase the
/// aside folders show, new items going back into `temporaryFolder`, and
/// says whether there were any to bring back. Each step can run again after
/// an interruption.
bool putBack(const fs::path& target, const fs::path& temporaryFolder) {
    const AsideFolders aside(target);
    const fs::path container = target.parent_path();
    bool found = false;
    if (isPresent(aside.discarded)) {
        // Past the point of no return: the data folder is whole and new.
        removeDiscarded(aside.discarded);
    }
    if (isPresent(aside.movingIn)) {
        if (!isPresent(temporaryFolder)) {
            makePrivateFolder(temporaryFolder);
        }
        if (isPresent(target)) {
            moveContents(target, temporaryFolder);
            syncFolder(target);
        }
        moveItem(aside.movingIn, aside.movingOut);
        syncFolder(container);
        found = true;
    }
    if (isPresent(aside.movingOut)) {
        if (!isPresent(target)) {
            fs::create_directory(target);
        }
        moveContents(aside.movingOut, target);
        syncFolder(target);
        if (::rmdir(aside.movingOut.c_str()) != 0) {
            throw SystemError(errno, aside.movingOut);
        }
        syncFolder(container);
        found = true;
    }
    return found;
}

} // namespace

void replaceContents(const fs::path& target, const fs::path& temporaryFolder) {
    const AsideFolders aside(target);
    const fs::path container = target.parent_path();
    const bool created = !isPresent(target);
    if (!created) {
        diagnosticLog(QStringLiteral("Очистка директории: ") + pathText(target));
    }
    makePrivateFolder(aside.movingOut);
    try {
        if (created) {
            fs::create_directory(target);
        }
        moveContents(target, aside.movingOut);
        syncFolder(target);
        syncFolder(aside.movingOut);
        moveItem(aside.movingOut, aside.movingIn);
        syncFolder(container);

        moveContents(temporaryFolder, target);
        syncFolder(target);
        moveItem(aside.movingIn, discardDestination(aside.discarded));
        syncFolder(container);
    } catch (...) {
        const std::exception_ptr failure = std::current_exception();
        try {
            putBack(target, temporaryFolder);
            if (created) {
                ::rmdir(target.c_str());
            }
        } catch (...) {
            // What is left is put back by the next restore before it starts.
            diagnosticLog(QStringLiteral("Ошибка возврата прежних данных: ") +
                          describeException(std::current_exception()));
        }
        std::rethrow_exception(failure);
    }

    // The new items are in and durable; the old ones are deleted now. What a
    // failure here leaves is removed by the next restore.
    removeDiscarded(aside.discarded);
}

bool recoverInterruptedReplacement(const fs::path& target, const fs::path& temporaryFolder) {
    return putBack(target, temporaryFolder);
}

} // namespace corvina::engine
