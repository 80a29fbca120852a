#pragma once

#include <QString>

#include <optional>

namespace corvina {

/// Which of the two passwords; the raw value is also its keychain key.
enum class ModelType { masterPassword, zipPassword };

[[nodiscard]] QString rawValue(ModelType type);
/// The case of a raw value; nothing for an unknown one.
[[nodiscard]] std::optional<ModelType> modelTypeFromRaw(const QString& raw);

/// What sets the two password editors apart: the keychain item, the
/// explanation on screen, and whether this is the master password's editor
/// (`isTouchID`), which also holds the session options.
struct PasswordModel {
    ModelType key;
    QString service;
    QString text;
    bool isTouchID;

    [[nodiscard]] static PasswordModel masterPassword();
    [[nodiscard]] static PasswordModel zipPassword();
    [[nodiscard]] static PasswordModel of(ModelType type);
};

} // namespace corvina
