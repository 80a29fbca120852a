#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace corvina::cli {

/// The systemd user units of scheduled backups: a timer and the service it
/// starts, in the user's unit folder (~/.config/systemd/user).
struct ScheduleUnits {
    static constexpr const char* timerName = "corvina-backup.timer";
    static constexpr const char* serviceName = "corvina-backup.service";

    /// The user's unit folder; XDG_CONFIG_HOME is honoured.
    [[nodiscard]] static QString folder();
    [[nodiscard]] static QString timerPath();
    [[nodiscard]] static QString servicePath();
    /// The link by which the timer starts with the user's session.
    [[nodiscard]] static QString wantsLinkPath();

    /// The timer's text: `calendar` as OnCalendar, persistent so that a run
    /// missed while the user was away happens at the next login.
    [[nodiscard]] static QString timerText(const QString& calendar);
    /// The service's text: a one-shot run of `tool schedule run`.
    [[nodiscard]] static QString serviceText(const QString& tool);

    /// The OnCalendar value of the installed timer; nothing when no timer is
    /// installed.
    [[nodiscard]] static std::optional<QString> installedCalendar();
};

/// Settings of scheduled backups, beside the program's own: what the timer's
/// runs need (the comment, whether the archive password must come from the
/// keyring) and what the last run did.
namespace scheduleKey {
inline const QString comment = QStringLiteral("scheduleComment");
inline const QString requiresArchivePassword = QStringLiteral("scheduleRequiresArchivePassword");
inline const QString lastRun = QStringLiteral("scheduleLastRun");
inline const QString lastSuccess = QStringLiteral("scheduleLastSuccess");
/// The backup's path after a success, the German reason after a failure.
inline const QString lastResult = QStringLiteral("scheduleLastResult");
} // namespace scheduleKey

/// One run of the timer's service: a backup of the data folder into the
/// stored storage folder. A failure ends with exitFailure, its German reason
/// on stderr (the journal) and in a desktop notification; a success prints
/// the backup's path. Either way the outcome is kept for `schedule status`.
/// While another action on the data folder runs, the run waits for it up to
/// `lockWait`, then fails.
int runScheduledBackup(std::chrono::seconds lockWait);

/// Runs `systemctl --user arguments...`; true when it exited with 0.
bool userSystemctl(const QStringList& arguments, QString* output = nullptr);

/// Nothing when systemd-analyze rejects the calendar expression (its
/// message in `error`); the expression when it accepts it or is not there to ask.
[[nodiscard]] std::optional<QString> checkedCalendar(const QString& calendar, QString& error);

/// When the timer fires next: from the user's systemd where it runs, else
/// computed from the calendar expression.
[[nodiscard]] std::optional<QDateTime> nextElapse(const QString& calendar);

} // namespace corvina::cli
