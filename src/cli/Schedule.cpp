// `corvina-backup schedule`: scheduled backups as a systemd user timer. The
// units live in the user's unit folder; where a user systemd runs, it is told
// at once, else the timer starts with the next login.
#include "cli/CommandLine.h"
#include "cli/ScheduleUnits.h"

#include "session/KeychainService.h"
#include "workflows/StorageLocation.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QSettings>

namespace corvina::cli {

namespace {

const QString dateFormat = QStringLiteral("dd.MM.yyyy HH:mm");

bool writeUnit(const QString& path, const QString& text, QString& error) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit()) {
        return true;
    }
    error =
        QStringLiteral("„%1“ konnte nicht geschrieben werden: %2").arg(path, file.errorString());
    return false;
}

/// Whether the archive password is in the keyring now; nothing when the
/// keyring cannot be read (the reason in `error`).
std::optional<bool> archivePasswordStored(QString& error) {
    return withStdoutOnStderr([&]() -> std::optional<bool> {
        try {
            return KeychainService(zipPasswordService)
                .keychain.readString(zipPasswordKey)
                .has_value();
        } catch (const KeychainError& failure) {
            error = QStringLiteral("Der Schlüsselbund konnte nicht gelesen werden: %1")
                        .arg(failure.description());
            return std::nullopt;
        }
    });
}

int fail(const QString& message) {
    printError(message);
    return exitFailure;
}

int enable(const QCommandLineParser& parser, const QStringList& arguments) {
    const QStringList kinds{QStringLiteral("daily"), QStringLiteral("weekly"),
                            QStringLiteral("calendar")};
    QString calendar = QStringLiteral("daily");
    int chosen = 0;
    for (const QString& kind : kinds) {
        if (parser.isSet(kind)) {
            ++chosen;
            calendar = kind == QLatin1String("calendar") ? parser.value(kind) : kind;
        }
    }
    if (chosen > 1) {
        return usageError(parser, arguments,
                          QStringLiteral("nur eine von --daily, --weekly und --calendar"));
    }
    QString error;
    if (!checkedCalendar(calendar, error)) {
        return usageError(parser, arguments, error);
    }
    if (!storedStoragePath()) {
        return fail(QStringLiteral("Es ist noch kein Speicherordner festgelegt. Bitte wählen Sie "
                                   "ihn zuerst im Corvina Backup Manager."));
    }
    // A password in the keyring now must be there at every run: a locked
    // keyring then stops the run instead of making a backup under the wrong key.
    const std::optional<bool> passwordStored = archivePasswordStored(error);
    if (!passwordStored) {
        return fail(error);
    }

    if (!QDir().mkpath(ScheduleUnits::folder() + QStringLiteral("/timers.target.wants")) ||
        !writeUnit(ScheduleUnits::servicePath(),
                   ScheduleUnits::serviceText(QCoreApplication::applicationFilePath()), error) ||
        !writeUnit(ScheduleUnits::timerPath(), ScheduleUnits::timerText(calendar), error)) {
        return fail(error.isEmpty()
                        ? QStringLiteral("Der Ordner „%1“ konnte nicht angelegt werden.")
                              .arg(ScheduleUnits::folder())
                        : error);
    }
    QFile::remove(ScheduleUnits::wantsLinkPath());
    QFile::link(QStringLiteral("../") + QLatin1String(ScheduleUnits::timerName),
                ScheduleUnits::wantsLinkPath());
    QSettings settings;
    settings.setValue(scheduleKey::comment, parser.value(QStringLiteral("comment")));
    settings.setValue(scheduleKey::requiresArchivePassword, *passwordStored);

    printOut(QStringLiteral("Zeitplan eingeschaltet: %1").arg(calendar));
    if (userSystemctl({QStringLiteral("daemon-reload")}) &&
        userSystemctl({QStringLiteral("restart"), QLatin1String(ScheduleUnits::timerName)})) {
        if (const auto next = nextElapse(calendar)) {
            printOut(QStringLiteral("Nächste Sicherung: %1").arg(next->toString(dateFormat)));
        }
    } else {
        printOut(QStringLiteral("systemd für den Benutzer läuft nicht; der Zeitplan gilt ab der "
                                "nächsten Anmeldung."));
    }
    return exitSuccess;
}

