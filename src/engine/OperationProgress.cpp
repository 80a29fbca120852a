#include "engine/OperationProgress.h"

#include "zip/Archive.h"
#include "zip/ArchiveWriter.h"

#include <algorithm>

#include <sys/stat.h>

namespace corvina {

OperationProgress::Snapshot OperationProgress::snapshot() const {
    Snapshot now;
    now.total = m_total.load(std::memory_order_relaxed);
    if (m_complete.load(std::memory_order_acquire)) {
        now.done = now.total;
    } else {
        // The entry's count is reset between entries while the base moves
        // on: the two reads may straddle that step, so the value shown only
        // ever grows, and stays short of the end until the end is reached.
        const auto inEntry =
            static_cast<uint64_t>(std::max<int64_t>(0, m_entry.completedUnitCount()));
        const uint64_t ahead = m_done.load(std::memory_order_relaxed) + inEntry;
        now.done = std::min(ahead, now.total == 0 ? 0 : now.total - 1);
    }
    uint64_t shown = m_shown.load(std::memory_order_relaxed);
    while (now.done > shown && !m_shown.compare_exchange_weak(shown, now.done)) {
    }
    now.done = std::max(now.done, shown);
    return now;
}

uint64_t plannedArchiveSize(const std::filesystem::path& source) {
    // Per entry: a local header of 30 bytes and a central one of 46, each
    // with the path, which begins with the folder's own name and a slash;
    // then the end record.
    constexpr uint64_t recordBytes = 30 + 46;
    constexpr uint64_t endRecordBytes = 22;
    const std::filesystem::path folder = source.lexically_normal();
    const std::string name =
        (folder.has_filename() ? folder : folder.parent_path()).filename().string();
    struct stat top {};
    if (::lstat(source.c_str(), &top) == 0 && !S_ISDIR(top.st_mode)) {
        return endRecordBytes + recordBytes + 2 * name.size() + static_cast<uint64_t>(top.st_size);
    }
    uint64_t total = endRecordBytes + recordBytes + 2 * (name.size() + 1);
    for (const std::string& subpath : zip::directorySubpaths(source)) {
        struct stat st {};
        const std::filesystem::path location = source / subpath;
        if (::lstat(location.c_str(), &st) != 0) {
            continue;
        }
        const uint64_t pathBytes = name.size() + 1 + subpath.size() + (S_ISDIR(st.st_mode) ? 1 : 0);
        total += recordBytes + 2 * pathBytes;
        if (!S_ISDIR(st.st_mode)) {
            total += static_cast<uint64_t>(st.st_size);
        }
        if (S_ISREG(st.st_mode)) {
            total += zip::sinkDescriptorBytes(static_cast<uint64_t>(st.st_size), pathBytes);
        }
    }
    return total;
}

} // namespace corvina
