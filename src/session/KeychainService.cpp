#include "session/KeychainService.h"

namespace corvina {

KeychainService::KeychainService(const QString& service)
    : keychain(service.isEmpty() ? Keychain() : Keychain(service)) {}

} // namespace corvina
