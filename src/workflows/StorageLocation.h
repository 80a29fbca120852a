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

/// The storage folder as stored in the settings of the program, as an
/// absolute path (a relative one counts from the working directory), or
/// nothing when the user has not chosen one yet. Shared by the screens and the
/// command-line tool.
[[nodiscard]] std::optional<QString> storedStoragePath();

/// `storedStoragePath` as a file location; an empty location when none is stored.
[[nodiscard]] QUrl storedStorageUrl();

} // namespace corvina
