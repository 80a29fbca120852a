#include "session/PasswordModel.h"

#include "session/KeychainService.h"

namespace corvina {

QString rawValue(ModelType type) {
    return type == ModelType::masterPassword ? masterPasswordKey : zipPasswordKey;
}

std::optional<ModelType> modelTypeFromRaw(const QString& raw) {
    for (const ModelType type : {ModelType::masterPassword, ModelType::zipPassword}) {
        if (raw == rawValue(type)) {
            return type;
        }
    }
    return std::nullopt;
}

PasswordModel PasswordModel::masterPassword() {
    return {ModelType::masterPassword, masterPasswordService,
            QStringLiteral("Bitte gib das Master-Passwort ein, um die App zu entsperren. Das "
                           "Passwort wird sicher im standardmäßigen Apple-Schlüsselbund "
                           "gespeichert."),
            true};
}

PasswordModel PasswordModel::zipPassword() {
    return {ModelType::zipPassword, zipPasswordService,
            QStringLiteral("Bitte gib das Master-Passwort für Archive ein. Das Passwort wird "
                           "sicher im standardmäßigen Apple-Schlüsselbund gespeichert. Nach der "
                           "Erstellung eines Archivs wird empfohlen, das Master-Passwort nicht "
                           "mehr zu ändern, da dieses Passwort zur Verschlüsselung der Archive "
                           "verwendet wird."),
            false};
}

PasswordModel PasswordModel::of(ModelType type) {
    return type == ModelType::masterPassword ? masterPassword() : zipPassword();
}

} // namespace corvina
