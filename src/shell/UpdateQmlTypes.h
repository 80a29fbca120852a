#pragma once

// The updater's types that QML uses, registered with this module from
// outside their library (which stays free of QML).

#include "updates/CheckForUpdatesViewModel.h"
#include "updates/SparkleUpdaterDelegate.h"
#include "updates/UpdateUserDriver.h"
#include "updates/Updater.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace corvina {

struct UpdaterForeign {
    Q_GADGET
    QML_FOREIGN(corvina::Updater)
    QML_NAMED_ELEMENT(Updater)
    QML_UNCREATABLE("Owned by the AppDelegate")
};

struct UpdateUserDriverForeign {
    Q_GADGET
    QML_FOREIGN(corvina::UpdateUserDriver)
    QML_NAMED_ELEMENT(UpdateUserDriver)
    QML_UNCREATABLE("Owned by the updater")
};

struct SparkleUpdaterDelegateForeign {
    Q_GADGET
    QML_FOREIGN(corvina::SparkleUpdaterDelegate)
    QML_NAMED_ELEMENT(SparkleUpdaterDelegate)
    QML_UNCREATABLE("Owned by the AppDelegate")
};

struct CheckForUpdatesViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::CheckForUpdatesViewModel)
    QML_NAMED_ELEMENT(CheckForUpdatesViewModel)
};

} // namespace corvina
