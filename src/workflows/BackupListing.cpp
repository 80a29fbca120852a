#include "workflows/BackupListing.h"

#include "engine/BackupTimestamp.h"
#include "engine/FinderComment.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace corvina {

namespace {

const QString backupExtension = QStringLiteral("halvorn");
const QString backupPrefix = QStringLiteral("Backup_");
const QString displayDatePattern = QStringLiteral("dd.MM.yyyy HH:mm:ss");

// The time in a backup's file name "Backup_yyyy-MM-dd_HH-mm-ss.halvorn", or
// nothing when the name has another form. The extension is compared exactly.
std::optional<QDateTime> backupDateFromFileName(const QString& fileName) {
    const QFileInfo info(fileName);
    if (info.suffix() != backupExtension) {
        return std::nullopt;
    }
    const QString base = info.completeBaseName();
    if (!base.startsWith(backupPrefix)) {
        return std::nullopt;
    }
    return BackupTimestamp::parse(base.mid(backupPrefix.size()));
}

} // namespace

QStringList listVisibleItems(const QString& folder) {
    const QDir dir(folder);
    QStringList names =
        dir.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return QString::compare(a, b) < 0; });
    QStringList paths;
    paths.reserve(names.size());
    for (const QString& name : names) {
        paths.append(dir.filePath(name));
    }
    return paths;
}

QList<BackupRow> backupRows(const QStringList& items) {
    QList<BackupRow> rows;
    for (const QString& path : items) {
        const QString name = QFileInfo(path).fileName();
        const std::optional<QDateTime> date = backupDateFromFileName(name);
        if (date) {
            rows.append({path, name, *date, date->toString(displayDatePattern)});
        }
    }
    std::sort(rows.begin(), rows.end(), [](const BackupRow& a, const BackupRow& b) {
        return QString::compare(a.fileName, b.fileName) > 0;
    });
    return rows;
}

QList<ListedBackup> listBackups(const QString& folder) {
    QList<ListedBackup> listed;
    for (BackupRow& row : backupRows(listVisibleItems(folder))) {
        std::optional<QString> comment = readFinderComment(row.filePath);
        listed.append({std::move(row), std::move(comment)});
    }
    return listed;
}

} // namespace corvina
