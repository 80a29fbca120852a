#include "shell/BackgroundUpdateCheck.h"

#include <QTimer>

namespace corvina {

BackgroundUpdateCheck::BackgroundUpdateCheck(QObject* parent)
    : QObject(parent) {}

void BackgroundUpdateCheck::start() {
    if (!m_updater || !m_updater->automaticallyChecksForUpdates() ||
        m_updater->automaticallyDownloadsUpdates()) {
        return;
    }
    // Bound to the updater, which outlives the screen.
    QTimer::singleShot(m_delay, m_updater.data(), &Updater::checkForUpdatesInBackground);
}

} // namespace corvina
