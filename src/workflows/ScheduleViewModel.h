#pragma once

#include "workflows/ScheduleState.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QStringList>

namespace corvina {

/// The schedule of automatic backups for the settings tab "Zeitplan" and the
/// main screen's failure line. Every change takes effect at once: turning it
/// on, changing the time or the number rewrites the timer, turning it off
/// removes it. Follows the state file, so a run of the timer or a change by
/// the tool shows while the window is open.
class ScheduleViewModel : public QObject {
    Q_OBJECT
    /// Whether the timer is installed.
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY changed)
    /// What is missing before the switch can be turned on, and where to set
    /// it; empty when nothing is.
    Q_PROPERTY(QString missingText READ missingText NOTIFY changed)
    /// 0 every day, 1 to 7 Monday to Sunday; an index into `weekdayNames`.
    Q_PROPERTY(int weekday READ weekday WRITE setWeekday NOTIFY changed)
    Q_PROPERTY(int hour READ hour WRITE setHour NOTIFY changed)
    Q_PROPERTY(int minute READ minute WRITE setMinute NOTIFY changed)
    Q_PROPERTY(int keep READ keep WRITE setKeep NOTIFY changed)
    Q_PROPERTY(int maximumKeep READ maximumKeep CONSTANT)
    Q_PROPERTY(QStringList weekdayNames READ weekdayNames CONSTANT)
    /// The tool's own calendar expression while it is in force; empty when the
    /// schedule is made of weekday and time.
    Q_PROPERTY(QString customCalendarText READ customCalendarText NOTIFY changed)
    Q_PROPERTY(QString lastRunText READ lastRunText NOTIFY changed)
    Q_PROPERTY(QString nextRunText READ nextRunText NOTIFY changed)
    /// Why the last change was refused, or that it starts with the next login.
    Q_PROPERTY(QString messageText READ messageText NOTIFY changed)
    /// The main screen's line while the last automatic backup failed.
    Q_PROPERTY(QString failureText READ failureText NOTIFY changed)
    /// The tool the timer's service runs.
    Q_PROPERTY(QString toolPath MEMBER m_toolPath NOTIFY toolPathChanged)

public:
    explicit ScheduleViewModel(QObject* parent = nullptr);

    [[nodiscard]] bool enabled() const { return m_calendar.has_value(); }
    void setEnabled(bool enabled);
    [[nodiscard]] QString missingText() const { return m_missingText; }
    [[nodiscard]] int weekday() const { return m_state.weekday; }
    void setWeekday(int weekday);
    [[nodiscard]] int hour() const { return m_state.hour; }
    void setHour(int hour);
    [[nodiscard]] int minute() const { return m_state.minute; }
    void setMinute(int minute);
    [[nodiscard]] int keep() const { return m_state.keep; }
    void setKeep(int keep);
    [[nodiscard]] static int maximumKeep() { return ScheduleState::maximumKeep; }
    [[nodiscard]] static QStringList weekdayNames();
    [[nodiscard]] QString customCalendarText() const;
    [[nodiscard]] QString lastRunText() const { return m_status.lastRun; }
    [[nodiscard]] QString nextRunText() const { return m_status.nextRun; }
    [[nodiscard]] QString messageText() const { return m_messageText; }
    [[nodiscard]] QString failureText() const;

    /// Reads again what the switch depends on: the archive password in the
    /// keyring, the storage folder, the state and the timer.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void changed();
    void toolPathChanged();

private:
    void reload();
    /// Writes the rule and, while the schedule is on, the timer.
    void apply(ScheduleState state);

    ScheduleState m_state;
    std::optional<QString> m_calendar;
    ScheduleStatus m_status;
    QString m_missingText;
    QString m_messageText;
    QString m_toolPath;
    QFileSystemWatcher m_watcher;
};

} // namespace corvina
