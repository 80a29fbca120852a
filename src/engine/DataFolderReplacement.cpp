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
//
// The companion may have written into the data folder after a run was
// killed and before the next one repairs it. The repair never puts such
// data where a restore deletes it: when the data folder changed after the
// old items had all moved aside, it stays as it is and the old items go to
// a visible folder beside it ("Data vor unterbrochener Wiederherstellung
// …"); an old item whose name was taken in the meantime goes there as well.

namespace corvina::engine {

namespace fs = std::filesystem;

namespace {

struct AsideFolders {
    explicit AsideFolders(const DataFolderPlaces& places)
        : movingOut(places.work / ".OldData")
        , movingIn(places.work / ".OldData-replaced")
        , discarded(places.work / ".OldData-discarded") {}

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

/// The items of `folder`, less the replacement's own ones when it is the
/// data folder.
std::vector<fs::path> directoryContents(const fs::path& folder, const DataFolderPlaces& places) {
    std::vector<fs::path> items;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (folder != places.contents || !places.isOwnItem(it->path().filename().string())) {
            items.push_back(it->path());
        }
    }
    check(error, folder);
    return items;
}

/// Renames `item` to `destination`, never replacing an item there. File
/// systems without RENAME_NOREPLACE answer EINVAL; there the test is made
/// beforehand.
void renameItem(const fs::path& item, const fs::path& destination) {
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

/// Whether `path` is a folder of this user's that the user may not write.
bool isOwnReadOnlyFolder(const fs::path& path, mode_t& mode) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != ::geteuid() || (status.st_mode & S_IWUSR) != 0) {
        return false;
    }
    mode = status.st_mode & 07777;
    return true;
}

/// Renames as renameItem does. A folder that its owner, the user, may not
/// write can't take a new parent (its ".." changes): it is made writable for
/// the move and gets its mode back after it.
void moveItem(const fs::path& item, const fs::path& destination) {
    try {
        renameItem(item, destination);
    } catch (const SystemError& error) {
        mode_t mode = 0;
        if (error.code() != EACCES || !isOwnReadOnlyFolder(item, mode) ||
            ::chmod(item.c_str(), mode | S_IWUSR) != 0) {
            throw;
        }
        try {
            renameItem(item, destination);
        } catch (...) {
            ::chmod(item.c_str(), mode);
            throw;
        }
        if (::chmod(destination.c_str(), mode) != 0) {
            throw SystemError(errno, destination);
        }
    }
}

void moveContents(const fs::path& from, const fs::path& to, const DataFolderPlaces& places) {
    for (const fs::path& item : directoryContents(from, places)) {
        moveItem(item, to / item.filename());
    }
}

void makePrivateFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0) {
        throw SystemError(errno, folder);
    }
}

bool isLater(const timespec& time, const timespec& than) {
    return time.tv_sec != than.tv_sec ? time.tv_sec > than.tv_sec : time.tv_nsec > than.tv_nsec;
}

timespec statusChangeTime(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        throw SystemError(errno, path);
    }
    return status.st_ctim;
}

/// Whether anything below `folder` was written after `since`: a file's
/// content or a folder's names (mtime) at any depth, or an item's status
/// (ctime) below the top level, which the replacement's own renames don't
/// reach. Times in the future come from a backup, not from a write.
bool writtenSince(const DataFolderPlaces& places, const timespec& since) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::error_code error;
    for (fs::recursive_directory_iterator it(places.contents, error), end; !error && it != end;
         it.increment(error)) {
        if (it.depth() == 0 && places.isOwnItem(it->path().filename().string())) {
            it.disable_recursion_pending();
            continue;
        }
        struct stat status {};
        if (::lstat(it->path().c_str(), &status) != 0) {
            return true; // changing right now
        }
        if ((isLater(status.st_mtim, since) && !isLater(status.st_mtim, now)) ||
            (it.depth() > 0 && isLater(status.st_ctim, since) && !isLater(status.st_ctim, now))) {
            return true;
        }
    }
    // What can't be read through can't be told apart.
    return static_cast<bool>(error);
}

/// A free name for a folder of old items kept beside newer data.
fs::path keptFolderPath(const DataFolderPlaces& places) {
    const time_t now = ::time(nullptr);
    tm local{};
    ::localtime_r(&now, &local);
    char stamp[32];
    ::strftime(stamp, sizeof stamp, "%Y-%m-%d %H.%M.%S", &local);
    const std::string base = places.keptFolderPrefix();
    fs::path kept = places.work / (base + stamp);
    for (int n = 2; isPresent(kept); ++n) {
        kept = places.work / (base + stamp + " (" + std::to_string(n) + ")");
    }
    return kept;
}

