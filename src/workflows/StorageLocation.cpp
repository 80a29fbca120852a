#include "workflows/StorageLocation.h"

#include <QDir>
#include <QSettings>

namespace corvina {

const DatabaseManager& DatabaseManager::shared() {
    static const DatabaseManager instance;
    return instance;
}

std::optional<QString> storedStoragePath() {
    const QString value = QSettings().value(DatabaseManager::shared().pathKey).toString();
    if (value.isEmpty()) {
        return std::nullopt;
    }
    return QDir::current().absoluteFilePath(value);
}

QUrl storedStorageUrl() {
    const std::optional<QString> path = storedStoragePath();
    return path ? QUrl::fromLocalFile(*path) : QUrl();
}

} // namespace corvina
