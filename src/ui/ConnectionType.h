#pragma once

#include <QString>

#include <optional>

namespace corvina {

/// What kind of value a text field holds; chooses the field's symbols.
enum class ConnectionType { text, password, phone, mobile, fax, email, deMail, web, route };

/// URL prefix and symbols of a connection type. The prefix is there for
/// whoever opens such a value; the text field itself only shows the symbols.
struct ConnectionInfo {
    QString urlPrefix;
    QString symbol;
    QString secondSymbol;
};

[[nodiscard]] QString rawValue(ConnectionType type);
/// The case of a raw value ("password", "deMail"); nothing for an unknown one.
[[nodiscard]] std::optional<ConnectionType> connectionTypeFromRaw(const QString& raw);
[[nodiscard]] ConnectionInfo connectionInfo(ConnectionType type);

} // namespace corvina
