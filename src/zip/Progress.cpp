#include "zip/Progress.h"

namespace corvina::zip {

Progress::~Progress() = default;

void Progress::setCompletedUnitCount(int64_t completed) {
    m_completed.store(completed);
    if (m_parent != nullptr && !m_reportedToParent && completed >= m_total.load()) {
        m_reportedToParent = true;
        m_parent->addCompletedUnitCount(m_pendingInParent);
    }
}

bool Progress::isCancelled() const {
    for (const Progress* p = this; p != nullptr; p = p->m_parent) {
        if (p->m_cancelled.load()) {
            return true;
        }
    }
    return false;
}

std::unique_ptr<Progress> Progress::makeChild(int64_t pendingUnitCount) {
    auto child = std::make_unique<Progress>();
    child->m_parent = this;
    child->m_pendingInParent = pendingUnitCount;
    return child;
}

} // namespace corvina::zip
