#include "workflows/ScheduleSetup.h"

#include "workflows/ScheduleUnits.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace corvina {

namespace {

bool writeUnit(const QString& path, const QString& text, QString& error) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit()) {
        return true;
    }
    error =
        QStringLiteral("„%1“ konnte nicht geschrieben werden: %2").arg(path, file.errorString());
    return false;
}

/// The text of a unit file as it is now; nothing when there is none.
std::optional<QByteArray> unitText(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return file.readAll();
}

/// Puts a unit file back as it was before a failed change.
void restoreUnit(const QString& path, const std::optional<QByteArray>& text) {
    if (!text) {
        QFile::remove(path);
        return;
    }
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(*text) >= 0) {
        file.commit();
    }
}

bool tellSystemd() {
    return userSystemctl({QStringLiteral("daemon-reload")}) &&
           userSystemctl({QStringLiteral("restart"), QLatin1String(ScheduleUnits::timerName)});
}

} // namespace

QString startsAtNextLoginText() {
    return QStringLiteral("systemd für den Benutzer läuft nicht; der Zeitplan gilt ab der "
                          "nächsten Anmeldung.");
}

QString defaultScheduleTool() {
    const QString beside =
        QCoreApplication::applicationDirPath() + QStringLiteral("/corvina-backup");
    if (QFileInfo(beside).isExecutable()) {
        return beside;
    }
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("corvina-backup"));
    return onPath.isEmpty() ? beside : onPath;
}

ScheduleChange enableSchedule(const ScheduleState& state, const QString& tool) {
    if (QStandardPaths::findExecutable(QStringLiteral("systemctl")).isEmpty()) {
        return {QStringLiteral("Auf diesem Rechner gibt es kein systemd. Automatische Backups "
                               "sind hier nicht möglich."),
                false};
    }
    QString error;
    if (!checkedCalendar(state.calendarExpression(), error)) {
        return {error, false};
    }
    if (!QDir().mkpath(ScheduleUnits::folder() + QStringLiteral("/timers.target.wants"))) {
        return {QStringLiteral("Der Ordner „%1“ konnte nicht angelegt werden.")
                    .arg(ScheduleUnits::folder()),
                false};
    }
    const std::optional<QByteArray> oldService = unitText(ScheduleUnits::servicePath());
    const std::optional<QByteArray> oldTimer = unitText(ScheduleUnits::timerPath());
    if (!writeUnit(ScheduleUnits::servicePath(), ScheduleUnits::serviceText(tool), error) ||
        !writeUnit(ScheduleUnits::timerPath(), ScheduleUnits::timerText(state.calendarExpression()),
                   error) ||
        !state.save(error)) {
        restoreUnit(ScheduleUnits::servicePath(), oldService);
        restoreUnit(ScheduleUnits::timerPath(), oldTimer);
        return {error, false};
    }
    QFile::remove(ScheduleUnits::wantsLinkPath());
    QFile::link(QStringLiteral("../") + QLatin1String(ScheduleUnits::timerName),
                ScheduleUnits::wantsLinkPath());
    return {std::nullopt, !tellSystemd()};
}

ScheduleChange disableSchedule() {
    if (!ScheduleUnits::installedCalendar()) {
        return {};
    }
    const bool running =
        userSystemctl({QStringLiteral("stop"), QLatin1String(ScheduleUnits::timerName)});
    QFile::remove(ScheduleUnits::wantsLinkPath());
    if (!QFile::remove(ScheduleUnits::timerPath()) ||
        !QFile::remove(ScheduleUnits::servicePath())) {
        return {QStringLiteral("Die Dateien des Zeitplans in „%1“ konnten nicht entfernt werden.")
                    .arg(ScheduleUnits::folder()),
                false};
    }
    userSystemctl({QStringLiteral("daemon-reload")});
    return {std::nullopt, !running};
}

} // namespace corvina
