#include "engine/BackupTimestamp.h"

#include <QLocale>

namespace corvina::BackupTimestamp {

QString make(const QDateTime& moment) {
    // The C locale keeps the digits ASCII whatever the user's language.
    return QLocale::c().toString(moment.toLocalTime(), pattern);
}

std::optional<QDateTime> parse(const QString& text) {
    if (text.size() != pattern.size()) {
        return std::nullopt;
    }
    const QDateTime moment = QLocale::c().toDateTime(text, pattern);
    if (!moment.isValid() || make(moment) != text) {
        return std::nullopt;
    }
    return moment;
}

} // namespace corvina::BackupTimestamp
