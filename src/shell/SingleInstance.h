#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QPointer>
#include <QVariantMap>
#include <QWindow>

namespace corvina {

/// One window program per user session. The first start owns the program's
/// well-known name on the session bus and answers the desktop's
/// org.freedesktop.Application interface; a later start calls its Activate,
/// which raises and activates the running window, and exits. Where no
/// session bus answers, an flock on a file in $XDG_RUNTIME_DIR decides which
/// start is the first.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    enum class Role {
        /// This start is the first: it builds the window.
        primary,
        /// Another start runs and was told to come to the front.
        activatedOther,
    };

    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Claims the program's name on `bus` (or the lock file where the bus
    /// does not answer), or activates its owner.
    Role claim(QDBusConnection bus = QDBusConnection::sessionBus());

    /// The window that Activate brings to the front.
    void setWindow(QWindow* window) { m_window = window; }

    /// The object path of the desktop interface: the name with dots as
    /// slashes and the hyphens, which paths cannot hold, as underscores.
    static QString objectPath();

public Q_SLOTS:
    /// org.freedesktop.Application.Activate: raises and activates the window.
    void activate();

private:
    Role claimOnBus(QDBusConnection& bus, bool& busAnswered);
    Role claimLockFile();

    QPointer<QWindow> m_window;
    int m_lockFd = -1;
};

} // namespace corvina
