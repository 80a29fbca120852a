#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>

#include <functional>

namespace corvina {

/// Fingerprint checks through fprintd on the system D-Bus
/// ("net.reactivated.Fprint"), standing in for the platform's biometric
/// context. All calls are asynchronous; results arrive as signals on the
/// thread of this object. One object serves one check, like a fresh context.
///
/// Available: the service answers `GetDefaultDevice` and the device lists at
/// least one enrolled finger for the calling user.
/// Verification: `Claim("")`, subscribe to `VerifyStatus`, `VerifyStart("any")`,
/// wait for the status with done set, `VerifyStop`, `Release`. Only
/// "verify-match" counts as success; every error, time-out or other status is
/// a failure.
class FingerprintVerifier : public QObject {
    Q_OBJECT

public:
    static inline const QString serviceName = QStringLiteral("net.reactivated.Fprint");
    /// Upper bound of one D-Bus call.
    static constexpr int callTimeoutMs = 5000;
    /// Upper bound of the wait for a finger.
    static constexpr int verifyTimeoutMs = 60000;

    explicit FingerprintVerifier(QObject* parent = nullptr);
    ~FingerprintVerifier() override;

    /// Emits `availabilityChecked` once.
    void checkAvailability();
    /// Emits `verificationFinished` once.
    void verify();

Q_SIGNALS:
    void availabilityChecked(bool available);
    void verificationFinished(bool success);

private Q_SLOTS:
    void onVerifyStatus(const QString& result, bool done);

private:
    using Reply = std::function<void(const QDBusMessage&)>;
    void call(const QString& path, const QString& interface, const QString& method,
              const QVariantList& arguments, Reply reply);
    void withDefaultDevice(std::function<void(const QString& devicePath)> next,
                           std::function<void()> failed);
    void finishVerification(bool success);
    void unsubscribe();

    QString m_devicePath;
    bool m_claimed = false;
    bool m_verifying = false;
    bool m_subscribed = false;
    bool m_finished = false;
};

} // namespace corvina
