#include "updates/SparkleUpdaterDelegate.h"

#include "engine/DiagnosticLog.h"

#include <QMetaObject>

namespace corvina {

SparkleUpdaterDelegate::SparkleUpdaterDelegate(QObject* parent)
    : QObject(parent) {}

QString SparkleUpdaterDelegate::feedURLStringForUpdater(Updater& /*updater*/) {
    return {};
}

void SparkleUpdaterDelegate::didFindValidUpdate(Updater& /*updater*/, const AppcastItem& item) {
    diagnosticLog(QStringLiteral("Найдено обновление: ") + item.versionString);
    const QString version = item.displayVersionString;
    QMetaObject::invokeMethod(
        this, [this, version] { setState(true, version); }, Qt::QueuedConnection);
}

void SparkleUpdaterDelegate::updaterDidNotFindUpdate(Updater& /*updater*/) {
    QMetaObject::invokeMethod(
        this,
        [this] {
            setState(false, QString());
            diagnosticLog(QStringLiteral("Обновлений не найдено."));
        },
        Qt::QueuedConnection);
}

void SparkleUpdaterDelegate::setState(bool available, const QString& version) {
    if (m_isUpdateAvailable != available) {
        m_isUpdateAvailable = available;
        Q_EMIT isUpdateAvailableChanged();
    }
    if (m_availableUpdateVersion != version) {
        m_availableUpdateVersion = version;
        Q_EMIT availableUpdateVersionChanged();
    }
}

} // namespace corvina
