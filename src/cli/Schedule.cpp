// `corvina-backup schedule`: scheduled backups as a systemd user timer. The
// units live in the user's unit folder; where a user systemd runs, it is told
// at once, else the timer starts with the next login.
#include "cli/CommandLine.h"

#include "session/KeychainService.h"
#include "workflows/AutomaticBackups.h"
#include "workflows/ScheduleSetup.h"
#include "workflows/ScheduleUnits.h"
#include "workflows/StorageLocation.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace corvina::cli {

namespace {

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
    int keep = ScheduleState::load().keep;
    if (parser.isSet(QStringLiteral("keep"))) {
        bool isNumber = false;
        keep = parser.value(QStringLiteral("keep")).toInt(&isNumber);
        if (!isNumber || keep < 1 || keep > ScheduleState::maximumKeep) {
            return usageError(parser, arguments,
                              QStringLiteral("--keep erwartet eine Zahl von 1 bis 365"));
        }
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

    ScheduleState state = ScheduleState::load();
    state.calendar = calendar;
    state.keep = keep;
    state.comment = parser.value(QStringLiteral("comment"));
    state.requiresArchivePassword = *passwordStored;
    const ScheduleChange change = enableSchedule(state, QCoreApplication::applicationFilePath());
    if (change.error) {
        return fail(*change.error);
    }
    printOut(QStringLiteral("Zeitplan eingeschaltet: %1").arg(calendar));
    if (change.startsAtNextLogin) {
        printOut(startsAtNextLoginText());
    } else if (const auto next = nextElapse(calendar)) {
        printOut(QStringLiteral("Nächste Sicherung: %1").arg(scheduleTimeText(*next)));
    }
    return exitSuccess;
}

int disable() {
    if (!ScheduleUnits::installedCalendar()) {
        printOut(QStringLiteral("Es ist kein Zeitplan eingeschaltet."));
        return exitSuccess;
    }
    if (const ScheduleChange change = disableSchedule(); change.error) {
        return fail(*change.error);
    }
    printOut(QStringLiteral("Zeitplan ausgeschaltet."));
    return exitSuccess;
}

int status() {
    for (const QString& line :
         ScheduleStatus::of(ScheduleState::load(), ScheduleUnits::installedCalendar()).lines()) {
        printOut(line);
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
        "run: one scheduled backup, as the timer starts it: it backs up, checks the new backup, "
        "then deletes the automatic backups beyond the number to keep."));
    parser.addPositionalArgument(QStringLiteral("action"),
                                 QStringLiteral("enable, disable, status or run."),
                                 QStringLiteral("enable|disable|status|run"));
    parser.addOption(QCommandLineOption(QStringLiteral("daily"), QStringLiteral("Every day.")));
    parser.addOption(QCommandLineOption(QStringLiteral("weekly"), QStringLiteral("Every Monday.")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("calendar"),
        QStringLiteral("A systemd calendar expression, e.g. \"Mon..Fri 18:00\"."),
        QStringLiteral("when")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("keep"),
        QStringLiteral("How many automatic backups to keep, 1 to 365 (default 14)."),
        QStringLiteral("count")));
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

int runPrune(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Deletes the automatic backups of the storage folder beyond the <count> newest, each with "
        "its \"._\" file, and prints their paths. Backups made by hand are never deleted."));
    parser.addOption(QCommandLineOption(QStringLiteral("keep"),
                                        QStringLiteral("How many automatic backups stay."),
                                        QStringLiteral("count")));
    parser.addOption(QCommandLineOption(QStringLiteral("dir"),
                                        QStringLiteral("The folder (default: the stored storage "
                                                       "folder)."),
                                        QStringLiteral("dir")));
    parser.addOption(QCommandLineOption(QStringLiteral("dry-run"),
                                        QStringLiteral("Only print what would be deleted.")));
    if (const auto done = parseArguments(parser, arguments, 0)) {
        return *done;
    }
    bool keepIsNumber = false;
    const int keep = parser.value(QStringLiteral("keep")).toInt(&keepIsNumber);
    if (!keepIsNumber || keep < 1) {
        return usageError(parser, arguments, QStringLiteral("--keep erwartet eine Zahl ab 1"));
    }
    const std::optional<QString> folder = parser.isSet(QStringLiteral("dir"))
                                              ? parser.value(QStringLiteral("dir"))
                                              : storedStoragePath();
    if (!folder || !QFileInfo(*folder).isDir()) {
        return usageError(parser, arguments,
                          folder ? QStringLiteral("Ordner „%1“ nicht gefunden").arg(*folder)
                                 : QStringLiteral("kein --dir angegeben und kein "
                                                  "Speicherordner festgelegt"));
    }
    const QStringList beyond = backupsBeyondKeep(*folder, keep);
    if (parser.isSet(QStringLiteral("dry-run"))) {
        for (const QString& backup : beyond) {
            printOut(backup);
        }
        return exitSuccess;
    }
    const Pruning pruning = deleteBackups(beyond);
    for (const QString& backup : pruning.deleted) {
        printOut(backup);
    }
    for (const QString& problem : pruning.failures) {
        printError(problem);
    }
    return pruning.failures.isEmpty() ? exitSuccess : exitFailure;
}

} // namespace corvina::cli
