#pragma once

#include "session/KeychainService.h"
#include "session/PasswordModel.h"
#include "session/PasswordValidationError.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <optional>

namespace corvina {

class InactivityMonitor;

/// The password editor of the settings, once for the master password and
/// once for the archive password: creates, replaces and removes the password
/// in the keychain, and for the master password also switches the session
/// options (fingerprint, automatic logout and its time-out).
///
/// Saving checks, in this order, and stops at the first failure: fewer than
/// 4 user-perceived characters; the blank U+0020; any code point that is no
/// Unicode letter, mark or decimal digit; a confirmation that differs; and,
/// for the archive password only, a password already stored (the user is
/// asked whether to overwrite it, as old backups need the old one).
///
/// The view sets `key` once ("masterPassword" or "zipPassword") and connects
/// `showLockButton`/`hideLockButton` to the application. Keychain calls are
/// synchronous on the calling thread; a failed read counts as no password.
/// The stored "isAutoLogoutEnabled" and "LogoutTimeout" (default 5.0 here,
/// which matches no row of the picker) are read at construction.
class PasswordViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString key READ key WRITE setKey NOTIFY keyChanged)
    Q_PROPERTY(QString text READ text NOTIFY keyChanged)
    Q_PROPERTY(bool isTouchID READ isTouchID NOTIFY isTouchIDChanged)
    Q_PROPERTY(QString password1 READ password1 WRITE setPassword1 NOTIFY password1Changed)
    Q_PROPERTY(QString password2 READ password2 WRITE setPassword2 NOTIFY password2Changed)
    /// Undefined, or a map with `identity`, `title`, `description` and
    /// `isOverride` while the alert is shown.
    Q_PROPERTY(QVariant validationError READ validationErrorVariant NOTIFY validationErrorChanged)
    /// Undefined, or the result line's text.
    Q_PROPERTY(QVariant warningText READ warningTextVariant NOTIFY warningTextChanged)
    Q_PROPERTY(bool isMaskedPassword READ isMaskedPassword WRITE setIsMaskedPassword NOTIFY
                   isMaskedPasswordChanged)
    Q_PROPERTY(bool showTextFields READ showTextFields WRITE setShowTextFields NOTIFY
                   showTextFieldsChanged)
    Q_PROPERTY(bool isPassDelete READ isPassDelete WRITE setIsPassDelete NOTIFY isPassDeleteChanged)
    /// The fingerprint toggle; a change by the user writes the flag "useTouchID".
    Q_PROPERTY(bool useTouchID READ useTouchID WRITE setUseTouchIDByUser NOTIFY useTouchIDChanged)
    /// A fingerprint reader with an enrolled finger answered; false until it has.
    Q_PROPERTY(bool isTouchIdAvailable READ isTouchIdAvailable NOTIFY isTouchIdAvailableChanged)
    Q_PROPERTY(bool hasPassword READ hasPassword NOTIFY hasPasswordChanged)
    Q_PROPERTY(QString mainButtonTitle READ mainButtonTitle NOTIFY hasPasswordChanged)
    Q_PROPERTY(int contentHeight READ contentHeight NOTIFY contentHeightChanged)
    Q_PROPERTY(bool isAutoLogoutEnabled READ isAutoLogoutEnabled WRITE setIsAutoLogoutEnabled NOTIFY
                   isAutoLogoutEnabledChanged)
    Q_PROPERTY(
        double logoutTimeout READ logoutTimeout WRITE setLogoutTimeout NOTIFY logoutTimeoutChanged)
    /// The picker's rows: maps with `label` ("10 Min") and `seconds`.
    Q_PROPERTY(QVariantList timeOptions READ timeOptions CONSTANT)
    Q_PROPERTY(
        corvina::InactivityMonitor* monitor READ monitor WRITE setMonitor NOTIFY monitorChanged)

