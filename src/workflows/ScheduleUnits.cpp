#include "workflows/ScheduleUnits.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

namespace corvina {

namespace {

/// One argument of a unit's command line: quoted, with systemd's placeholder
/// and variable characters doubled so that they stand for themselves.
QString unitArgument(QString text) {
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    text.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    text.replace(QLatin1Char('%'), QStringLiteral("%%"));
    text.replace(QLatin1Char('$'), QStringLiteral("$$"));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

/// Runs a program for its output; nothing when it cannot start or fails.
std::optional<QString> outputOf(const QString& program, const QStringList& arguments,
                                QString* errorOutput = nullptr) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(5000)) {
        return std::nullopt;
    }
    process.waitForFinished(30000);
    if (errorOutput) {
        *errorOutput = QString::fromUtf8(process.readAllStandardError()).trimmed();
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return std::nullopt;
    }
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// The first "yyyy-MM-dd HH:mm:ss" in systemd's output, as local time.
std::optional<QDateTime> firstTimestamp(const QString& text) {
    static const QRegularExpression pattern(
        QStringLiteral("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const QDateTime time =
        QDateTime::fromString(match.captured(), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    return time.isValid() ? std::optional(time) : std::nullopt;
}

} // namespace

QString ScheduleUnits::folder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/systemd/user");
}
QString ScheduleUnits::timerPath() {
    return folder() + QLatin1Char('/') + QLatin1String(timerName);
}
QString ScheduleUnits::servicePath() {
    return folder() + QLatin1Char('/') + QLatin1String(serviceName);
}
QString ScheduleUnits::wantsLinkPath() {
    return folder() + QStringLiteral("/timers.target.wants/") + QLatin1String(timerName);
}

QString ScheduleUnits::timerText(const QString& calendar) {
    return QStringLiteral("[Unit]\n"
                          "Description=Zeitplan der Sicherungen der Corvina-Daten\n"
                          "Documentation=man:corvina-backup(1)\n"
                          "\n"
                          "[Timer]\n"
                          "OnCalendar=%1\n"
                          "Persistent=true\n"
                          "\n"
                          "[Install]\n"
                          "WantedBy=timers.target\n")
        .arg(calendar);
}

QString ScheduleUnits::serviceText(const QString& tool) {
    return QStringLiteral("[Unit]\n"
                          "Description=Sicherung der Corvina-Daten\n"
                          "Documentation=man:corvina-backup(1)\n"
                          "\n"
                          "[Service]\n"
                          "Type=oneshot\n"
                          "ExecStart=%1 schedule run\n")
        .arg(unitArgument(tool));
}

std::optional<QString> ScheduleUnits::installedCalendar() {
    QFile file(timerPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QString prefix = QStringLiteral("OnCalendar=");
    for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.startsWith(prefix)) {
            return line.mid(prefix.size());
        }
    }
    return QString();
}

bool userSystemctl(const QStringList& arguments, QString* output) {
    const std::optional<QString> result =
        outputOf(QStringLiteral("systemctl"), QStringList{QStringLiteral("--user")} + arguments);
    if (result && output) {
        *output = *result;
    }
    return result.has_value();
}

std::optional<QString> checkedCalendar(const QString& calendar, QString& error) {
    if (calendar.trimmed().isEmpty() || calendar.contains(u'\n')) {
        error = QStringLiteral("Die Zeitangabe ist leer oder mehrzeilig.");
        return std::nullopt;
    }
    QProcess process;
    process.start(QStringLiteral("systemd-analyze"),
                  {QStringLiteral("calendar"), QStringLiteral("--"), calendar});
    if (!process.waitForStarted(5000)) {
        return calendar;
    }
    process.waitForFinished(30000);
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        return calendar;
    }
    error = QStringLiteral("Die Zeitangabe „%1“ versteht systemd nicht: %2")
                .arg(calendar, QString::fromUtf8(process.readAllStandardError()).trimmed());
    return std::nullopt;
}

std::optional<QDateTime> nextElapse(const QString& calendar) {
    QString shown;
    if (userSystemctl({QStringLiteral("show"), QStringLiteral("--value"),
                       QStringLiteral("--property=NextElapseUSecRealtime"),
                       QLatin1String(ScheduleUnits::timerName)},
                      &shown)) {
        if (const auto time = firstTimestamp(shown)) {
            return time;
        }
    }
    const std::optional<QString> computed =
        outputOf(QStringLiteral("systemd-analyze"),
                 {QStringLiteral("calendar"), QStringLiteral("--"), calendar});
    return computed ? firstTimestamp(computed->section(QStringLiteral("Next elapse:"), 1))
                    : std::nullopt;
}

} // namespace corvina
