#include "workflows/ArchivePassword.h"

#include "engine/EncryptionService.h"
#include "session/KeychainService.h"

namespace corvina {

StoredPassword readArchivePassword() {
    return StoredPassword::read(zipPasswordService, zipPasswordKey);
}

QString archivePasswordUnavailableText() {
    return QStringLiteral("Das Archivpasswort konnte nicht aus dem Schlüsselbund gelesen werden: "
                          "Er ist gesperrt oder nicht erreichbar. Entsperre den Schlüsselbund "
                          "und versuche es noch einmal.");
}

BackupPassword passwordForBackup(const QString& backupFile, const QString& storedPassword) {
    const EncryptionService& engine = EncryptionService::shared();
    if (storedPassword.isEmpty() || engine.opensWith(backupFile, storedPassword) ||
        !engine.opensWith(backupFile, QString())) {
        return {storedPassword, false};
    }
    return {QString(), true};
}

QString madeWithoutArchivePasswordText() {
    return QStringLiteral("Dieses Backup wurde ohne Archivpasswort erstellt, nur mit dem "
                          "eingebauten Schlüssel des Programms.");
}

} // namespace corvina
