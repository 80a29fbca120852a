#include "cli/CommandLine.h"

#include "workflows/ArchivePassword.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

namespace corvina::cli {

namespace {

const QString toolName = QStringLiteral("corvina-backup");

void write(std::FILE* stream, const QString& line) {
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

QString overview(std::span<const Command> commands) {
    QString text = QStringLiteral("Usage: %1 <command> [options]\n\nCommands:\n").arg(toolName);
    for (const Command& command : commands) {
        text += QStringLiteral("  %1%2\n")
                    .arg(QString::fromLatin1(command.name).leftJustified(10),
                         QString::fromUtf8(command.summary));
    }
    text +=
        QStringLiteral("\nRun \"%1 <command> --help\" for the options of a command.").arg(toolName);
    return text;
}

/// The parser's help with the usage line naming the tool and the command.
QString helpText(const QCommandLineParser& parser, const QStringList& arguments) {
    QString text = parser.helpText();
    const QString generated =
        QStringLiteral("Usage: ") + QCoreApplication::arguments().constFirst();
    if (text.startsWith(generated)) {
        text.replace(0, generated.size(), QStringLiteral("Usage: ") + arguments.constFirst());
    }
    return text.trimmed();
}

/// The archive password when no --password-file is given: the program's
/// keyring item, else the empty password the program would use as well.
/// Nothing when the keyring can't give it: then no command runs under the
/// empty password in its place.
std::optional<QString> defaultArchivePassword() {
    const StoredPassword stored = withStdoutOnStderr(&readArchivePassword);
    switch (stored.state) {
    case StoredPassword::State::present:
        return stored.value;
    case StoredPassword::State::absent:
        printError(
            QStringLiteral("%1: Kein Archivpasswort im Schlüsselbund; das leere Archivpasswort "
                           "wird verwendet.")
                .arg(toolName));
        return QString();
    case StoredPassword::State::unavailable:
        break;
    }
    printError(QStringLiteral("%1: %2 (%3)")
                   .arg(toolName, archivePasswordUnavailableText(), stored.failure));
    return std::nullopt;
}

} // namespace

void printOut(const QString& line) {
    write(stdout, line);
}
void printError(const QString& line) {
    write(stderr, line);
}

int dispatch(const QStringList& arguments, std::span<const Command> commands) {
    if (arguments.size() < 2) {
        printError(overview(commands));
        return exitUsage;
    }
    const QString name = arguments.at(1);
    if (name == QLatin1String("--help") || name == QLatin1String("-h") ||
        name == QLatin1String("help")) {
        printOut(overview(commands));
        return exitSuccess;
    }
    if (name == QLatin1String("--version")) {
        printOut(toolName + QLatin1Char(' ') + QCoreApplication::applicationVersion());
        return exitSuccess;
    }
    for (const Command& command : commands) {
        if (name == QLatin1String(command.name)) {
            return command.run(QStringList{toolName + QLatin1Char(' ') + name} + arguments.mid(2));
        }
    }
    printError(QStringLiteral("%1: unbekannter Befehl „%2“\n\n").arg(toolName, name) +
               overview(commands));
    return exitUsage;
}

std::optional<int> parseArguments(QCommandLineParser& parser, const QStringList& arguments,
                                  int positionalCount) {
    const QCommandLineOption help = parser.addHelpOption();
    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        return usageError(parser, arguments,
                          unknown.isEmpty()
                              ? parser.errorText()
                              : QStringLiteral("unbekannte Option „%1“").arg(unknown.constFirst()));
    }
    if (parser.isSet(help)) {
        printOut(helpText(parser, arguments));
        return exitSuccess;
    }
    if (parser.positionalArguments().size() > positionalCount) {
        return usageError(parser, arguments,
                          QStringLiteral("unerwartetes Argument „%1“")
                              .arg(parser.positionalArguments().at(positionalCount)));
    }
    return std::nullopt;
}

int usageError(const QCommandLineParser& parser, const QStringList& arguments,
               const QString& message) {
    printError(arguments.constFirst() + QStringLiteral(": ") + message + QStringLiteral("\n\n") +
               helpText(parser, arguments));
    return exitUsage;
}

int report(const EncryptionResult& result) {
    if (result.isSuccess()) {
        return exitSuccess;
    }
    printError(result.error().userText());
    return exitFailure;
}

std::optional<DataFolderLock> lockDataFolder(const QString& dataFolder) {
    std::optional<DataFolderLock> lock = DataFolderLock::tryAcquire(dataFolder);
    if (!lock) {
        printError(dataFolderBusyText());
    }
    return lock;
}

void addPasswordOption(QCommandLineParser& parser) {
    parser.addOption(QCommandLineOption(
        QStringLiteral("password-file"),
        QStringLiteral("Read the archive password from the first line of <file> (- for standard "
                       "input)."),
        QStringLiteral("file")));
}

PasswordOrExit archivePassword(const QCommandLineParser& parser, const QStringList& arguments) {
    if (!parser.isSet(QStringLiteral("password-file"))) {
        std::optional<QString> password = defaultArchivePassword();
        return {password, password ? exitSuccess : exitKeyringUnavailable};
    }
    const QString path = parser.value(QStringLiteral("password-file"));
    QFile file;
    const bool opened = path == QLatin1String("-")
                            ? file.open(stdin, QIODevice::ReadOnly)
                            : (file.setFileName(path), file.open(QIODevice::ReadOnly));
    if (!opened) {
        return {std::nullopt,
                usageError(parser, arguments,
                           QStringLiteral("die Passwortdatei „%1“ kann nicht gelesen werden: %2")
                               .arg(path, file.errorString()))};
    }
    QByteArray line = file.readLine();
    if (line.endsWith('\n')) {
        line.chop(1);
    }
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    return {QString::fromUtf8(line), exitSuccess};
}

QString passwordOpening(const QString& backupFile, const QString& password) {
    const BackupPassword chosen = passwordForBackup(backupFile, password);
    if (chosen.madeWithoutArchivePassword) {
        printError(toolName + QStringLiteral(": ") + madeWithoutArchivePasswordText());
    }
    return chosen.password;
}

} // namespace corvina::cli
