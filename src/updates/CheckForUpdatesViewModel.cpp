#include "updates/CheckForUpdatesViewModel.h"

namespace corvina {

CheckForUpdatesViewModel::CheckForUpdatesViewModel(QObject* parent)
    : QObject(parent) {}

void CheckForUpdatesViewModel::setUpdater(Updater* updater) {
    if (m_updater == updater) {
        return;
    }
    if (m_updater) {
        m_updater->disconnect(this);
    }
    m_updater = updater;
    if (m_updater) {
        connect(m_updater, &Updater::canCheckForUpdatesChanged, this,
                [this] { setCanCheckForUpdates(m_updater->canCheckForUpdates()); });
    }
    setCanCheckForUpdates(m_updater && m_updater->canCheckForUpdates());
    Q_EMIT updaterChanged();
}

void CheckForUpdatesViewModel::setCanCheckForUpdates(bool value) {
    if (m_canCheckForUpdates == value) {
        return;
    }
    m_canCheckForUpdates = value;
    Q_EMIT canCheckForUpdatesChanged();
}

} // namespace corvina
