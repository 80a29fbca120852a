#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvina {

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

/// Runs `systemctl --user arguments...`; true when it exited with 0.
bool userSystemctl(const QStringList& arguments, QString* output = nullptr);

/// Nothing when systemd-analyze rejects the calendar expression (its
/// message in `error`); the expression when it accepts it or is not there to ask.
[[nodiscard]] std::optional<QString> checkedCalendar(const QString& calendar, QString& error);

/// When the timer fires next: from the user's systemd where it runs, else
/// computed from the calendar expression.
[[nodiscard]] std::optional<QDateTime> nextElapse(const QString& calendar);

} // namespace corvina
