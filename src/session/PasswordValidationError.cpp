#include "session/PasswordValidationError.h"

#include <array>
#include <utility>

namespace corvina {

namespace {

struct Row {
    const char* identity;
    const char* description;
};

// In case order.
const std::array<Row, 9> rows{{
    {"keychainError", "Es gab einen Fehler beim Zugriff auf den Schlüsselbund: "},
    {"passwordsDoNotMatch", "Deine Passwörter stimmen nicht überein."},
    {"passwordTooWeak", "Dein Passwort ist zu kurz. Es muss mindestens 4 Zeichen enthalten."},
    {"passwordContainsSpaces", "Dein Passwort darf keine Leerzeichen enthalten."},
    {"passwordInvalidCharacters", "Dein Passwort darf nur Buchstaben und Zahlen enthalten."},
    {"passwordNotSaved", "Dein Passwort konnte nicht gespeichert werden."},
    {"unknownError", "Ein unbekannter Fehler ist aufgetreten."},
    {"existingPasswordNeedsOverride",
     "Es gibt bereits ein Passwort im Schlüsselbund. Möchtest du das vorhandene Passwort "
     "überschreiben? Backups, die mit dem alten Passwort gespeichert wurden, können danach "
     "**nicht mehr wiederhergestellt** werden."},
    {"passwordCannotBeDeleted", "Das Passwort kann nicht gelöscht werden, da es für die "
                                "Entschlüsselung von Archiven benötigt wird."},
}};

} // namespace

PasswordValidationError::PasswordValidationError(Case value, QString payload)
    : m_value(value)
    , m_payload(std::move(payload)) {}

QString PasswordValidationError::identity() const {
    const QString name = QString::fromUtf8(rows.at(m_value).identity);
    return m_value == keychainError ? name + u':' + m_payload : name;
}

QString PasswordValidationError::description() const {
    const QString text = QString::fromUtf8(rows.at(m_value).description);
    return m_value == keychainError ? text + m_payload : text;
}

QString PasswordValidationError::alertTitle() const {
    return m_value == existingPasswordNeedsOverride ? QStringLiteral("Warnung")
                                                    : QStringLiteral("Error");
}

} // namespace corvina
