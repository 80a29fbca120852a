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
        if (!m_isDone) {
            readKeyring(false);
        }
    });
}

void PasswordEntryViewModel::cancel() {
    m_isDone = true;
}

PasswordEntryViewModel::StoredSecrets PasswordEntryViewModel::readStoredSecrets() {
    StoredSecrets secrets;
    secrets.masterPassword = StoredPassword::read(masterPasswordService, masterPasswordKey);
    secrets.exists = masterPasswordExists(secrets.masterPassword);
    if (secrets.masterPassword.isPresent()) {
        if (!masterPasswordFlag()) {
            // Saved by an earlier version, which kept no flag.
            setMasterPasswordFlag(true);
        }
        secrets.useTouchId = Keychain::readFlag(useTouchIdKey);
    }
    return secrets;
}

void PasswordEntryViewModel::readKeyring(bool compareAfterwards) {
    m_keyState = KeyState::reading;
    // The watcher belongs to this object, so a gate that is gone by the time
    // the keyring answers ignores the answer.
    auto* watcher = new QFutureWatcher<StoredSecrets>(this);
    connect(watcher, &QFutureWatcher<StoredSecrets>::finished, this,
            [this, watcher, compareAfterwards] {
                watcher->deleteLater();
                applyStoredSecrets(watcher->result(), compareAfterwards);
            });
    watcher->setFuture(QtConcurrent::run(&PasswordEntryViewModel::readStoredSecrets));
}

void PasswordEntryViewModel::applyStoredSecrets(const StoredSecrets& secrets,
                                                bool compareAfterwards) {
    if (m_isDone) {
        return;
    }
    if (!secrets.exists) {
        m_keyState = KeyState::none;
        setKeyringNotice(QString());
        if (compareAfterwards) {
            comparePassword();
        }
        return;
    }
    if (!secrets.masterPassword.isPresent()) {
        m_keyState =
            secrets.masterPassword.isUnavailable() ? KeyState::unavailable : KeyState::missing;
        setKeyringNotice(m_keyState == KeyState::unavailable ? keyringUnavailableText
                                                             : masterPasswordMissingText);
        Q_EMIT authenticationAssigned(false);
        if (compareAfterwards) {
            Q_EMIT reported(m_keyringNotice);
        }
        return;
    }
    m_keyState = KeyState::known;
    m_kcPassword = secrets.masterPassword.value;
    setKeyringNotice(QString());
    Q_EMIT authenticationAssigned(false);
    if (compareAfterwards) {
        comparePassword();
        return;
    }
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
    switch (m_keyState) {
    case KeyState::reading:
        Q_EMIT reported(stillReadingText);
        return;
    case KeyState::unavailable:
    case KeyState::missing:
        // The keyring may have been unlocked meanwhile: ask again, then compare.
        readKeyring(true);
        return;
    case KeyState::known:
    case KeyState::none:
        comparePassword();
        return;
    }
}

void PasswordEntryViewModel::comparePassword() {
    // Without a master password only the empty input matches. With one, an
    // empty input never does, even if the stored password were empty.
    const bool matches =
        m_keyState == KeyState::none
            ? m_password.isEmpty()
            : !m_password.isEmpty() &&
                  // Canonical equivalence: "é" typed as one code point equals "e" + U+0301.
                  m_kcPassword.normalized(QString::NormalizationForm_D) ==
                      m_password.normalized(QString::NormalizationForm_D);
    if (matches) {
        unlock();
        return;
    }
    reportWrongPassword();
}

void PasswordEntryViewModel::reportWrongPassword() {
    setIsWrongPassword(true);
    Q_EMIT reported(wrongPasswordText);
    // Each wrong attempt restores the colours after its own delay.
    QTimer::singleShot(m_colorResetDelay, this, [this] { setIsWrongPassword(false); });
}

void PasswordEntryViewModel::setKeyringNotice(const QString& text) {
    if (m_keyringNotice == text) {
        return;
    }
    m_keyringNotice = text;
    Q_EMIT keyringNoticeChanged();
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
    // The gate has done its job: the password read for it is not kept.
    m_kcPassword.fill(u'\0');
    m_kcPassword.clear();
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
