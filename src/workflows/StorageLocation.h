#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace corvina {

/// Names the one setting of the program outside the keychain: the folder in
/// which backups are stored, kept as a plain path without a scheme.
class DatabaseManager {
public:
    static const DatabaseManager& shared();

    const QString pathKey = QStringLiteral("savedPathKey");
};

/// Turns a stored "savedPathKey" value into an absolute local path (a relative
/// value counts from the working directory). An empty value names no folder.
[[nodiscard]] std::optional<QString> localPathFromStoredValue(const QString& storedValue);

/// The storage folder as stored in the settings of the program, or nothing
/// when the user has not chosen one yet. Shared by the screens and the
/// command-line tool.
[[nodiscard]] std::optional<QString> storedStoragePath();

/// `storedStoragePath` as a file location; an empty location when none is stored.
[[nodiscard]] QUrl storedStorageUrl();

} // namespace corvina
