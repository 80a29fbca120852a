#include "shell/SingleInstance.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace corvina {

namespace {

/// The desktop's interface for bringing a running application to the front.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(SingleInstance* owner)
        : QDBusAbstractAdaptor(owner)
        , m_owner(owner) {}

public Q_SLOTS:
    void Activate(const QVariantMap& platformData) {
        Q_UNUSED(platformData)
        m_owner->activate();
    }
    void Open(const QStringList& uris, const QVariantMap& platformData) {
        Q_UNUSED(uris)
        Q_UNUSED(platformData)
        m_owner->activate();
    }
    void ActivateAction(const QString& name, const QVariantList& parameter,
                        const QVariantMap& platformData) {
        Q_UNUSED(name)
        Q_UNUSED(parameter)
        Q_UNUSED(platformData)
        m_owner->activate();
    }

private:
    SingleInstance* m_owner;
};

/// What the desktop handed this start to pass on, so that the running
/// window may take the focus (X11 startup notification, Wayland activation).
QVariantMap platformData() {
    QVariantMap data;
    const QByteArray startupId = qgetenv("DESKTOP_STARTUP_ID");
    if (!startupId.isEmpty()) {
        data.insert(QStringLiteral("desktop-startup-id"), QString::fromUtf8(startupId));
    }
    const QByteArray token = qgetenv("XDG_ACTIVATION_TOKEN");
    if (!token.isEmpty()) {
        data.insert(QStringLiteral("activation-token"), QString::fromUtf8(token));
    }
    return data;
}

} // namespace

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent) {}

SingleInstance::~SingleInstance() {
    if (m_lockFd >= 0) {
        ::close(m_lockFd);
    }
}

QString SingleInstance::objectPath() {
    QString path = QLatin1Char('/') + desktopIdentifier;
    path.replace(QLatin1Char('.'), QLatin1Char('/')).replace(QLatin1Char('-'), QLatin1Char('_'));
    return path;
}

SingleInstance::Role SingleInstance::claim(QDBusConnection bus) {
    bool busAnswered = false;
    const Role role = claimOnBus(bus, busAnswered);
    return busAnswered ? role : claimLockFile();
}

SingleInstance::Role SingleInstance::claimOnBus(QDBusConnection& bus, bool& busAnswered) {
    QDBusConnectionInterface* daemon = bus.isConnected() ? bus.interface() : nullptr;
    if (daemon == nullptr) {
        return Role::primary;
    }
    // The object is there before the name, so that whoever finds the name
    // can call it.
    new ApplicationAdaptor(this);
    if (!bus.registerObject(objectPath(), this)) {
        return Role::primary;
    }
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        daemon->registerService(desktopIdentifier, QDBusConnectionInterface::DontQueueService,
                                QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        bus.unregisterObject(objectPath());
        return Role::primary;
    }
    busAnswered = true;
    if (reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        return Role::primary;
    }
    bus.unregisterObject(objectPath());
    QDBusMessage call = QDBusMessage::createMethodCall(
        desktopIdentifier, objectPath(), QStringLiteral("org.freedesktop.Application"),
        QStringLiteral("Activate"));
    call << platformData();
    const QDBusMessage answer = bus.call(call, QDBus::Block, 10000);
    if (answer.type() != QDBusMessage::ReplyMessage) {
        diagnosticLog(QStringLiteral("Activate: ") + answer.errorMessage());
    }
    return Role::activatedOther;
}

SingleInstance::Role SingleInstance::claimLockFile() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    const QString path = folder + QLatin1Char('/') + desktopIdentifier + QStringLiteral(".lock");
    QDir().mkpath(folder);
    m_lockFd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lockFd < 0 || ::flock(m_lockFd, LOCK_EX | LOCK_NB) == 0) {
        // A lock file that can't be made decides nothing: better a second
        // window than none.
        return Role::primary;
    }
    // Without a bus there is no way to reach the first window.
    return Role::activatedOther;
}

void SingleInstance::activate() {
    if (!m_window) {
        return;
    }
    if (m_window->windowStates() & Qt::WindowMinimized) {
        m_window->setWindowStates(m_window->windowStates() & ~Qt::WindowMinimized);
    }
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}

} // namespace corvina

#include "SingleInstance.moc"