void logKept(const fs::path& target, const fs::path& kept) {
    diagnosticLog(QStringLiteral("Данные в директории изменены после прерванной замены и "
                                 "оставлены как есть: ") +
                  pathText(target) + QStringLiteral("; прежние данные сохранены в: ") +
                  pathText(kept));
}

/// Moves the old items in `from` back into the data folder. One whose name
/// was taken again (by the companion, after a kill) goes to a kept folder.
void moveBack(const fs::path& from, const DataFolderPlaces& places) {
    const fs::path& target = places.contents;
    fs::path kept;
    for (const fs::path& item : directoryContents(from, places)) {
        const fs::path destination = target / item.filename();
        if (!isPresent(destination)) {
            moveItem(item, destination);
            continue;
        }
        if (kept.empty()) {
            kept = keptFolderPath(places);
            makePrivateFolder(kept);
            logKept(target, kept);
        }
        moveItem(item, kept / item.filename());
    }
    if (!kept.empty()) {
        syncFolder(kept);
    }
}

/// Removes old items that are no longer needed. An item that can't be
/// removed (immutable, say) stays there and blocks nothing.
void removeDiscarded(const fs::path& discarded) {
    std::error_code error;
    // The user's folders that the user may not write can't lose their
    // items until they may.
    for (fs::recursive_directory_iterator it(discarded, error), end; !error && it != end;
         it.increment(error)) {
        mode_t mode = 0;
        if (isOwnReadOnlyFolder(it->path(), mode)) {
            ::chmod(it->path().c_str(), mode | S_IWUSR);
        }
    }
    mode_t mode = 0;
    if (isOwnReadOnlyFolder(discarded, mode)) {
        ::chmod(discarded.c_str(), mode | S_IWUSR);
    }
    error.clear();
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
/// says whether there were any to bring back. With `keepWrittenData`, a
/// data folder written after the old items had all moved aside stays and
/// they are kept beside it. Each step can run again after an interruption.
bool putBack(const DataFolderPlaces& places, bool keepWrittenData) {
    const AsideFolders aside(places);
    const fs::path& target = places.contents;
    const fs::path& container = places.work;
    const fs::path temporaryFolder = places.temporaryFolder();
    bool found = false;
    if (isPresent(aside.discarded)) {
        // Past the point of no return: the data folder is whole and new.
        removeDiscarded(aside.discarded);
    }
    if (isPresent(aside.movingIn) && keepWrittenData && isPresent(target) &&
        writtenSince(places, statusChangeTime(aside.movingIn))) {
        const fs::path kept = keptFolderPath(places);
        moveItem(aside.movingIn, kept);
        syncFolder(container);
        logKept(target, kept);
        return false;
    }
    if (isPresent(aside.movingIn)) {
        if (!isPresent(temporaryFolder)) {
            makePrivateFolder(temporaryFolder);
        }
        if (isPresent(target)) {
            moveContents(target, temporaryFolder, places);
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
        moveBack(aside.movingOut, places);
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

void replaceContents(const DataFolderPlaces& places) {
    const AsideFolders aside(places);
    const fs::path& target = places.contents;
    const fs::path& container = places.work;
    const fs::path temporaryFolder = places.temporaryFolder();
    const bool created = !isPresent(target);
    if (!created) {
        diagnosticLog(QStringLiteral("Очистка директории: ") + pathText(target));
    }
    makePrivateFolder(aside.movingOut);
    try {
        if (created) {
            fs::create_directory(target);
        }
        moveContents(target, aside.movingOut, places);
        syncFolder(target);
        syncFolder(aside.movingOut);
        moveItem(aside.movingOut, aside.movingIn);
        syncFolder(container);

        moveContents(temporaryFolder, target, places);
        syncFolder(target);
        moveItem(aside.movingIn, discardDestination(aside.discarded));
        syncFolder(container);
    } catch (...) {
        const std::exception_ptr failure = std::current_exception();
        try {
            putBack(places, false);
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

bool recoverInterruptedReplacement(const DataFolderPlaces& places) {
    return putBack(places, true);
}

} // namespace corvina::engine
