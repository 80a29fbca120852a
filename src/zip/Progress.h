#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace corvina::zip {

/// Progress of one operation: a total and a completed count of units, a
/// cancellation flag that any thread may set, and child operations whose
/// completion adds their share to the parent.
class Progress {
public:
    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    [[nodiscard]] int64_t totalUnitCount() const { return m_total.load(); }
    void setTotalUnitCount(int64_t total) { m_total.store(total); }

    [[nodiscard]] int64_t completedUnitCount() const { return m_completed.load(); }
    void setCompletedUnitCount(int64_t completed);
    void addCompletedUnitCount(int64_t units) { setCompletedUnitCount(m_completed.load() + units); }

    /// Cancels this operation and, through isCancelled(), every child.
    void cancel() { m_cancelled.store(true); }
    [[nodiscard]] bool isCancelled() const;

    /// A child that stands for `pendingUnitCount` units of this operation. When
    /// the child completes (completed >= total), those units are added here.
    /// The child must not outlive its parent.
    [[nodiscard]] std::unique_ptr<Progress> makeChild(int64_t pendingUnitCount);

private:
    std::atomic<int64_t> m_total{0};
    std::atomic<int64_t> m_completed{0};
    std::atomic<bool> m_cancelled{false};
    Progress* m_parent = nullptr;
    int64_t m_pendingInParent = 0;
    bool m_reportedToParent = false;
};

} // namespace corvina::zip
