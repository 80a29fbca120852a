#pragma once

#include "shell/BackupActionType.h"
#include "workflows/ActionHost.h"

#include <QObject>
#include <QVariant>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <optional>

namespace corvina {

/// The state of the unlocked main screen: which action's sheet is open
/// (`backupActionType`, undefined in QML while none is), the tiles, and the
/// `host` that the action screens share with it (trigger, caption, result
/// line, button flag, the companion application to close). A result line
/// goes by itself `messageDuration` ms (5000) after it was set.
///
/// Made anew with the screen at each unlock, so nothing of a previous
/// session survives a lock.
class MainAppViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QVariant backupActionType READ backupActionTypeVariant WRITE
                   setBackupActionTypeVariant NOTIFY backupActionTypeChanged)
    Q_PROPERTY(QString sheetTitle READ sheetTitle NOTIFY backupActionTypeChanged)
    Q_PROPERTY(QString sheetButtonText READ sheetButtonText NOTIFY backupActionTypeChanged)
    Q_PROPERTY(QVariantList tiles READ tiles CONSTANT)
    Q_PROPERTY(QVariantMap settingsTile READ settingsTile CONSTANT)
    Q_PROPERTY(corvina::ActionHost* host READ host CONSTANT)
    Q_PROPERTY(int messageDuration MEMBER m_messageDuration NOTIFY messageDurationChanged)

public:
    static constexpr int defaultMessageDuration = 5000;

    explicit MainAppViewModel(QObject* parent = nullptr);

    [[nodiscard]] std::optional<BackupActionType> backupActionType() const {
        return m_backupActionType;
    }
    void setBackupActionType(std::optional<BackupActionType> type);
    [[nodiscard]] QVariant backupActionTypeVariant() const;
    /// An action number (0 create, 1 restore, 2 delete) opens its sheet;
    /// anything else closes it.
    void setBackupActionTypeVariant(const QVariant& value);
    /// The open action's raw value; empty while no sheet is open.
    [[nodiscard]] QString sheetTitle() const;
    /// The open sheet's action button; empty while no sheet is open.
    [[nodiscard]] QString sheetButtonText() const;

    /// The three action tiles in order: maps with `action`, `iconName`,
    /// `title`, `subTitle` and `isDestructive`.
    [[nodiscard]] QVariantList tiles() const;
    /// The settings tile, with `iconName`, `title` and `subTitle`.
    [[nodiscard]] static QVariantMap settingsTile();
    [[nodiscard]] ActionHost* host() { return &m_host; }

Q_SIGNALS:
    void backupActionTypeChanged();
    void messageDurationChanged();

private:
    ActionHost m_host;
    std::optional<BackupActionType> m_backupActionType;
    int m_messageDuration = defaultMessageDuration;
};

} // namespace corvina
