#pragma once

#include <QString>

namespace corvina {

/// Why a password could not be saved or removed. Each case has an identity
/// and the German text that the editor's alert shows; text between double
/// asterisks is shown bold.
class PasswordValidationError {
public:
    enum Case {
        keychainError,
        passwordsDoNotMatch,
        passwordTooWeak,
        passwordContainsSpaces,
        passwordInvalidCharacters,
        passwordNotSaved,
        unknownError,
        existingPasswordNeedsOverride,
        passwordCannotBeDeleted
    };

    /// `payload` belongs to `keychainError` only.
    explicit PasswordValidationError(Case value, QString payload = {});

    [[nodiscard]] Case value() const { return m_value; }
    [[nodiscard]] QString payload() const { return m_payload; }
    /// "keychainError:" + payload, otherwise the case name.
    [[nodiscard]] QString identity() const;
    [[nodiscard]] QString description() const;
    /// "Warnung" for the override question, "Error" for all others.
    [[nodiscard]] QString alertTitle() const;

    friend bool operator==(const PasswordValidationError& a, const PasswordValidationError& b) {
        return a.m_value == b.m_value && a.m_payload == b.m_payload;
    }

private:
    Case m_value;
    QString m_payload;
};

} // namespace corvina
