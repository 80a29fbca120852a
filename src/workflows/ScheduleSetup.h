#pragma once

#include "workflows/ScheduleState.h"

#include <QString>

#include <optional>

namespace corvina {

/// What turning the schedule on, changing it or turning it off did.
struct ScheduleChange {
    /// The German reason when nothing was changed.
    std::optional<QString> error;
    /// No user systemd answered: the units are written and take effect with
    /// the next login.
    bool startsAtNextLogin = false;
};

/// The sentence for a change that waits for the next login.
[[nodiscard]] QString startsAtNextLoginText();

/// Writes (or rewrites) the timer for `state`'s calendar and the service that
/// runs `tool schedule run`, stores `state`, and tells the user's systemd.
/// Refuses where systemd is missing or rejects the calendar; on any failure
/// the units and the state are as they were before.
[[nodiscard]] ScheduleChange enableSchedule(const ScheduleState& state, const QString& tool);

/// Stops and removes the timer and service; the rule stays stored for the
/// next time. Nothing to remove is no failure.
[[nodiscard]] ScheduleChange disableSchedule();

/// The tool the service runs: beside the running program, else on the PATH.
[[nodiscard]] QString defaultScheduleTool();

} // namespace corvina
