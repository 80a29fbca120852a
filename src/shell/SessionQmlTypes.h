#pragma once

// The session types that QML uses, registered with this module
// from outside their own libraries (which stay free of QML).

#include "session/InactivityMonitor.h"
#include "session/PasswordEntryViewModel.h"
#include "session/PasswordViewModel.h"
#include "workflows/PathViewModel.h"
#include "workflows/ScheduleViewModel.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace corvina {

struct PasswordEntryViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::PasswordEntryViewModel)
    QML_NAMED_ELEMENT(PasswordEntryViewModel)
};

struct PasswordViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::PasswordViewModel)
    QML_NAMED_ELEMENT(PasswordViewModel)
};

struct PathViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::PathViewModel)
    QML_NAMED_ELEMENT(PathViewModel)
};

struct ScheduleViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::ScheduleViewModel)
    QML_NAMED_ELEMENT(ScheduleViewModel)
};

struct InactivityMonitorForeign {
    Q_GADGET
    QML_FOREIGN(corvina::InactivityMonitor)
    QML_NAMED_ELEMENT(InactivityMonitor)
    QML_UNCREATABLE("Owned by the AppDelegate")
};

} // namespace corvina
