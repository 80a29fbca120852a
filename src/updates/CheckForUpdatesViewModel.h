#pragma once

#include "updates/Updater.h"

#include <QObject>
#include <QPointer>

namespace corvina {

/// Follows the updater's `canCheckForUpdates`, starting with its value at
/// the time the updater is set.
class CheckForUpdatesViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)
    Q_PROPERTY(corvina::Updater* updater READ updater WRITE setUpdater NOTIFY updaterChanged)

public:
    explicit CheckForUpdatesViewModel(QObject* parent = nullptr);

    [[nodiscard]] bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    [[nodiscard]] Updater* updater() const { return m_updater; }
    void setUpdater(Updater* updater);

Q_SIGNALS:
    void canCheckForUpdatesChanged();
    void updaterChanged();

private:
    void setCanCheckForUpdates(bool value);

    bool m_canCheckForUpdates = false;
    QPointer<Updater> m_updater;
};

} // namespace corvina
