#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <sys/types.h>

namespace corvina {

/// A running application of the current user, as found in /proc.
struct RunningApplication {
    pid_t pid = 0;
    /// Start time of the process (clock ticks after boot), so that a process
    /// ID reused by another program is never killed in its place.
    quint64 startTime = 0;
    /// The application ID: the Flatpak ID of its environment, or else the
    /// desktop file ID that its systemd unit names.
    QString bundleIdentifier;
    /// The cgroup (v2) path below /sys/fs/cgroup of the application's own
    /// systemd unit, when it runs in one named by its ID; empty otherwise.
    QString unitCgroup;

    /// Text form for diagnostic lines only.
    [[nodiscard]] QString description() const;
};

/// The processes of the current user that belong to an application, in
/// ascending order of process ID. Processes that can't be read are skipped;
/// this process itself is never listed. `procRoot` is "/proc" outside tests.
[[nodiscard]] QList<RunningApplication>
runningApplications(const QString& procRoot = QStringLiteral("/proc"));

/// The first running application whose identifier equals `identifier` exactly.
[[nodiscard]] std::optional<RunningApplication> findRunningApplication(const QString& identifier);

/// Kills the application at once, without asking it: every process of its own
/// unit through the unit's `cgroup.kill`, or SIGKILL to the process when it
/// has no unit of its own or the cgroup can't be written. A unit that holds
/// this process too is never killed whole. The result is not looked at.
void forceTerminate(const RunningApplication& application);

} // namespace corvina
