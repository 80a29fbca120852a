#pragma once

#include "session/StoredPassword.h"

#include <QObject>
#include <QString>

namespace corvina {

/// The logic of the unlock gate: takes the master password or a fingerprint
/// and decides the session's `isAuthenticated`.
///
/// The host (the gate's view) passes `touchIdOnAppear` down from the
/// application and acts on the signals: `authenticationAssigned` sets the
/// session's `isAuthenticated`, `touchIdOnAppearChanged` writes the flag back,
/// `reported` shakes the window and shows the message for 5 s.
///
/// `start()` on first display: after `startDelay` ms the master password is
/// read from the keyring (off the GUI thread); with one stored the session is
/// assigned locked, and with the flag "useTouchID" on the fingerprint button
/// appears and, once per process, the prompt opens `touchIdPromptDelay` ms
/// later.
///
/// The gate fails closed: nothing unlocks it before the stored master password
/// has been read (a press then only says that the keyring is still being
/// read), an empty input never matches an existing master password, and a
/// keyring that can't give the password keeps the gate shut with a notice;
/// each press then asks the keyring again. Only a program that has no master
/// password (neither in the keyring nor by the settings' flag) lets the empty
/// input through. The password read is dropped once the gate has opened.
class PasswordEntryViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    Q_PROPERTY(bool isTouchID READ isTouchID NOTIFY isTouchIDChanged)
    Q_PROPERTY(bool isWrongPassword READ isWrongPassword NOTIFY isWrongPasswordChanged)
    Q_PROPERTY(bool shouldSelectAll READ isWrongPassword NOTIFY isWrongPasswordChanged)
    Q_PROPERTY(bool isVerifyingFingerprint READ isVerifyingFingerprint NOTIFY
                   isVerifyingFingerprintChanged)
    Q_PROPERTY(QString touchIdReason READ touchIdReasonText CONSTANT)
    Q_PROPERTY(bool touchIdOnAppear READ touchIdOnAppear WRITE setTouchIdOnAppear NOTIFY
                   touchIdOnAppearChanged)
    /// A standing notice for the message line while the keyring can't give the
    /// master password; empty otherwise.
    Q_PROPERTY(QString keyringNotice READ keyringNotice NOTIFY keyringNoticeChanged)
    Q_PROPERTY(int startDelay MEMBER m_startDelay NOTIFY delaysChanged)
    Q_PROPERTY(int touchIdPromptDelay MEMBER m_touchIdPromptDelay NOTIFY delaysChanged)
    Q_PROPERTY(int colorResetDelay MEMBER m_colorResetDelay NOTIFY delaysChanged)

public:
    static inline const QString wrongPasswordText =
        QStringLiteral("Du hast ein falsches Passwort eingegeben.");
    static inline const QString touchIdUnavailableText =
        QStringLiteral("Touch ID ist auf diesem Gerät nicht verfügbar");
    static inline const QString touchIdFailedText =
        QStringLiteral("Die biometrische Authentifizierung ist fehlgeschlagen");
    /// Why the fingerprint is asked for; shown while the reader waits.
    static inline const QString touchIdReason = QStringLiteral("Entsperre die App mit Touch ID");
    static inline const QString stillReadingText =
        QStringLiteral("Der Schlüsselbund wird noch gelesen. Bitte warte einen Moment.");
    static inline const QString keyringUnavailableText =
        QStringLiteral("Der Schlüsselbund ist gesperrt oder nicht erreichbar. Entsperre ihn und "
                       "drücke dann die Eingabetaste.");
    static inline const QString masterPasswordMissingText =
        QStringLiteral("Das Master-Passwort fehlt im Schlüsselbund. Wie du den Zugang "
                       "zurücksetzt, steht in „man corvina-backup“.");

    explicit PasswordEntryViewModel(QObject* parent = nullptr);

    [[nodiscard]] QString password() const { return m_password; }
    void setPassword(const QString& value);
    [[nodiscard]] bool isTouchID() const { return m_isTouchID; }
    /// True for `colorResetDelay` ms after a wrong password: the lock picture
    /// and the input turn red, and the input selects its whole text.
    [[nodiscard]] bool isWrongPassword() const { return m_isWrongPassword; }
    [[nodiscard]] bool isVerifyingFingerprint() const { return m_isVerifyingFingerprint; }
    [[nodiscard]] static QString touchIdReasonText() { return touchIdReason; }
    [[nodiscard]] QString keyringNotice() const { return m_keyringNotice; }
    [[nodiscard]] bool touchIdOnAppear() const { return m_touchIdOnAppear; }
    void setTouchIdOnAppear(bool value);

    /// The first-display task. Only the first call counts.
    Q_INVOKABLE void start();
    /// The gate is leaving the window: a first-display task that has not
    /// finished yet, and a prompt that has not opened yet, end here.
    Q_INVOKABLE void cancel();
    /// Compares the input with the stored master password (canonical equivalence).
    Q_INVOKABLE void submitPassword();
    /// The fingerprint sequence; also the fingerprint button's action.
    Q_INVOKABLE void startTouchId();

Q_SIGNALS:
    void passwordChanged();
    void isTouchIDChanged();
    void isWrongPasswordChanged();
    void isVerifyingFingerprintChanged();
    void touchIdOnAppearChanged();
    void keyringNoticeChanged();
    void delaysChanged();
    /// Set the session's `isAuthenticated` to this value.
    void authenticationAssigned(bool isAuthenticated);
    /// Shake the window and show this message.
    void reported(const QString& message);

private:
    /// How far the gate knows the stored master password.
    enum class KeyState {
        reading,     ///< not read yet, or being read again
        known,       ///< read: `m_kcPassword` holds it
        none,        ///< the program has no master password
        unavailable, ///< one exists, but the keyring could not give it
        missing,     ///< one exists by the flag, but the keyring has none
    };
    struct StoredSecrets {
        StoredPassword masterPassword;
        bool exists = false;
        bool useTouchId = false;
    };
    static StoredSecrets readStoredSecrets();
    void readKeyring(bool compareAfterwards);
    void applyStoredSecrets(const StoredSecrets& secrets, bool compareAfterwards);
    void comparePassword();
    void reportWrongPassword();
    void setKeyringNotice(const QString& text);
    void unlock();
    void setIsTouchID(bool value);
    void setIsWrongPassword(bool value);
    void setIsVerifyingFingerprint(bool value);

    KeyState m_keyState = KeyState::reading;
    QString m_kcPassword;
    QString m_keyringNotice;
    QString m_password;
    bool m_isTouchID = false;
    bool m_isWrongPassword = false;
    bool m_isVerifyingFingerprint = false;
    bool m_touchIdOnAppear = true;
    bool m_started = false;
    // Unlocked or cancelled: the pending first-display steps do nothing.
    bool m_isDone = false;
    int m_startDelay = 500;
    int m_touchIdPromptDelay = 1000;
    int m_colorResetDelay = 1000;
};

} // namespace corvina
