#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace corvina::test {

/// Writes the keyring items that the gate reads, in the private keyring of
/// the test session.
class TestKeyring : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    Q_INVOKABLE void storeMasterPassword(const QString& password);
    Q_INVOKABLE void removeMasterPassword();
    Q_INVOKABLE void setUseTouchId(bool value);
};

/// Steers the fake fingerprint daemon on the test's private system bus.
class FakeFprintd : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// What the next verification reports ("verify-match", "verify-no-match")
    /// and whether a finger is enrolled. Returns false when the fake is absent.
    Q_INVOKABLE bool configure(const QString& verifyResult, bool enrolled);
    /// The device methods called since the last `clearDeviceCalls`, in
    /// order, separated by blanks.
    Q_INVOKABLE QString deviceCalls();
    Q_INVOKABLE void clearDeviceCalls();

private:
    QStringList m_deviceCalls;
};

class TestHttpServer;

/// An appcast on a local HTTP server that the updater reads through
/// "SUFeedURL": one item of the given version, with no valid signature.
class TestUpdateFeed : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    TestUpdateFeed();
    ~TestUpdateFeed() override;
    Q_INVOKABLE void offerVersion(const QString& version, const QString& shortVersion);

private:
    std::unique_ptr<TestHttpServer> m_server;
};

} // namespace corvina::test
