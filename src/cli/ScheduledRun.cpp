// The backup that the timer starts. Nobody watches it: every failure must
// reach the user through the journal and a desktop notification.
#include "cli/CommandLine.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DataFolderLock.h"
#include "workflows/ArchivePassword.h"
#include "workflows/AutomaticRun.h"
#include "workflows/ScheduleState.h"
#include "workflows/StorageLocation.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>

namespace corvina::cli {

namespace {

/// The archive password for the run, or the German reason why there is none.
struct ScheduledPassword {
    std::optional<QString> password;
    QString failure;
};

ScheduledPassword scheduledPassword(bool required) {
    const StoredPassword stored = withStdoutOnStderr(&readArchivePassword);
    switch (stored.state) {
    case StoredPassword::State::present:
        return {stored.value, {}};
    case StoredPassword::State::unavailable:
        // A locked keyring is the usual case of a timer: no display to
        // unlock it on. The run fails rather than use the empty password.
        return {std::nullopt,
                QStringLiteral("%1 (%2)").arg(archivePasswordUnavailableText(), stored.failure)};
    case StoredPassword::State::absent:
        break;
    }
    if (required) {
        return {std::nullopt,
                QStringLiteral("Das Archivpasswort ist nicht im Schlüsselbund gespeichert.")};
    }
    // Never set: the empty password, as the window uses it too.
    return {QString(), {}};
}

/// Shows the failure as a desktop notification; false when no notification
/// service answered.
bool notifyFailure(const QString& reason) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), desktopIdentifier},
                            {QStringLiteral("urgency"), QVariant::fromValue(uchar(2))}};
    call << QStringLiteral("Corvina Backup Manager") << 0U << desktopIdentifier
         << QStringLiteral("Die geplante Sicherung ist fehlgeschlagen") << reason << QStringList()
         << hints << -1;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 10000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

void record(bool success, const QString& result) {
    QString error;
    if (!recordAutomaticRun(success, result, error)) {
        printError(error);
    }
}

int failed(const QString& reason) {
    record(false, reason);
    printError(reason);
    if (!notifyFailure(reason)) {
        printError(QStringLiteral("Die Benachrichtigung konnte nicht angezeigt werden."));
    }
    return exitFailure;
}

} // namespace

int runScheduledBackup(std::chrono::seconds lockWait) {
    const ScheduleState schedule = ScheduleState::load();
    const std::optional<QString> storage = storedStoragePath();
    if (!storage) {
        return failed(QStringLiteral("Es ist kein Speicherordner für Sicherungen festgelegt."));
    }
    if (!QFileInfo(*storage).isDir()) {
        return failed(
            QStringLiteral("Der Speicherordner „%1“ ist nicht erreichbar.").arg(*storage));
    }
    const auto password = scheduledPassword(schedule.requiresArchivePassword);
    if (!password.password) {
        return failed(password.failure);
    }
    // A restore or deletion from the window, or a backup of the tool, may be
    // running: the timer waits for it rather than losing its run.
    const QString data = companionDataDirectory();
    const std::optional<DataFolderLock> lock = DataFolderLock::acquire(data, lockWait);
    if (!lock) {
        return failed(dataFolderBusyText());
    }
    const AutomaticRun run =
        runAutomaticBackup(data, *storage, *password.password, schedule.comment, schedule.keep);
    if (!run.success) {
        return failed(run.reason);
    }
    record(true, run.backupFile);
    for (const QString& problem : run.pruning.failures) {
        printError(problem);
    }
    printOut(run.backupFile);
    return exitSuccess;
}

} // namespace corvina::cli
