#pragma once

#include <QObject>

namespace corvina {

class InactivityMonitor;

/// The one session switch: locked (`isAuthenticated` false) or unlocked.
/// Every assignment, also of the same value, syncs the inactivity monitor:
///   1. copy the value to the monitor;
///   2. true with auto-logout on: start monitoring; false: stop monitoring;
///   3. read the value again: false: stop monitoring; true with auto-logout on:
///      start monitoring a second time.
/// Then `isAuthenticatedChanged` is emitted if the value changed. The window
/// binds to the property to show the unlock gate or the main screen.
class SessionState : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated WRITE setIsAuthenticated NOTIFY
                   isAuthenticatedChanged)

public:
    /// The monitor is not owned and must outlive this object.
    explicit SessionState(InactivityMonitor& monitor, QObject* parent = nullptr);

    [[nodiscard]] bool isAuthenticated() const { return m_isAuthenticated; }
    void setIsAuthenticated(bool value);

    [[nodiscard]] InactivityMonitor& inactivityMonitor() const { return m_monitor; }

Q_SIGNALS:
    void isAuthenticatedChanged();

private:
    InactivityMonitor& m_monitor;
    bool m_isAuthenticated = false;
};

} // namespace corvina
