#include "session/StoredPassword.h"

#include "session/KeychainService.h"

#include <QSettings>

namespace corvina {

namespace {

const QString masterPasswordFlagKey = QStringLiteral("hasMasterPassword");

} // namespace

StoredPassword StoredPassword::read(const QString& service, const QString& key) {
    StoredPassword stored;
    try {
        if (auto value = KeychainService(service).keychain.readString(key)) {
            stored.state = State::present;
            stored.value = std::move(*value);
        }
    } catch (const KeychainError& error) {
        stored.state = State::unavailable;
        stored.failure = error.description();
    }
    return stored;
}

bool masterPasswordFlag() {
    return QSettings().value(masterPasswordFlagKey).toBool();
}

void setMasterPasswordFlag(bool exists) {
    QSettings settings;
    if (exists) {
        settings.setValue(masterPasswordFlagKey, true);
    } else {
        settings.remove(masterPasswordFlagKey);
    }
    settings.sync();
}

bool masterPasswordExists(const StoredPassword& stored) {
    return stored.isPresent() || masterPasswordFlag();
}

} // namespace corvina
