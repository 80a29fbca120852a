#pragma once

// The workflow types that the screens use, registered with this module from
// outside their own library (which stays free of QML).

#include "workflows/ActionHost.h"
#include "workflows/BackupListModel.h"
#include "workflows/CreateZipViewModel.h"
#include "workflows/DeleteDataViewModel.h"
#include "workflows/RestoreZipViewModel.h"

#include <QObject>
#include <QtQml/qqml.h>
#include <QtQml/qqmlregistration.h>

namespace corvina {

struct ActionHostForeign {
    Q_GADGET
    QML_FOREIGN(corvina::ActionHost)
    QML_NAMED_ELEMENT(ActionHost)
    QML_UNCREATABLE("Owned by the main screen")
};

struct CreateZipViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::CreateZipViewModel)
    QML_NAMED_ELEMENT(CreateZipViewModel)
};

struct RestoreZipViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::RestoreZipViewModel)
    QML_NAMED_ELEMENT(RestoreZipViewModel)
};

struct DeleteDataViewModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::DeleteDataViewModel)
    QML_NAMED_ELEMENT(DeleteDataViewModel)
};

struct BackupListModelForeign {
    Q_GADGET
    QML_FOREIGN(corvina::BackupListModel)
    QML_NAMED_ELEMENT(BackupListModel)
    QML_UNCREATABLE("Owned by the restore screen's model")
};

} // namespace corvina
