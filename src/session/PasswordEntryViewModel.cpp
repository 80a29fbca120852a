#include "session/PasswordEntryViewModel.h"

#include "session/FingerprintVerifier.h"
#include "session/KeychainService.h"

#include <QFutureWatcher>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace corvina {

PasswordEntryViewModel::PasswordEntryViewModel(QObject* parent)
    : QObject(parent) {}

void PasswordEntryViewModel::setPassword(const QString& value) {
    if (m_password == value) {
        return;
    }
    m_password = value;
    Q_EMIT passwordChanged();
}

void PasswordEntryViewModel::setTouchIdOnAppear(bool value) {
    if (m_touchIdOnAppear == value) {
        return;
    }
    m_touchIdOnAppear = value;
    Q_EMIT touchIdOnAppearChanged();
}

void PasswordEntryViewModel::start() {
    if (m_started) {
        return;
    }
    m_started = true;
    // The wait ends with this object: a gate that is gone reads nothing.
    QTimer::singleShot(m_startDelay, this, [this] {
        if (m_isDone) {
            return;
        }
        // The watcher belongs to this object, so a gate that is gone by the
        // time the keyring answers ignores the answer.
        auto* watcher = new QFutureWatcher<StoredSecrets>(this);
        connect(watcher, &QFutureWatcher<StoredSecrets>::finished, this, [this, watcher] {
            watcher->deleteLater();
            applyStoredSecrets(watcher->result());
        });
        watcher->setFuture(QtConcurrent::run(&PasswordEntryViewModel::readStoredSecrets));
    });
}

void PasswordEntryViewModel::cancel() {
    m_isDone = true;
}

PasswordEntryViewModel::StoredSecrets PasswordEntryViewModel::readStoredSecrets() {
    StoredSecrets secrets;
    try {
        secrets.masterPassword =
            KeychainService(masterPasswordService).keychain.readString(masterPasswordKey);
    } catch (const KeychainError&) {
        // A failed read counts as no password, silently.
        return secrets;
    }
    if (secrets.masterPassword) {
        secrets.useTouchId = Keychain::readFlag(useTouchIdKey);
    }
    return secrets;
}

void PasswordEntryViewModel::applyStoredSecrets(const StoredSecrets& secrets) {
    if (m_isDone || !secrets.masterPassword) {
        return;
    }
    m_kcPassword = *secrets.masterPassword;
    Q_EMIT authenticationAssigned(false);
    if (!secrets.useTouchId) {
        return;
    }
    setIsTouchID(true);
    if (m_touchIdOnAppear) {
        QTimer::singleShot(m_touchIdPromptDelay, this, [this] {
            if (!m_isDone) {
                startTouchId();
            }
        });
    }
}

void PasswordEntryViewModel::submitPassword() {
    // Canonical equivalence: "é" typed as one code point equals "e" + U+0301.
    if (m_kcPassword.normalized(QString::NormalizationForm_D) ==
        m_password.normalized(QString::NormalizationForm_D)) {
        unlock();
        return;
    }
    setIsWrongPassword(true);
    Q_EMIT reported(wrongPasswordText);
    // Each wrong attempt restores the colours after its own delay.
    QTimer::singleShot(m_colorResetDelay, this, [this] { setIsWrongPassword(false); });
}

void PasswordEntryViewModel::startTouchId() {
    setTouchIdOnAppear(false);
    auto* context = new FingerprintVerifier(this);
    connect(context, &FingerprintVerifier::availabilityChecked, this,
            [this, context](bool available) {
                if (!available) {
                    context->deleteLater();
                    Q_EMIT reported(touchIdUnavailableText);
                    return;
                }
                setIsVerifyingFingerprint(true);
                context->verify();
            });
    connect(context, &FingerprintVerifier::verificationFinished, this,
            [this, context](bool success) {
                context->deleteLater();
                setIsVerifyingFingerprint(false);
                if (success) {
                    unlock();
                } else {
                    Q_EMIT reported(touchIdFailedText);
                }
            });
    context->checkAvailability();
}

void PasswordEntryViewModel::unlock() {
    m_isDone = true;
    Q_EMIT authenticationAssigned(true);
}

void PasswordEntryViewModel::setIsTouchID(bool value) {
    if (m_isTouchID == value) {
        return;
    }
    m_isTouchID = value;
    Q_EMIT isTouchIDChanged();
}

void PasswordEntryViewModel::setIsWrongPassword(bool value) {
    if (m_isWrongPassword == value) {
        return;
    }
    m_isWrongPassword = value;
    Q_EMIT isWrongPasswordChanged();
}

void PasswordEntryViewModel::setIsVerifyingFingerprint(bool value) {
    if (m_isVerifyingFingerprint == value) {
        return;
    }
    m_isVerifyingFingerprint = value;
    Q_EMIT isVerifyingFingerprintChanged();
}

} // namespace corvina
