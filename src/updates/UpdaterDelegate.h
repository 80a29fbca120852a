#pragma once

#include "updates/Appcast.h"

#include <QString>

namespace corvina {

class Updater;

/// What the updater tells its delegate. The updater calls from its own
/// context; a delegate that changes view state hops to the main thread.
class UpdaterDelegate {
public:
    virtual ~UpdaterDelegate() = default;
    /// A feed address that replaces the configured one; empty keeps it.
    [[nodiscard]] virtual QString feedURLStringForUpdater(Updater& updater) = 0;
    virtual void didFindValidUpdate(Updater& updater, const AppcastItem& item) = 0;
    virtual void updaterDidNotFindUpdate(Updater& updater) = 0;
};

} // namespace corvina