int disable() {
    if (!ScheduleUnits::installedCalendar()) {
        printOut(QStringLiteral("Es ist kein Zeitplan eingeschaltet."));
        return exitSuccess;
    }
    userSystemctl({QStringLiteral("stop"), QLatin1String(ScheduleUnits::timerName)});
    QFile::remove(ScheduleUnits::wantsLinkPath());
    if (!QFile::remove(ScheduleUnits::timerPath()) ||
        !QFile::remove(ScheduleUnits::servicePath())) {
        return fail(QStringLiteral("Die Dateien des Zeitplans in „%1“ konnten nicht entfernt "
                                   "werden.")
                        .arg(ScheduleUnits::folder()));
    }
    userSystemctl({QStringLiteral("daemon-reload")});
    printOut(QStringLiteral("Zeitplan ausgeschaltet."));
    return exitSuccess;
}

int status() {
    const std::optional<QString> calendar = ScheduleUnits::installedCalendar();
    printOut(calendar ? QStringLiteral("Zeitplan: eingeschaltet (%1)").arg(*calendar)
                      : QStringLiteral("Zeitplan: ausgeschaltet"));
    const QSettings settings;
    const QDateTime lastRun =
        QDateTime::fromString(settings.value(scheduleKey::lastRun).toString(), Qt::ISODate);
    if (!lastRun.isValid()) {
        printOut(QStringLiteral("Letzte Sicherung: noch keine"));
    } else {
        printOut(QStringLiteral("Letzte Sicherung: %1, %2: %3")
                     .arg(lastRun.toLocalTime().toString(dateFormat),
                          settings.value(scheduleKey::lastSuccess).toBool()
                              ? QStringLiteral("erfolgreich")
                              : QStringLiteral("fehlgeschlagen"),
                          settings.value(scheduleKey::lastResult).toString()));
    }
    if (calendar) {
        const std::optional<QDateTime> next = nextElapse(*calendar);
        printOut(QStringLiteral("Nächste Sicherung: %1")
                     .arg(next ? next->toString(dateFormat) : QStringLiteral("unbekannt")));
    }
    return exitSuccess;
}

} // namespace

int runSchedule(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "enable: installs a systemd user timer (daily unless told otherwise) whose runs back up "
        "the data folder into the stored storage folder with the keyring's archive password.\n"
        "disable: removes the timer. status: the schedule, the last run and the next one.\n"
        "run: one scheduled backup, as the timer starts it."));
    parser.addPositionalArgument(QStringLiteral("action"),
                                 QStringLiteral("enable, disable, status or run."),
                                 QStringLiteral("enable|disable|status|run"));
    parser.addOption(QCommandLineOption(QStringLiteral("daily"), QStringLiteral("Every day.")));
    parser.addOption(QCommandLineOption(QStringLiteral("weekly"), QStringLiteral("Every Monday.")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("calendar"),
        QStringLiteral("A systemd calendar expression, e.g. \"Mon..Fri 18:00\"."),
        QStringLiteral("when")));
    parser.addOption(QCommandLineOption(QStringLiteral("comment"),
                                        QStringLiteral("The comment of each scheduled backup."),
                                        QStringLiteral("text")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("wait"),
        QStringLiteral("run: how long to wait for another action on the data folder to end "
                       "(default 600)."),
        QStringLiteral("seconds"), QStringLiteral("600")));
    if (const auto done = parseArguments(parser, arguments, 1)) {
        return *done;
    }
    const QString action = parser.positionalArguments().value(0);
    if (action == QLatin1String("enable")) {
        return enable(parser, arguments);
    }
    if (action == QLatin1String("disable")) {
        return disable();
    }
    if (action == QLatin1String("status")) {
        return status();
    }
    if (action == QLatin1String("run")) {
        bool valid = false;
        const int wait = parser.value(QStringLiteral("wait")).toInt(&valid);
        if (!valid || wait < 0) {
            return usageError(parser, arguments, QStringLiteral("--wait erwartet Sekunden"));
        }
        return runScheduledBackup(std::chrono::seconds(wait));
    }
    return usageError(parser, arguments,
                      QStringLiteral("erwartet: enable, disable, status oder run"));
}

} // namespace corvina::cli
