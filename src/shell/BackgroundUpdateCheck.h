#pragma once

#include "updates/Updater.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace corvina {

/// The main screen's background update check: `start`, called when the
/// screen has appeared, waits `delay` ms (3000) and then checks in the
/// background, when automatic checks are on and automatic downloads are
/// off. In every other combination it does nothing. The wait cannot be
/// cancelled: a check that comes due after a lock still runs.
class BackgroundUpdateCheck : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(corvina::Updater* updater MEMBER m_updater NOTIFY updaterChanged)
    Q_PROPERTY(int delay MEMBER m_delay NOTIFY delayChanged)

public:
    static constexpr int defaultDelay = 3000;

    explicit BackgroundUpdateCheck(QObject* parent = nullptr);

    Q_INVOKABLE void start();

Q_SIGNALS:
    void updaterChanged();
    void delayChanged();

private:
    QPointer<Updater> m_updater;
    int m_delay = defaultDelay;
};

} // namespace corvina
