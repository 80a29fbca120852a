#include "TestHelpers.h"

#include "session/KeychainService.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace corvina::test {

namespace {
const QString fprintdService = QStringLiteral("net.reactivated.Fprint");
const QString devicePath = QStringLiteral("/net/reactivated/Fprint/Device/0");
} // namespace

void TestKeyring::storeMasterPassword(const QString& password) {
    KeychainService(masterPasswordService).keychain.writeString(password, masterPasswordKey);
}

void TestKeyring::removeMasterPassword() {
    KeychainService(masterPasswordService).keychain.removeItem(masterPasswordKey);
}

void TestKeyring::setUseTouchId(bool value) {
    Keychain::writeFlag(useTouchIdKey, value);
}

bool FakeFprintd::configure(const QString& verifyResult, bool enrolled) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        fprintdService, devicePath, QStringLiteral("net.reactivated.Fprint.Test"),
        QStringLiteral("Configure"));
    message.setArguments({verifyResult, enrolled});
    return QDBusConnection::systemBus().call(message).type() == QDBusMessage::ReplyMessage;
}

QString FakeFprintd::deviceCalls() {
    // The fake hands each call out once; this side keeps them all.
    const QDBusMessage message = QDBusMessage::createMethodCall(
        fprintdService, devicePath, QStringLiteral("net.reactivated.Fprint.Test"),
        QStringLiteral("TakeCalls"));
    const QDBusMessage reply = QDBusConnection::systemBus().call(message);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
        m_deviceCalls += reply.arguments().first().toStringList();
    }
    return m_deviceCalls.join(QLatin1Char(' '));
}

void FakeFprintd::clearDeviceCalls() {
    deviceCalls();
    m_deviceCalls.clear();
}

} // namespace corvina::test
