#include "workflows/ScheduleState.h"

#include "engine/ApplicationIdentity.h"
#include "workflows/ScheduleUnits.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSettings>

#include <algorithm>

namespace corvina {

namespace {

const QStringList weekdayNames{QStringLiteral("Mon"), QStringLiteral("Tue"), QStringLiteral("Wed"),
                               QStringLiteral("Thu"), QStringLiteral("Fri"), QStringLiteral("Sat"),
                               QStringLiteral("Sun")};

/// A schedule turned on by an earlier version kept its comment and password
/// rule in the program's settings.
void takeEarlierSettings(ScheduleState& state) {
    const QSettings settings;
    state.comment = settings.value(QStringLiteral("scheduleComment")).toString();
    state.requiresArchivePassword =
        settings.value(QStringLiteral("scheduleRequiresArchivePassword")).toBool();
}

} // namespace

QString ScheduleState::filePath() {
    QString base = qEnvironmentVariable("XDG_STATE_HOME");
    if (base.isEmpty() || QDir::isRelativePath(base)) {
        base = QDir::homePath() + QStringLiteral("/.local/state");
    }
    return base + QLatin1Char('/') + bundleIdentifier + QStringLiteral("/schedule.json");
}

ScheduleState ScheduleState::load() {
    ScheduleState state;
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) {
        takeEarlierSettings(state);
        return state;
    }
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    state.weekday = std::clamp(json[u"weekday"].toInt(state.weekday), 0, 7);
    state.hour = std::clamp(json[u"hour"].toInt(state.hour), 0, 23);
    state.minute = std::clamp(json[u"minute"].toInt(state.minute), 0, 59);
    state.keep = std::clamp(json[u"keep"].toInt(state.keep), 1, maximumKeep);
    state.calendar = json[u"calendar"].toString();
    state.comment = json[u"comment"].toString();
    state.requiresArchivePassword = json[u"requiresArchivePassword"].toBool();
    const QDateTime lastRun = QDateTime::fromString(json[u"lastRun"].toString(), Qt::ISODate);
    if (lastRun.isValid()) {
        state.lastRun = lastRun;
    }
    state.lastSuccess = json[u"lastSuccess"].toBool();
    state.lastResult = json[u"lastResult"].toString();
    return state;
}

bool ScheduleState::save(QString& error) const {
    QJsonObject json{
        {QStringLiteral("weekday"), weekday},
        {QStringLiteral("hour"), hour},
        {QStringLiteral("minute"), minute},
        {QStringLiteral("keep"), keep},
        {QStringLiteral("calendar"), calendar},
        {QStringLiteral("comment"), comment},
        {QStringLiteral("requiresArchivePassword"), requiresArchivePassword},
        {QStringLiteral("lastSuccess"), lastSuccess},
        {QStringLiteral("lastResult"), lastResult},
    };
    if (lastRun) {
        json.insert(QStringLiteral("lastRun"),
                    lastRun->toOffsetFromUtc(lastRun->offsetFromUtc()).toString(Qt::ISODate));
    }
    const QString path = filePath();
    QSaveFile file(path);
    if (QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
        file.write(QJsonDocument(json).toJson()) >= 0 && file.commit()) {
        return true;
    }
    error = QStringLiteral("Der Zeitplan konnte nicht in „%1“ gespeichert werden: %2")
                .arg(path, file.errorString());
    return false;
}

QString ScheduleState::calendarExpression() const {
    if (!calendar.isEmpty()) {
        return calendar;
    }
    const QString time = QStringLiteral("%1:%2:00")
                             .arg(hour, 2, 10, QLatin1Char('0'))
                             .arg(minute, 2, 10, QLatin1Char('0'));
    return (weekday == 0 ? QString() : weekdayNames.at(weekday - 1) + QLatin1Char(' ')) +
           QStringLiteral("*-*-* ") + time;
}

QString scheduleTimeText(const QDateTime& time) {
    return time.toLocalTime().toString(QStringLiteral("dd.MM.yyyy HH:mm"));
}

ScheduleStatus ScheduleStatus::of(const ScheduleState& state,
                                  const std::optional<QString>& installedCalendar) {
    ScheduleStatus status;
    status.schedule = installedCalendar
                          ? QStringLiteral("Zeitplan: eingeschaltet (%1)").arg(*installedCalendar)
                          : QStringLiteral("Zeitplan: ausgeschaltet");
    status.keeping = QStringLiteral("Aufbewahrt werden: %1 automatische Backups").arg(state.keep);
    if (!state.lastRun) {
        status.lastRun = QStringLiteral("Letzte Sicherung: noch keine");
    } else {
        status.lastRun = QStringLiteral("Letzte Sicherung: %1, %2: %3")
                             .arg(scheduleTimeText(*state.lastRun),
                                  state.lastSuccess ? QStringLiteral("erfolgreich")
                                                    : QStringLiteral("fehlgeschlagen"),
                                  state.lastResult);
    }
    if (installedCalendar) {
        const std::optional<QDateTime> next = nextElapse(*installedCalendar);
        status.nextRun = QStringLiteral("Nächste Sicherung: %1")
                             .arg(next ? scheduleTimeText(*next) : QStringLiteral("unbekannt"));
    }
    return status;
}

QStringList ScheduleStatus::lines() const {
    QStringList all{schedule, lastRun};
    if (!nextRun.isEmpty()) {
        all.append(nextRun);
    }
    all.append(keeping);
    return all;
}

} // namespace corvina
