#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvina {

/// One backup as the restore list shows it.
struct BackupRow {
    QString filePath;
    QString fileName;
    /// The time in the name, read as local time.
    QDateTime date;
    /// `date` as "dd.MM.yyyy HH:mm:ss", the row's text.
    QString dateText;

    friend bool operator==(const BackupRow&, const BackupRow&) = default;
};

/// A row with the comment of its file, as `listBackups` gives it.
struct ListedBackup {
    BackupRow row;
    std::optional<QString> comment;
};

/// The folder's visible items (hidden ones left out), one level deep, as
/// absolute paths in ascending order of their names. An unreadable or missing
/// folder gives an empty list.
[[nodiscard]] QStringList listVisibleItems(const QString& folder);

/// The backups among the items, newest first (descending by file name).
[[nodiscard]] QList<BackupRow> backupRows(const QStringList& items);

/// The restore list of a folder with each backup's comment: the rule of the
/// restore screen, shared with the command-line tool.
[[nodiscard]] QList<ListedBackup> listBackups(const QString& folder);

} // namespace corvina
