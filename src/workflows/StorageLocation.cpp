#include "workflows/StorageLocation.h"

#include <QDir>
#include <QSettings>

namespace corvina {

const DatabaseManager& DatabaseManager::shared() {
    static const DatabaseManager instance;
    return instance;
}

std::optional<QString> localPathFromStoredValue(const QString& storedValue) {
    if (storedValue.isEmpty()) {
        return std::nullopt;
    }
    return QDir::current().absoluteFilePath(storedValue);
}

std::optional<QString> storedStoragePath() {
    const QVariant value = QSettings().value(DatabaseManager::shared().pathKey);
    if (!value.isValid()) {
        return std::nullopt;
    }
    return localPathFromStoredValue(value.toString());
}

QUrl storedStorageUrl() {
    const std::optional<QString> path = storedStoragePath();
    return path ? QUrl::fromLocalFile(*path) : QUrl();
}

} // namespace corvina