public:
    static inline const QString savedText =
        QStringLiteral("Das Passwort wurde erfolgreich gespeichert!");
    static inline const QString removedText =
        QStringLiteral("Das Passwort wurde erfolgreich entfernt!");
    static constexpr int minimumLength = 4;
    static constexpr double defaultLogoutTimeout = 5.0;

    explicit PasswordViewModel(QObject* parent = nullptr);
    PasswordViewModel(const PasswordModel& model, QObject* parent = nullptr);

    [[nodiscard]] QString key() const;
    /// Takes the model of a raw value; only the first valid key counts.
    void setKey(const QString& raw);
    [[nodiscard]] QString text() const { return m_text; }
    [[nodiscard]] bool isTouchID() const { return m_isTouchID; }
    [[nodiscard]] QString password1() const { return m_password1; }
    void setPassword1(const QString& value);
    [[nodiscard]] QString password2() const { return m_password2; }
    void setPassword2(const QString& value);
    [[nodiscard]] const std::optional<PasswordValidationError>& validationError() const {
        return m_validationError;
    }
    [[nodiscard]] QVariant validationErrorVariant() const;
    [[nodiscard]] const std::optional<QString>& warningText() const { return m_warningText; }
    [[nodiscard]] QVariant warningTextVariant() const;
    [[nodiscard]] bool isMaskedPassword() const { return m_isMaskedPassword; }
    void setIsMaskedPassword(bool value);
    [[nodiscard]] bool showTextFields() const { return m_showTextFields; }
    void setShowTextFields(bool value);
    [[nodiscard]] bool isPassDelete() const { return m_isPassDelete; }
    void setIsPassDelete(bool value);
    [[nodiscard]] bool useTouchID() const { return m_useTouchID; }
    void setUseTouchIDByUser(bool value);
    [[nodiscard]] bool isTouchIdAvailable() const { return m_isTouchIdAvailable; }
    [[nodiscard]] bool hasPassword() const { return m_hasPassword; }
    /// "Passwort ändern" while a password is stored, else "Passwort erstellen".
    [[nodiscard]] QString mainButtonTitle() const;
    /// 220 for the archive password; for the master password 170 without one,
    /// 300 with one and automatic logout on, 260 with it off.
    [[nodiscard]] int contentHeight() const;
    [[nodiscard]] bool isAutoLogoutEnabled() const { return m_isAutoLogoutEnabled; }
    /// Stores the option and passes it on to the monitor, which starts or stops.
    void setIsAutoLogoutEnabled(bool value);
    [[nodiscard]] double logoutTimeout() const { return m_logoutTimeout; }
    /// Stores the time-out (seconds) and passes it on to the monitor.
    void setLogoutTimeout(double seconds);
    [[nodiscard]] static QVariantList timeOptions();
    [[nodiscard]] InactivityMonitor* monitor() const { return m_monitor; }
    void setMonitor(InactivityMonitor* monitor);

    /// The checks above, then `save`. Nothing when the password was saved.
    [[nodiscard]] std::optional<PasswordValidationError> validateAndSave();
    /// Writes `password1` without any check.
    [[nodiscard]] std::optional<PasswordValidationError> save();
    /// Removes the password; any failure is `passwordCannotBeDeleted`.
    [[nodiscard]] std::optional<PasswordValidationError> deletePassword();

    /// The sheet's button "Speichern": on success the sheet closes (and the
    /// first master password shows the lock button), otherwise the error's
    /// alert shows over the open sheet.
    Q_INVOKABLE void submit();
    /// "Speichern" of the override question: writes the new archive password.
    Q_INVOKABLE void confirmOverride();
    /// "OK" or "Abbrechen" of an error alert.
    Q_INVOKABLE void dismissError();
    /// "Ja" of the delete alert: removes the password, then switches the
    /// fingerprint and automatic logout off (for both passwords).
    Q_INVOKABLE void confirmDeletion();
    /// The input sheet has appeared: both inputs empty; without a fingerprint
    /// reader the toggle goes off.
    Q_INVOKABLE void sheetAppeared();
    /// Reads the keychain again for the labels and heights.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void keyChanged();
    void isTouchIDChanged();
    void password1Changed();
    void password2Changed();
    void validationErrorChanged();
    void warningTextChanged();
    void isMaskedPasswordChanged();
    void showTextFieldsChanged();
    void isPassDeleteChanged();
    void useTouchIDChanged();
    void isTouchIdAvailableChanged();
    void hasPasswordChanged();
    void contentHeightChanged();
    void isAutoLogoutEnabledChanged();
    void logoutTimeoutChanged();
    void monitorChanged();
    /// The application shows, or hides, its lock button.
    void showLockButton();
    void hideLockButton();

private:
    void applyModel(const PasswordModel& model);
    [[nodiscard]] std::optional<QString> readPassword() const;
    void setValidationError(std::optional<PasswordValidationError> error);
    void setWarningText(const QString& text);
    void setUseTouchID(bool value);
    void setIsTouchID(bool value);
    void setHasPassword(bool value);
    void setIsTouchIdAvailable(bool value);
    void checkTouchIdAvailability();

    std::optional<ModelType> m_key;
    std::optional<KeychainService> m_keychainService;
    QString m_text;
    bool m_isTouchID = false;
    QString m_password1;
    QString m_password2;
    std::optional<PasswordValidationError> m_validationError;
    std::optional<QString> m_warningText;
    bool m_isMaskedPassword = true;
    bool m_showTextFields = false;
    bool m_isPassDelete = false;
    bool m_useTouchID = false;
    bool m_isTouchIdAvailable = false;
    bool m_hasPassword = false;
    bool m_isAutoLogoutEnabled = false;
    double m_logoutTimeout = defaultLogoutTimeout;
    QPointer<InactivityMonitor> m_monitor;
};

/// The first check of the password rules that `password` fails, if any:
/// length, blank, characters. The confirmation is not looked at.
[[nodiscard]] std::optional<PasswordValidationError> passwordRuleViolation(const QString& password);

} // namespace corvina
