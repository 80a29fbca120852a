#include "session/FingerprintVerifier.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QTimer>

namespace corvina {

namespace {
const QString managerPath = QStringLiteral("/net/reactivated/Fprint/Manager");
const QString managerInterface = QStringLiteral("net.reactivated.Fprint.Manager");
const QString deviceInterface = QStringLiteral("net.reactivated.Fprint.Device");

QDBusPendingCall deviceCall(const QString& devicePath, const QString& method) {
    const QDBusMessage message = QDBusMessage::createMethodCall(
        FingerprintVerifier::serviceName, devicePath, deviceInterface, method);
    return QDBusConnection::systemBus().asyncCall(message, FingerprintVerifier::callTimeoutMs);
}

// Ends a claim: VerifyStop, then Release once the stop has been answered. Runs
// on its own, so it completes even when the verifier is gone by then.
void stopAndRelease(const QString& devicePath, bool verifying) {
    if (!verifying) {
        deviceCall(devicePath, QStringLiteral("Release"));
        return;
    }
    auto* watcher =
        new QDBusPendingCallWatcher(deviceCall(devicePath, QStringLiteral("VerifyStop")));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, devicePath] {
        watcher->deleteLater();
        deviceCall(devicePath, QStringLiteral("Release"));
    });
}
} // namespace

FingerprintVerifier::FingerprintVerifier(QObject* parent)
    : QObject(parent) {}

FingerprintVerifier::~FingerprintVerifier() {
    unsubscribe();
    // A check that is still waiting gives the device back.
    if (m_claimed) {
        stopAndRelease(m_devicePath, m_verifying);
    }
}

void FingerprintVerifier::call(const QString& path, const QString& interface, const QString& method,
                               const QVariantList& arguments, Reply reply) {
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, path, interface, method);
    message.setArguments(arguments);
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        // A call on a bus that is not there never finishes: answer it with
        // an error at once.
        QMetaObject::invokeMethod(
            this,
            [reply = std::move(reply),
             error = message.createErrorReply(QDBusError::Disconnected,
                                              QStringLiteral("No system bus"))] { reply(error); },
            Qt::QueuedConnection);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, reply = std::move(reply)] {
        watcher->deleteLater();
        reply(watcher->reply());
    });
}

void FingerprintVerifier::withDefaultDevice(std::function<void(const QString&)> next,
                                            std::function<void()> failed) {
    call(managerPath, managerInterface, QStringLiteral("GetDefaultDevice"), {},
         [next = std::move(next), failed = std::move(failed)](const QDBusMessage& reply) {
             if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
                 failed();
                 return;
             }
             const QString path = qvariant_cast<QDBusObjectPath>(reply.arguments().first()).path();
             if (path.isEmpty()) {
                 failed();
                 return;
             }
             next(path);
         });
}

void FingerprintVerifier::checkAvailability() {
    withDefaultDevice(
        [this](const QString& devicePath) {
            call(devicePath, deviceInterface, QStringLiteral("ListEnrolledFingers"), {QString()},
                 [this](const QDBusMessage& reply) {
                     const bool enrolled = reply.type() == QDBusMessage::ReplyMessage &&
                                           !reply.arguments().isEmpty() &&
                                           !reply.arguments().first().toStringList().isEmpty();
                     Q_EMIT availabilityChecked(enrolled);
                 });
        },
        [this] { Q_EMIT availabilityChecked(false); });
}

void FingerprintVerifier::verify() {
    withDefaultDevice(
        [this](const QString& devicePath) {
            m_devicePath = devicePath;
            call(devicePath, deviceInterface, QStringLiteral("Claim"), {QString()},
                 [this](const QDBusMessage& reply) {
                     if (reply.type() != QDBusMessage::ReplyMessage) {
                         finishVerification(false);
                         return;
                     }
                     m_claimed = true;
                     // Subscribe before starting, so that no status is missed.
                     m_subscribed = QDBusConnection::systemBus().connect(
                         serviceName, m_devicePath, deviceInterface, QStringLiteral("VerifyStatus"),
                         this, SLOT(onVerifyStatus(QString, bool)));
                     if (!m_subscribed) {
                         finishVerification(false);
                         return;
                     }
                     call(m_devicePath, deviceInterface, QStringLiteral("VerifyStart"),
                          {QStringLiteral("any")}, [this](const QDBusMessage& started) {
                              if (started.type() != QDBusMessage::ReplyMessage) {
                                  finishVerification(false);
                                  return;
                              }
                              m_verifying = true;
                              QTimer::singleShot(verifyTimeoutMs, this,
                                                 [this] { finishVerification(false); });
                          });
                 });
        },
        [this] { finishVerification(false); });
}

void FingerprintVerifier::onVerifyStatus(const QString& result, bool done) {
    // A status means the verification runs, even before VerifyStart's reply.
    m_verifying = true;
    if (done) {
        finishVerification(result == QLatin1String("verify-match"));
    }
}

void FingerprintVerifier::finishVerification(bool success) {
    if (m_finished) {
        return;
    }
    m_finished = true;
    unsubscribe();
    if (m_claimed) {
        stopAndRelease(m_devicePath, m_verifying);
        m_claimed = false;
    }
    Q_EMIT verificationFinished(success);
}

void FingerprintVerifier::unsubscribe() {
    if (m_subscribed) {
        QDBusConnection::systemBus().disconnect(serviceName, m_devicePath, deviceInterface,
                                                QStringLiteral("VerifyStatus"), this,
                                                SLOT(onVerifyStatus(QString, bool)));
        m_subscribed = false;
    }
}

} // namespace corvina
