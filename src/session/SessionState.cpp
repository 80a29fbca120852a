#include "session/SessionState.h"

#include "session/InactivityMonitor.h"

namespace corvina {

SessionState::SessionState(InactivityMonitor& monitor, QObject* parent)
    : QObject(parent)
    , m_monitor(monitor) {}

void SessionState::setIsAuthenticated(bool value) {
    const bool changed = value != m_isAuthenticated;
    m_isAuthenticated = value;

    m_monitor.setIsAuthenticated(value);
    if (value && m_monitor.isAutoLogoutEnabled()) {
        m_monitor.startMonitoring();
    } else if (!value) {
        m_monitor.stopMonitoring();
    }
    // Deliberately once more from the stored value: after an unlock this
    // starts the monitor a second time.
    if (!m_isAuthenticated) {
        m_monitor.stopMonitoring();
    } else if (m_monitor.isAutoLogoutEnabled()) {
        m_monitor.startMonitoring();
    }

    if (changed) {
        Q_EMIT isAuthenticatedChanged();
    }
}

} // namespace corvina
