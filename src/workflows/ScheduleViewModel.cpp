#include "workflows/ScheduleViewModel.h"

#include "workflows/ArchivePassword.h"
#include "workflows/ScheduleSetup.h"
#include "workflows/ScheduleUnits.h"
#include "workflows/StorageLocation.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace corvina {

namespace {

/// What keeps the switch off, in the tab's words; empty when nothing does.
QString missingPieces() {
    const StoredPassword password = readArchivePassword();
    if (password.isUnavailable()) {
        return archivePasswordUnavailableText();
    }
    const bool passwordStored = password.isPresent();
    const bool folderStored = storedStoragePath().has_value();
    if (!passwordStored && !folderStored) {
        return QStringLiteral("Es fehlen das Zip-Passwort und der Speicherort. Lege sie in den "
                              "Tabs „Zip Passwort“ und „Speicherort“ fest.");
    }
    if (!passwordStored) {
        return QStringLiteral("Es fehlt das Zip-Passwort. Lege es im Tab „Zip Passwort“ fest.");
    }
    if (!folderStored) {
        return QStringLiteral("Es fehlt der Speicherort. Wähle ihn im Tab „Speicherort“.");
    }
    return {};
}

} // namespace

ScheduleViewModel::ScheduleViewModel(QObject* parent)
    : QObject(parent)
    , m_toolPath(defaultScheduleTool()) {
    const QString folder = QFileInfo(ScheduleState::filePath()).path();
    QDir().mkpath(folder);
    m_watcher.addPath(folder);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, [this] {
        reload();
        Q_EMIT changed();
    });
    reload();
}

void ScheduleViewModel::reload() {
    m_state = ScheduleState::load();
    m_calendar = ScheduleUnits::installedCalendar();
    m_status = ScheduleStatus::of(m_state, m_calendar);
}

void ScheduleViewModel::refresh() {
    m_missingText = missingPieces();
    reload();
    Q_EMIT changed();
}

QStringList ScheduleViewModel::weekdayNames() {
    return {QStringLiteral("Jeden Tag"), QStringLiteral("Montags"),     QStringLiteral("Dienstags"),
            QStringLiteral("Mittwochs"), QStringLiteral("Donnerstags"), QStringLiteral("Freitags"),
            QStringLiteral("Samstags"),  QStringLiteral("Sonntags")};
}

QString ScheduleViewModel::customCalendarText() const {
    return m_state.calendar.isEmpty()
               ? QString()
               : QStringLiteral("Eigene Zeitangabe aus dem Werkzeug: %1").arg(m_state.calendar);
}

QString ScheduleViewModel::failureText() const {
    if (!m_state.lastRunFailed()) {
        return {};
    }
    return QStringLiteral("Das automatische Backup vom %1 ist fehlgeschlagen: %2")
        .arg(scheduleTimeText(*m_state.lastRun), m_state.lastResult);
}

void ScheduleViewModel::setEnabled(bool enabled) {
    if (enabled == this->enabled()) {
        return;
    }
    m_missingText = missingPieces();
    ScheduleChange change;
    if (!enabled) {
        change = disableSchedule();
    } else if (!m_missingText.isEmpty()) {
        change.error = m_missingText;
    } else {
        ScheduleState state = m_state;
        // The password was there when the switch went on: a run that finds
        // none must stop rather than use another.
        state.requiresArchivePassword = true;
        change = enableSchedule(state, m_toolPath);
    }
    m_messageText = change.error                          ? *change.error
                    : change.startsAtNextLogin && enabled ? startsAtNextLoginText()
                                                          : QString();
    reload();
    Q_EMIT changed();
}

void ScheduleViewModel::apply(ScheduleState state) {
    state.calendar.clear();
    ScheduleChange change;
    if (enabled()) {
        change = enableSchedule(state, m_toolPath);
    } else if (QString error; !state.save(error)) {
        change.error = error;
    }
    m_messageText = change.error               ? *change.error
                    : change.startsAtNextLogin ? startsAtNextLoginText()
                                               : QString();
    reload();
    Q_EMIT changed();
}

void ScheduleViewModel::setWeekday(int weekday) {
    ScheduleState state = m_state;
    state.weekday = std::clamp(weekday, 0, 7);
    apply(state);
}

void ScheduleViewModel::setHour(int hour) {
    ScheduleState state = m_state;
    state.hour = std::clamp(hour, 0, 23);
    apply(state);
}

void ScheduleViewModel::setMinute(int minute) {
    ScheduleState state = m_state;
    state.minute = std::clamp(minute, 0, 59);
    apply(state);
}

void ScheduleViewModel::setKeep(int keep) {
    ScheduleState state = m_state;
    state.keep = std::clamp(keep, 1, ScheduleState::maximumKeep);
    // The number alone changes no timer.
    if (QString error; !state.save(error)) {
        m_messageText = error;
    }
    reload();
    Q_EMIT changed();
}

} // namespace corvina
