#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace corvina {

class ActivityFilter;

/// Logs the user out after a chosen time without mouse or keyboard input in
/// the application's windows. Time spent in other applications counts as
/// inactivity.
///
/// Armed only while both `isAuthenticated` and `isAutoLogoutEnabled` are true:
/// then a one-shot `inactivityTimer` of `timeoutInterval` seconds calls
/// `onTimeout`, a 1.0 s `countdownTimer` counts `remainingTime` down for
/// display, and every left/right mouse press, mouse move without a button and
/// key press in a window of the application starts both over.
///
/// "isAutoLogoutEnabled" (default false) and "LogoutTimeout" (default 600.0
/// seconds) are read from the default QSettings at construction and written
/// there on every assignment. Lives on the GUI thread.
class InactivityMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isAutoLogoutEnabled READ isAutoLogoutEnabled WRITE setIsAutoLogoutEnabled NOTIFY
                   isAutoLogoutEnabledChanged)
    Q_PROPERTY(double timeoutInterval READ timeoutInterval WRITE setTimeoutInterval NOTIFY
                   timeoutIntervalChanged)
    Q_PROPERTY(double remainingTime READ remainingTime NOTIFY remainingTimeChanged)
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated WRITE setIsAuthenticated NOTIFY
                   isAuthenticatedChanged)

public:
    static constexpr double defaultTimeoutInterval = 600.0;
    static constexpr int countdownStepMs = 1000;

    explicit InactivityMonitor(QObject* parent = nullptr);
    ~InactivityMonitor() override;

    [[nodiscard]] bool isAutoLogoutEnabled() const { return m_isAutoLogoutEnabled; }
    /// Stores and persists the value; false stops monitoring, true starts it
    /// when the session is authenticated.
    void setIsAutoLogoutEnabled(bool value);

    [[nodiscard]] double timeoutInterval() const { return m_timeoutInterval; }
    /// Stores and persists the interval (seconds) and restarts the timers when armed.
    void setTimeoutInterval(double seconds);

    [[nodiscard]] double remainingTime() const { return m_remainingTime; }

    [[nodiscard]] bool isAuthenticated() const { return m_isAuthenticated; }
    /// A copy of the session's state; set by `SessionState`'s monitor sync.
    void setIsAuthenticated(bool value);

    /// Called when the inactivity timer fires. Set once by the application.
    std::function<void()> onTimeout;

    /// Starts both timers over from `timeoutInterval`; does nothing unless
    /// authenticated with the option on.
    Q_INVOKABLE void resetTimers();
    /// `resetTimers`, then listens for activity. Each call installs a new
    /// listener and keeps only the newest: an earlier one stays installed
    /// (harmless, as it only calls `resetTimers`) until the monitor is destroyed.
    Q_INVOKABLE void startMonitoring();
    /// Removes the newest activity listener and stops both timers.
    Q_INVOKABLE void stopMonitoring();
    /// Target of the inactivity timer: ends the countdown and calls `onTimeout`.
    Q_INVOKABLE void handleInactivityTimeout();

    /// The running timers, or nullptr when absent.
    [[nodiscard]] const QTimer* inactivityTimer() const { return m_inactivityTimer; }
    [[nodiscard]] const QTimer* countdownTimer() const { return m_countdownTimer; }
    /// True while an activity listener is held (armed, or started and not stopped).
    [[nodiscard]] bool hasEventMonitor() const { return !m_localEventMonitor.isNull(); }

Q_SIGNALS:
    void isAutoLogoutEnabledChanged();
    void timeoutIntervalChanged();
    void remainingTimeChanged();
    void isAuthenticatedChanged();

private:
    void setRemainingTime(double value);
    void invalidateTimers();
    static void invalidate(QTimer*& timer);
    void countdownTick();

    // Children of the monitor; nullptr when absent.
    QTimer* m_inactivityTimer = nullptr;
    QTimer* m_countdownTimer = nullptr;
    QPointer<ActivityFilter> m_localEventMonitor;
    bool m_isAutoLogoutEnabled = false;
    double m_timeoutInterval = defaultTimeoutInterval;
    double m_remainingTime = defaultTimeoutInterval;
    bool m_isAuthenticated = false;
};

} // namespace corvina
