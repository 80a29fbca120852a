#pragma once

#include <QString>

namespace corvina {

/// The archive password from the keychain. A missing item, and a read that
/// fails, give the empty password, silently: a backup is then made or opened
/// with the key of the program's internal passphrase alone.
[[nodiscard]] QString readArchivePassword();

} // namespace corvina
