#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvina {

/// The schedule of automatic backups as the window and the tool share it:
/// the rule (when, how many to keep, the comment) and what the last run did.
/// Kept as one JSON file in the user's state folder, replaced in one step,
/// so that a reader never sees half of it.
struct ScheduleState {
    static constexpr int defaultKeep = 14;
    static constexpr int maximumKeep = 365;

    /// 0 for every day, 1 to 7 for one weekday (Monday to Sunday).
    int weekday = 0;
    int hour = 18;
    int minute = 0;
    /// How many automatic backups stay, 1 to 365.
    int keep = defaultKeep;
    /// A systemd calendar expression given to the tool; empty when the
    /// schedule is made of `weekday`, `hour` and `minute`.
    QString calendar;
    QString comment;
    /// Whether a run must find the archive password in the keyring (it was
    /// there when the schedule was turned on).
    bool requiresArchivePassword = false;

    std::optional<QDateTime> lastRun;
    bool lastSuccess = false;
    /// The backup's path after a success, the German reason after a failure.
    QString lastResult;

    /// The file: $XDG_STATE_HOME (else ~/.local/state) /
    /// "de.Corvina-Backup-Manager/schedule.json".
    [[nodiscard]] static QString filePath();
    /// The stored state; defaults where there is none or it can't be read.
    [[nodiscard]] static ScheduleState load();
    /// Writes the state; false with the German reason in `error`.
    bool save(QString& error) const;

    /// The OnCalendar expression of the rule.
    [[nodiscard]] QString calendarExpression() const;
    /// Whether the last run failed: the main screen says so until a success.
    [[nodiscard]] bool lastRunFailed() const { return lastRun && !lastSuccess; }
};

/// The status of the schedule as the settings tab and `schedule status` show
/// it, one line each: whether it is on, the last run, the next one (only
/// while it is on) and how many are kept.
struct ScheduleStatus {
    QString schedule;
    QString lastRun;
    QString nextRun;
    QString keeping;

    /// `installedCalendar` is the timer's expression; nothing while it is off.
    [[nodiscard]] static ScheduleStatus of(const ScheduleState& state,
                                           const std::optional<QString>& installedCalendar);
    [[nodiscard]] QStringList lines() const;
};

/// "dd.MM.yyyy HH:mm", the form of every time the schedule shows.
[[nodiscard]] QString scheduleTimeText(const QDateTime& time);

} // namespace corvina
