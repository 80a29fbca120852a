#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

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

} // namespace corvina::test
