// The tool's commands: each parses its arguments, calls the engine and
// reports. Defaults come from the program's settings and folders.
#include "cli/CommandLine.h"
#include "cli/ProgressLine.h"

#include "engine/ApplicationIdentity.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/BackupListing.h"
#include "workflows/StorageLocation.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvina::cli {

namespace {

QCommandLineOption valueOption(const QString& name, const QString& description,
                               const QString& valueName) {
    return QCommandLineOption(name, description, valueName);
}

/// The listing for scripts: dates in ISO 8601 with their offset, a missing
/// comment as null.
QString backupsAsJson(const QList<ListedBackup>& backups) {
    QJsonArray array;
    for (const ListedBackup& backup : backups) {
        array.append(QJsonObject{
            {QStringLiteral("path"), backup.row.filePath},
            {QStringLiteral("name"), backup.row.fileName},
            {QStringLiteral("date"),
             backup.row.date.toOffsetFromUtc(backup.row.date.offsetFromUtc())
                 .toString(Qt::ISODate)},
            {QStringLiteral("comment"),
             backup.comment ? QJsonValue(*backup.comment) : QJsonValue(QJsonValue::Null)},
        });
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)).trimmed();
}

} // namespace

int runCreate(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Packs the data folder into an encrypted backup file Backup_<time>.halvorn in the "
        "destination folder and prints the backup's path."));
    parser.addOption(valueOption(QStringLiteral("source"),
                                 QStringLiteral("The folder to back up (default: the companion "
                                                "application's data folder)."),
                                 QStringLiteral("dir")));
    parser.addOption(valueOption(QStringLiteral("dest"),
                                 QStringLiteral("The folder for the backup (default: the stored "
                                                "storage folder)."),
                                 QStringLiteral("dir")));
    parser.addOption(valueOption(QStringLiteral("comment"),
                                 QStringLiteral("A comment kept beside the backup."),
                                 QStringLiteral("text")));
    addPasswordOption(parser);
    if (const auto done = parseArguments(parser, arguments, 0)) {
        return *done;
    }

    const QString source = parser.isSet(QStringLiteral("source"))
                               ? parser.value(QStringLiteral("source"))
                               : companionDataDirectory();
    std::optional<QString> destination = parser.isSet(QStringLiteral("dest"))
                                             ? parser.value(QStringLiteral("dest"))
                                             : storedStoragePath();
    if (!destination) {
        return usageError(
            parser, arguments,
            QStringLiteral("kein --dest angegeben und kein Speicherordner festgelegt"));
    }
    const PasswordOrExit password = archivePassword(parser, arguments);
    if (!password.password) {
        return password.exitCode;
    }

    const std::optional<DataFolderLock> lock = lockDataFolder(source);
    if (!lock) {
        return exitBusy;
    }
    const CreatedBackup created = [&] {
        ProgressLine line;
        return line.await(EncryptionService::shared().createBackup(
            source, *destination, *password.password, parser.value(QStringLiteral("comment")),
            line.progress()));
    }();
    if (!created.backupFile.isEmpty()) {
        printOut(created.backupFile);
    }
    return report(created.result);
}

int runRestore(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Replaces the contents of the data folder <container>/Data with the contents of a "
        "backup. Close the companion application first."));
    parser.addOption(valueOption(QStringLiteral("backup"),
                                 QStringLiteral("The backup file to restore."),
                                 QStringLiteral("file")));
    parser.addOption(valueOption(QStringLiteral("container"),
                                 QStringLiteral("The folder that holds Data (default: the "
                                                "companion application's container)."),
                                 QStringLiteral("dir")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("accept-damaged"),
        QStringLiteral("Last resort when the only backup left is damaged: restores entries whose "
                       "size or CRC-32 do not match as they are, and names them.")));
    addPasswordOption(parser);
    if (const auto done = parseArguments(parser, arguments, 0)) {
        return *done;
    }
    if (!parser.isSet(QStringLiteral("backup"))) {
        return usageError(parser, arguments, QStringLiteral("--backup fehlt"));
    }
    const QString container = parser.isSet(QStringLiteral("container"))
                                  ? parser.value(QStringLiteral("container"))
                                  : companionContainerDirectory();
    const PasswordOrExit password = archivePassword(parser, arguments);
    if (!password.password) {
        return password.exitCode;
    }
    const std::optional<DataFolderLock> lock = lockDataFolder(container + QStringLiteral("/Data"));
    if (!lock) {
        return exitBusy;
    }
    const QString backup = parser.value(QStringLiteral("backup"));
    const QString opening = passwordOpening(backup, *password.password);
    if (!parser.isSet(QStringLiteral("accept-damaged"))) {
        ProgressLine line;
        return report(line.await(EncryptionService::shared().restoreEncryptedArchive(
            backup, container, opening, line.progress())));
    }
    const DamagedRestore restored = [&] {
        ProgressLine line;
        return line.await(EncryptionService::shared().restoreAcceptingDamage(
            backup, container, opening, line.progress()));
    }();
    for (const QString& entry : restored.damagedEntries) {
        printOut(QStringLiteral("damaged entry: ") + entry);
    }
    return report(restored.result);
}

