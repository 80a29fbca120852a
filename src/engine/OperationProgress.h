#pragma once

#include "zip/Progress.h"

#include <atomic>
#include <cstdint>
#include <filesystem>

namespace corvina {

/// How far one engine operation has come, in bytes of its work out of a
/// total known once the operation has measured its input. The engine writes
/// it from its threads; whoever started the operation reads it from any
/// thread, as often as it likes to show it (ten times a second is plenty).
/// Reading costs the engine nothing.
class OperationProgress {
public:
    struct Snapshot {
        uint64_t done = 0;
        /// 0 while the operation is still measuring its input.
        uint64_t total = 0;
        [[nodiscard]] double fraction() const {
            return total == 0 ? 0.0 : static_cast<double>(done) / static_cast<double>(total);
        }
    };

    /// The latest state. `done` never shrinks from one read to the next and
    /// never passes `total`; it equals `total` once the operation has ended
    /// successfully.
    [[nodiscard]] Snapshot snapshot() const;

    // The engine's side.
    void setTotal(uint64_t total) { m_total.store(total, std::memory_order_relaxed); }
    /// Work before the part that `entry` counts is done.
    void setDone(uint64_t done) { m_done.store(done, std::memory_order_relaxed); }
    /// Counts the bytes of the entry being read: the zip layer adds to it,
    /// and they count on top of setDone's value.
    [[nodiscard]] zip::Progress& entry() { return m_entry; }
    /// The operation has ended successfully: done is the total.
    void complete() { m_complete.store(true, std::memory_order_release); }

private:
    std::atomic<uint64_t> m_total{0};
    std::atomic<uint64_t> m_done{0};
    std::atomic<bool> m_complete{false};
    zip::Progress m_entry;
    mutable std::atomic<uint64_t> m_shown{0};
};

/// What the plaintext archive of `source` will hold, in bytes: the data of
/// every file and link below it and each entry's records. A file that
/// changes meanwhile makes it an estimate, which is all progress needs.
/// Throws zip::Error when the folder cannot be listed.
uint64_t plannedArchiveSize(const std::filesystem::path& source);

} // namespace corvina
