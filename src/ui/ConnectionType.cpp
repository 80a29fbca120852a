#include "ui/ConnectionType.h"

#include <array>

namespace corvina {

namespace {

struct Row {
    ConnectionType type;
    const char* raw;
    const char* urlPrefix;
    const char* symbol;
    const char* secondSymbol;
};

constexpr std::array rows{
    Row{ConnectionType::text, "text", "", "t.circle.fill", ""},
    Row{ConnectionType::password, "password", "", "eye", "eye.slash"},
    Row{ConnectionType::phone, "phone", "tel:", "phone.fill", ""},
    Row{ConnectionType::mobile, "mobile", "tel:", "iphone.gen1", ""},
    Row{ConnectionType::fax, "fax", "tel:", "teletype", ""},
    Row{ConnectionType::email, "email", "mailto:", "envelope", ""},
    Row{ConnectionType::deMail, "deMail", "mailto:", "envelope", ""},
    Row{ConnectionType::web, "web", "https://", "globe", ""},
    Row{ConnectionType::route, "route", "maps://", "arrow.triangle.turn.up.right.diamond.fill", ""},
};

const Row& rowOf(ConnectionType type) {
    return rows.at(static_cast<std::size_t>(type));
}

} // namespace

QString rawValue(ConnectionType type) {
    return QString::fromLatin1(rowOf(type).raw);
}

std::optional<ConnectionType> connectionTypeFromRaw(const QString& raw) {
    for (const Row& row : rows) {
        if (raw == QLatin1String(row.raw)) {
            return row.type;
        }
    }
    return std::nullopt;
}

ConnectionInfo connectionInfo(ConnectionType type) {
    const Row& row = rowOf(type);
    return {QString::fromLatin1(row.urlPrefix), QString::fromLatin1(row.symbol),
            QString::fromLatin1(row.secondSymbol)};
}

} // namespace corvina
