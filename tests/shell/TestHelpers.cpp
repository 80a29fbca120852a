#include "TestHelpers.h"

#include "../updates/TestHttpServer.h"
#include "session/KeychainService.h"
#include "updates/UpdateSettings.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QSettings>

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

TestUpdateFeed::TestUpdateFeed()
    : m_server(std::make_unique<TestHttpServer>()) {
    const QUrl feed = m_server->url(QStringLiteral("/appcast.xml"));
    QSettings().setValue(UpdateSettings::feedUrlKey, feed.toString());
}

TestUpdateFeed::~TestUpdateFeed() = default;

void TestUpdateFeed::offerVersion(const QString& version, const QString& shortVersion) {
    const QString item =
        QStringLiteral("<item><title>Corvina Backup Manager %2</title>"
                       "<description>Schnellere Backups.</description>"
                       "<sparkle:version>%1</sparkle:version>"
                       "<sparkle:shortVersionString>%2</sparkle:shortVersionString>"
                       "<enclosure url='%3' length='4' type='application/octet-stream' "
                       "sparkle:edSignature='AAAA'/></item>")
            .arg(version, shortVersion, m_server->url(QStringLiteral("/new.AppImage")).toString());
    m_server->serve(
        QStringLiteral("/appcast.xml"),
        {QStringLiteral("<rss version='2.0' xmlns:sparkle='http://www.andymatuschak.org/"
                        "xml-namespaces/sparkle'><channel>%1</channel></rss>")
             .arg(item)
             .toUtf8()});
}

} // namespace corvina::test
