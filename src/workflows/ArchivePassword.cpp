#include "workflows/ArchivePassword.h"

#include "session/KeychainService.h"

namespace corvina {

QString readArchivePassword() {
    try {
        return KeychainService(zipPasswordService)
            .keychain.readString(zipPasswordKey)
            .value_or(QString());
    } catch (const KeychainError&) {
        return {};
    }
}

} // namespace corvina
