#include "shell/BackupActionType.h"

namespace corvina {

QString rawValue(BackupActionType type) {
    switch (type) {
    case BackupActionType::create:
        return QStringLiteral("Backup erstellen");
    case BackupActionType::restore:
        return QStringLiteral("Backup wiederherstellen");
    case BackupActionType::delete_:
        return QStringLiteral("\u26A0\uFE0F App-Daten löschen");
    }
    Q_UNREACHABLE();
    return {};
}

BackupActionTile tileOf(BackupActionType type) {
    switch (type) {
    case BackupActionType::create:
        return {QStringLiteral("tray.and.arrow.down"), QStringLiteral("Erstellen"),
                QStringLiteral("Ein neues Backup wird erstellt"), false,
                QStringLiteral("Erstellen")};
    case BackupActionType::restore:
        return {QStringLiteral("tray.and.arrow.up"), QStringLiteral("Wiederherstellen"),
                QStringLiteral("Backup wiederherstellen oder bearbeiten"), false,
                QStringLiteral("Wiederherstellen")};
    case BackupActionType::delete_:
        return {QStringLiteral("trash"), QStringLiteral("Löschen"),
                QStringLiteral("Alle App-Daten löschen"), true, QStringLiteral("Löschen")};
    }
    Q_UNREACHABLE();
    return {};
}

} // namespace corvina
