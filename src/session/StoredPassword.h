#pragma once

#include <QString>

namespace corvina {

/// What the keyring answered when asked for one password. Three answers, not
/// two: a keyring that could not give the item (its collection locked and not
/// unlocked, the unlock prompt dismissed, the service missing or too slow)
/// is never taken for one that has no such item. This program fails closed on
/// that answer: no unlocked window, no backup under the empty password.
struct StoredPassword {
    enum class State { absent, present, unavailable };

    State state = State::absent;
    /// The password, when present.
    QString value;
    /// Why the keyring could not give it (the keychain's own description).
    QString failure;

    /// Reads the item `key` of `service`. Blocks up to the keychain's time-out;
    /// keep it off the GUI thread where possible.
    [[nodiscard]] static StoredPassword read(const QString& service, const QString& key);

    [[nodiscard]] bool isPresent() const { return state == State::present; }
    [[nodiscard]] bool isUnavailable() const { return state == State::unavailable; }
};

/// Whether a master password was ever saved here (and not removed since).
/// Kept in the program's settings, outside the keyring, so that a keyring
/// that can't be read makes a locked program stay locked rather than look
/// like one that never had a password.
[[nodiscard]] bool masterPasswordFlag();
void setMasterPasswordFlag(bool exists);

/// A master password exists when the keyring has one or the flag says so.
[[nodiscard]] bool masterPasswordExists(const StoredPassword& stored);

} // namespace corvina
