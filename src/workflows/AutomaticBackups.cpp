#include "workflows/AutomaticBackups.h"

#include "engine/AppleDouble.h"
#include "engine/FileAttribute.h"
#include "workflows/BackupListing.h"
#include "workflows/RemoveItem.h"

#include <QFile>

#include <algorithm>

namespace corvina {

namespace {

const QByteArray automaticMarkValue = QByteArrayLiteral("schedule");

} // namespace

bool markAutomatic(const QString& backupFile) {
    // Both places: the attribute stays with the file on disks that keep
    // attributes, the "._" file also where a copy drops them (a move to an
    // exFAT stick).
    const bool inAttribute =
        writeOwnAttribute(backupFile, automaticMarkAttributeName, automaticMarkValue);
    const bool inAppleDouble =
        writeAppleDoubleAttribute(backupFile, automaticMarkAttributeName, automaticMarkValue);
    return inAttribute || inAppleDouble;
}

bool isAutomatic(const QString& backupFile) {
    return readFileAttribute(backupFile, automaticMarkAttributeName) == automaticMarkValue ||
           readAppleDoubleAttribute(backupFile, automaticMarkAttributeName) == automaticMarkValue;
}

QStringList backupsBeyondKeep(const QString& folder, int keep, const QString& spared) {
    int kept = 0;
    QStringList beyond;
    // Newest first: the first `keep` automatic ones stay.
    for (const BackupRow& row : backupRows(listVisibleItems(folder))) {
        if (!isAutomatic(row.filePath)) {
            continue;
        }
        if (kept < std::max(keep, 1) || row.filePath == spared) {
            ++kept;
            continue;
        }
        beyond.append(row.filePath);
    }
    return beyond;
}

Pruning deleteBackups(const QStringList& backups) {
    Pruning pruning;
    for (const QString& backup : backups) {
        if (const std::optional<QString> error = removeItem(backup)) {
            pruning.failures.append(
                QStringLiteral("„%1“ konnte nicht gelöscht werden.").arg(backup));
            continue;
        }
        QFile::remove(appleDoublePath(backup));
        pruning.deleted.append(backup);
    }
    return pruning;
}

} // namespace corvina