int runVerify(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Decrypts a backup into a private temporary file and checks the size and CRC-32 of "
        "every entry, touching no data folder. Exits with 0 only for a sound backup."));
    parser.addOption(valueOption(QStringLiteral("backup"),
                                 QStringLiteral("The backup file to check."),
                                 QStringLiteral("file")));
    addPasswordOption(parser);
    if (const auto done = parseArguments(parser, arguments, 0)) {
        return *done;
    }
    if (!parser.isSet(QStringLiteral("backup"))) {
        return usageError(parser, arguments, QStringLiteral("--backup fehlt"));
    }
    const PasswordOrExit password = archivePassword(parser, arguments);
    if (!password.password) {
        return password.exitCode;
    }

    const QString backup = parser.value(QStringLiteral("backup"));
    const QString opening = passwordOpening(backup, *password.password);
    const VerificationReport verification = [&] {
        ProgressLine line;
        return line.await(
            EncryptionService::shared().verifyEncryptedArchive(backup, opening, line.progress()));
    }();
    if (!verification.result.isSuccess()) {
        return report(verification.result);
    }
    printOut(QStringLiteral("entries: %1").arg(verification.entries));
    printOut(QStringLiteral("bytes: %1").arg(verification.bytes));
    if (verification.firstDamagedEntry) {
        printOut(QStringLiteral("first damaged entry: ") + *verification.firstDamagedEntry);
        printError(arguments.constFirst() + QStringLiteral(": die Sicherung ist beschädigt"));
        return exitFailure;
    }
    return exitSuccess;
}

int runList(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lists the backups of a folder as the restore screen does, newest first: each backup's "
        "date and path, its comment indented below it."));
    parser.addOption(valueOption(QStringLiteral("dir"),
                                 QStringLiteral("The folder to list (default: the stored storage "
                                                "folder)."),
                                 QStringLiteral("dir")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("json"),
        QStringLiteral("Print one JSON array of {path, name, date, comment} instead.")));
    if (const auto done = parseArguments(parser, arguments, 0)) {
        return *done;
    }
    const std::optional<QString> folder = parser.isSet(QStringLiteral("dir"))
                                              ? parser.value(QStringLiteral("dir"))
                                              : storedStoragePath();
    if (!folder) {
        return usageError(
            parser, arguments,
            QStringLiteral("kein --dir angegeben und kein Speicherordner festgelegt"));
    }
    if (!QFileInfo(*folder).isDir()) {
        return usageError(parser, arguments,
                          QStringLiteral("Ordner „%1“ nicht gefunden").arg(*folder));
    }
    if (parser.isSet(QStringLiteral("json"))) {
        printOut(backupsAsJson(listBackups(*folder)));
        return exitSuccess;
    }
    for (const ListedBackup& backup : listBackups(*folder)) {
        printOut(backup.row.dateText + QStringLiteral("  ") + backup.row.filePath);
        if (backup.comment && !backup.comment->isEmpty()) {
            for (const QString& line : backup.comment->split(u'\n')) {
                printOut(QStringLiteral("    ") + line);
            }
        }
    }
    return exitSuccess;
}

int runComment(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Prints (get) or writes (set) the comment kept beside a backup file."));
    parser.addPositionalArgument(QStringLiteral("action"), QStringLiteral("get or set."),
                                 QStringLiteral("get FILE | set FILE TEXT"));
    if (const auto done = parseArguments(parser, arguments, 3)) {
        return *done;
    }
    const QStringList positional = parser.positionalArguments();
    const QString action = positional.value(0);
    if (action == QLatin1String("get") && positional.size() == 2) {
        if (!QFileInfo::exists(positional.at(1))) {
            return usageError(parser, arguments,
                              QStringLiteral("Datei „%1“ nicht gefunden").arg(positional.at(1)));
        }
        if (const std::optional<QString> comment = readFinderComment(positional.at(1))) {
            printOut(*comment);
        }
        return exitSuccess;
    }
    if (action == QLatin1String("set") && positional.size() == 3) {
        return report(addFinderComment(positional.at(2), positional.at(1)));
    }
    return usageError(parser, arguments,
                      QStringLiteral("erwartet: „get DATEI“ oder „set DATEI TEXT“"));
}

} // namespace corvina::cli
