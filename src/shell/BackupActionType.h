#pragma once

#include "workflows/ActionHost.h"

#include <QString>

namespace corvina {

/// The three actions of the main screen's tiles: `create`, `restore` and
/// `delete_` (the action "delete"; `delete` is a C++ keyword).
using BackupActionType = ActionHost::Action;

/// The action's raw value, which also titles its sheet: "Backup erstellen",
/// "Backup wiederherstellen", "⚠️ App-Daten löschen".
[[nodiscard]] QString rawValue(BackupActionType type);

/// How the action's tile on the main screen looks.
struct BackupActionTile {
    QString iconName;
    QString title;
    QString subTitle;
    /// Drawn in red instead of the accent colour.
    bool isDestructive = false;
    /// The label of the sheet's action button.
    QString sheetButton;
};

[[nodiscard]] BackupActionTile tileOf(BackupActionType type);

} // namespace corvina
