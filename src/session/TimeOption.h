#pragma once

#include <QList>
#include <QString>

namespace corvina {

/// One choice of the automatic-logout picker: "10 Min", "1 St", ...
struct TimeOption {
    int time;
    bool isHour;
    QString name;

    /// The row as the picker shows it: time, a blank, name.
    [[nodiscard]] QString label() const { return QString::number(time) + u' ' + name; }
    /// The interval in seconds: time × 3600 for hours, time × 60 for minutes.
    [[nodiscard]] double seconds() const { return time * (isHour ? 3600.0 : 60.0); }
};

/// The 17 rows of the picker, from 2 minutes to 5 hours, in picker order.
[[nodiscard]] const QList<TimeOption>& timeOptions();

} // namespace corvina
