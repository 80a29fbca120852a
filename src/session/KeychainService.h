#pragma once

#include "session/Keychain.h"

#include <QString>

namespace corvina {

/// Service and key of the master password, which locks the window.
inline const QString masterPasswordService =
    QStringLiteral("de.Corvina-Backup-Manager.MasterPassword");
inline const QString masterPasswordKey = QStringLiteral("masterPassword");
/// Service and key of the archive password, which feeds the backup cipher.
inline const QString zipPasswordService = QStringLiteral("de.Corvina-Backup-Manager.ZipPassword");
inline const QString zipPasswordKey = QStringLiteral("zipPassword");
/// Key of the Touch ID flag, read and written with `Keychain::readFlag`/`writeFlag`.
inline const QString useTouchIdKey = QStringLiteral("useTouchID");

/// The program's holder of one `Keychain`; every password goes through one.
/// Cheap: make one where it is needed.
class KeychainService {
public:
    /// An empty service falls back on the bundle identifier "de.Corvina-Backup-Manager".
    explicit KeychainService(const QString& service);

    Keychain keychain;
};

} // namespace corvina
