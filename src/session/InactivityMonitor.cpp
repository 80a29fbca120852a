#include "session/InactivityMonitor.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QSettings>

#include <climits>
#include <cmath>

namespace corvina {
namespace {

const QString autoLogoutEnabledKey = QStringLiteral("isAutoLogoutEnabled");
const QString logoutTimeoutKey = QStringLiteral("LogoutTimeout");

// Longest interval a timer can hold, in seconds.
constexpr double maximumInterval = INT_MAX / 1000.0;

// A stored flag: a boolean, or the text QSettings writes for one after a
// restart. Anything else takes the default.
bool storedFlag(const QVariant& stored, bool fallback) {
    if (stored.typeId() == QMetaType::Bool) {
        return stored.toBool();
    }
    if (stored.typeId() == QMetaType::QString) {
        const QString text = stored.toString();
        if (text == QLatin1String("true")) {
            return true;
        }
        if (text == QLatin1String("false")) {
            return false;
        }
    }
    return fallback;
}

// A stored interval: a number, or its text after a restart. Text that is no
// number, and intervals no timer can run (not positive, not finite, beyond
// the timer's range), take the default.
double storedInterval(const QVariant& stored, double fallback) {
    if (!stored.isValid() || stored.typeId() == QMetaType::Bool) {
        return fallback;
    }
    bool ok = false;
    const double value = stored.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value <= 0.0 || value > maximumInterval) {
        return fallback;
    }
    return value;
}

int timerMilliseconds(double seconds) {
    if (!(seconds > 0.0)) {
        return 0;
    }
    if (seconds >= maximumInterval) {
        return INT_MAX;
    }
    return static_cast<int>(std::llround(seconds * 1000.0));
}

bool isActivity(const QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        const auto button = static_cast<const QMouseEvent*>(event)->button();
        return button == Qt::LeftButton || button == Qt::RightButton;
    }
    case QEvent::MouseMove:
        return static_cast<const QMouseEvent*>(event)->buttons() == Qt::NoButton;
    case QEvent::KeyPress:
        return true;
    default:
        return false;
    }
}

} // namespace

/// The application-wide activity listener of one `startMonitoring`. Every
/// event passes through unchanged. An event is filtered once per receiver, so
/// only the delivery to a window counts.
class ActivityFilter : public QObject {
public:
    explicit ActivityFilter(InactivityMonitor* monitor)
        : QObject(monitor)
        , m_monitor(monitor) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (m_monitor && watched->isWindowType() && isActivity(event)) {
            m_monitor->resetTimers();
        }
        return false;
    }

private:
    QPointer<InactivityMonitor> m_monitor;
};

InactivityMonitor::InactivityMonitor(QObject* parent)
    : QObject(parent) {
    const QSettings settings;
    m_isAutoLogoutEnabled = storedFlag(settings.value(autoLogoutEnabledKey), false);
    m_timeoutInterval = storedInterval(settings.value(logoutTimeoutKey), defaultTimeoutInterval);
    m_remainingTime = m_timeoutInterval;
}

// Timers and listeners are children: they go with the monitor, unstopped.
InactivityMonitor::~InactivityMonitor() = default;

void InactivityMonitor::setIsAutoLogoutEnabled(bool value) {
    const bool changed = value != m_isAutoLogoutEnabled;
    m_isAutoLogoutEnabled = value;
    if (changed) {
        Q_EMIT isAutoLogoutEnabledChanged();
    }
    QSettings().setValue(autoLogoutEnabledKey, value);
    if (!value) {
        stopMonitoring();
    } else if (m_isAuthenticated) {
        startMonitoring();
    }
}

void InactivityMonitor::setTimeoutInterval(double seconds) {
    const bool changed = seconds != m_timeoutInterval;
    m_timeoutInterval = seconds;
    if (changed) {
        Q_EMIT timeoutIntervalChanged();
    }
    QSettings().setValue(logoutTimeoutKey, seconds);
    resetTimers();
}

void InactivityMonitor::setIsAuthenticated(bool value) {
    if (value == m_isAuthenticated) {
        return;
    }
    m_isAuthenticated = value;
    Q_EMIT isAuthenticatedChanged();
}

void InactivityMonitor::setRemainingTime(double value) {
    if (value == m_remainingTime) {
        return;
    }
    m_remainingTime = value;
    Q_EMIT remainingTimeChanged();
}

void InactivityMonitor::resetTimers() {
    if (!m_isAuthenticated || !m_isAutoLogoutEnabled) {
        return;
    }
    setRemainingTime(m_timeoutInterval);
    // Restarting a running timer starts it over, as a new timer would.
    if (m_inactivityTimer == nullptr) {
        m_inactivityTimer = new QTimer(this);
        m_inactivityTimer->setSingleShot(true);
        m_inactivityTimer->setTimerType(Qt::PreciseTimer);
        connect(m_inactivityTimer, &QTimer::timeout, this,
                &InactivityMonitor::handleInactivityTimeout);
    }
    m_inactivityTimer->start(timerMilliseconds(m_timeoutInterval));
    if (m_countdownTimer == nullptr) {
        m_countdownTimer = new QTimer(this);
        m_countdownTimer->setTimerType(Qt::PreciseTimer);
        m_countdownTimer->setInterval(countdownStepMs);
        connect(m_countdownTimer, &QTimer::timeout, this, &InactivityMonitor::countdownTick);
    }
    m_countdownTimer->start();
}

void InactivityMonitor::countdownTick() {
    if (m_remainingTime > 0.0) {
        setRemainingTime(m_remainingTime - 1.0);
    } else {
        invalidate(m_countdownTimer);
    }
}

void InactivityMonitor::startMonitoring() {
    resetTimers();
    auto* application = QCoreApplication::instance();
    if (application == nullptr) {
        // Without an application there are no events: the timers run unreset.
        return;
    }
    // The previous listener is not removed: it only calls resetTimers, which
    // the two flags guard.
    m_localEventMonitor = new ActivityFilter(this);
    application->installEventFilter(m_localEventMonitor);
}

void InactivityMonitor::stopMonitoring() {
    if (m_localEventMonitor) {
        if (auto* application = QCoreApplication::instance()) {
            application->removeEventFilter(m_localEventMonitor);
        }
        m_localEventMonitor->deleteLater();
        m_localEventMonitor = nullptr;
    }
    invalidateTimers();
}

void InactivityMonitor::handleInactivityTimeout() {
    invalidate(m_countdownTimer);
    if (onTimeout) {
        onTimeout();
    }
}

void InactivityMonitor::invalidateTimers() {
    invalidate(m_inactivityTimer);
    invalidate(m_countdownTimer);
}

// Stops the timer and lets it go; deleted later, as this may run inside the
// timer's own signal.
void InactivityMonitor::invalidate(QTimer*& timer) {
    if (timer != nullptr) {
        timer->stop();
        timer->deleteLater();
        timer = nullptr;
    }
}

} // namespace corvina
