#pragma once

#include "session/Status.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

namespace corvina {

/// Generic password items of one service in the desktop's secret store
/// (Secret Service over D-Bus: GNOME Keyring, KWallet).
///
/// Items carry the attributes `service` and `account` (the key), so other
/// programs see the same items:
///   secret-tool lookup service de.Corvina-Backup-Manager.ZipPassword account zipPassword
///
/// Every operation either succeeds or throws `KeychainError` carrying a
/// `Status`; each error but `userCanceled` also writes the line
/// "OSStatus error:[<code>] <description>" to standard output, in every build.
/// An absent item is no error: reads give `std::nullopt`, removal succeeds.
/// No call blocks longer than `callTimeoutMs`: a secret store that is missing
/// or does not answer gives `Status::notAvailable`.
///
/// Calls block the calling thread until done; they are safe from any thread.
/// Typical use, with a failed read counting as no password:
///
///     QString password;
///     try {
///         password = KeychainService(zipPasswordService).keychain
///                        .readString(zipPasswordKey).value_or(QString());
///     } catch (const KeychainError&) {
///     }
class Keychain {
public:
    enum class ItemClass { genericPassword, internetPassword };
    /// `default_` stands for the platform's "default" (a C++ keyword).
    enum class AuthenticationType {
        ntlm,
        msn,
        dpa,
        rpa,
        httpBasic,
        httpDigest,
        htmlForm,
        default_
    };
    enum class Accessibility {
        whenUnlocked,
        afterFirstUnlock,
        always,
        whenPasscodeSetThisDeviceOnly,
        whenUnlockedThisDeviceOnly,
        afterFirstUnlockThisDeviceOnly,
        alwaysThisDeviceOnly
    };
    enum class AuthenticationUI { allow, fail, skip };

    /// How items are addressed. The program never changes these after
    /// construction; the defaults are the values it runs with. Items go to the
    /// store's default collection, which is local (never synchronised) and
    /// readable while the user's session keyring is unlocked.
    struct Options {
        ItemClass itemClass = ItemClass::genericPassword;
        QString service;
        std::optional<QString> accessGroup;
        std::optional<QUrl> server;
        AuthenticationType authenticationType = AuthenticationType::default_;
        Accessibility accessibility = Accessibility::afterFirstUnlock;
        std::optional<unsigned> authenticationPolicy;
        bool synchronizable = false;
        /// Label of new items; without one, the label is "<service> <key>".
        std::optional<QString> label;
        std::optional<QString> comment;
        std::optional<QString> authenticationPrompt;
        std::optional<AuthenticationUI> authenticationUI;
    };

    /// Upper bound of one call to the secret store, in milliseconds.
    static constexpr int callTimeoutMs = 5000;

    /// Service = the program's bundle identifier "de.Corvina-Backup-Manager".
    Keychain();
    explicit Keychain(const QString& service);

    Options options;

    /// The item's value as UTF-8 text; nullopt when there is no item.
    /// Throws `Status::conversionError` when the stored bytes are not UTF-8
    /// (after writing "failed to convert data to string").
    [[nodiscard]] std::optional<QString> readString(const QString& key) const;
    /// Stores the text as UTF-8, as `writeData`.
    /// Throws `Status::conversionError` for text that has no UTF-8 form
    /// (unpaired surrogates).
    void writeString(const QString& value, const QString& key) const;
    /// The item's bytes; nullopt when there is no item.
    [[nodiscard]] std::optional<QByteArray> readData(const QString& key) const;
    /// Stores the bytes: items of this service and key are updated in place
    /// (not removed and added again); without one, an item is added to the
    /// default collection.
    void writeData(const QByteArray& value, const QString& key) const;
    /// Removes the item of this service; removing an absent item succeeds.
    void removeItem(const QString& key) const;

    /// A flag stored under the key alone, without any service. True only when
    /// an item with that account exists and its value is exactly "true".
    /// Any failure gives false. The lookup matches by account alone, so an item
    /// of any service with that account answers it.
    [[nodiscard]] static bool readFlag(const QString& key);
    /// Stores "true" or "false" under the key alone: every item with that
    /// account is removed first, then the flag item is added. Failures are
    /// silent. Note: `removeItem("useTouchID")` on a service's `Keychain` does
    /// not reach this item; only `writeFlag` changes the flag.
    static void writeFlag(const QString& key, bool value);
};

} // namespace corvina
