#include "shell/MainAppViewModel.h"

#include <QTimer>
#include <QVariantMap>

namespace corvina {

namespace {
constexpr std::array<BackupActionType, 3> allActions{
    BackupActionType::create, BackupActionType::restore, BackupActionType::delete_};
} // namespace

MainAppViewModel::MainAppViewModel(QObject* parent)
    : QObject(parent) {
    connect(&m_host, &ActionHost::closeViewRequested, this,
            [this] { setBackupActionType(std::nullopt); });
    // Each result line clears whatever is shown when its time is over.
    connect(&m_host, &ActionHost::messageTextChanged, this, [this] {
        if (!m_host.messageText().isEmpty()) {
            QTimer::singleShot(m_messageDuration, this,
                               [this] { m_host.setMessageText(QString()); });
        }
    });
}

void MainAppViewModel::setBackupActionType(std::optional<BackupActionType> type) {
    if (m_backupActionType == type) {
        return;
    }
    m_backupActionType = type;
    Q_EMIT backupActionTypeChanged();
}

QVariant MainAppViewModel::backupActionTypeVariant() const {
    return m_backupActionType ? QVariant(static_cast<int>(*m_backupActionType)) : QVariant();
}

void MainAppViewModel::setBackupActionTypeVariant(const QVariant& value) {
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    for (const BackupActionType type : allActions) {
        if (isNumber && static_cast<int>(type) == number) {
            setBackupActionType(type);
            return;
        }
    }
    setBackupActionType(std::nullopt);
}

QString MainAppViewModel::sheetTitle() const {
    return m_backupActionType ? rawValue(*m_backupActionType) : QString();
}

QString MainAppViewModel::sheetButtonText() const {
    return m_backupActionType ? tileOf(*m_backupActionType).sheetButton : QString();
}

QVariantList MainAppViewModel::tiles() const {
    QVariantList result;
    for (const BackupActionType type : allActions) {
        const BackupActionTile tile = tileOf(type);
        result.append(QVariantMap{{QStringLiteral("action"), static_cast<int>(type)},
                                  {QStringLiteral("iconName"), tile.iconName},
                                  {QStringLiteral("title"), tile.title},
                                  {QStringLiteral("subTitle"), tile.subTitle},
                                  {QStringLiteral("isDestructive"), tile.isDestructive}});
    }
    return result;
}

QVariantMap MainAppViewModel::settingsTile() {
    return {{QStringLiteral("iconName"), QStringLiteral("gearshape.2.fill")},
            {QStringLiteral("title"), QStringLiteral("Einstellungen")},
            {QStringLiteral("subTitle"), QStringLiteral("Backup-Einstellungen bearbeiten")}};
}

} // namespace corvina
