#pragma once

#include "engine/DataFolderLock.h"
#include "engine/FinderCommentError.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdio>
#include <optional>
#include <span>

#include <unistd.h>

namespace corvina::cli {

/// Runs `read` with standard output sent to standard error: the keychain
/// reports its failures on standard output, where the tool prints only its
/// results (a script reads a backup's path from there).
template <typename Read> auto withStdoutOnStderr(Read read) {
    std::fflush(stdout);
    const int saved = ::dup(STDOUT_FILENO);
    if (saved >= 0) {
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    auto result = read();
    std::fflush(stdout);
    if (saved >= 0) {
        ::dup2(saved, STDOUT_FILENO);
        ::close(saved);
    }
    return result;
}

/// Exit codes of the tool.
enum ExitCode : int {
    exitSuccess = 0,
    /// The engine reported a failure; its German text went to stderr.
    exitFailure = 1,
    /// The arguments were wrong; a usage message went to stderr.
    exitUsage = 2,
    /// Another action on the same data folder (in the window, the timer or
    /// another run of the tool) was running; nothing was done.
    exitBusy = 3,
    /// The keyring could not give the archive password (locked, the unlock
    /// prompt dismissed, not reachable); nothing was written.
    exitKeyringUnavailable = 4,
};

/// One command of the tool: `corvina-backup <name> ...`.
struct Command {
    const char* name;
    const char* summary;
    /// Runs the command on its arguments; arguments[0] is "corvina-backup <name>".
    int (*run)(const QStringList& arguments);
};

/// Runs the command named by arguments[1] from `commands`.
int dispatch(const QStringList& arguments, std::span<const Command> commands);

/// Parses a command's arguments with `parser`, to which --help is added.
/// Returns an exit code when the command is already done: help was shown
/// (exitSuccess) or the arguments were wrong (exitUsage).
std::optional<int> parseArguments(QCommandLineParser& parser, const QStringList& arguments,
                                  int positionalCount);

/// Writes `message` and the command's help to stderr; returns exitUsage.
int usageError(const QCommandLineParser& parser, const QStringList& arguments,
               const QString& message);

/// Writes a line to stdout or stderr as UTF-8.
void printOut(const QString& line);
void printError(const QString& line);

/// Writes the German text of a failure to stderr; returns exitFailure, or
/// exitSuccess for a success.
int report(const EncryptionResult& result);

/// The lock of `dataFolder` for one action, or nothing when another action
/// holds it; the reason then went to stderr.
std::optional<DataFolderLock> lockDataFolder(const QString& dataFolder);

/// Adds --password-file to a command's options.
void addPasswordOption(QCommandLineParser& parser);

/// The archive password for a command, or the exit code to leave with (its
/// reason already on stderr).
struct PasswordOrExit {
    std::optional<QString> password;
    int exitCode = exitSuccess;
};

/// The archive password for a command: the first line of --password-file
/// ("-" for standard input) without its line end, else the keyring's item,
/// else (no item) the empty password. A keyring that can't give the item
/// ends the command with exitKeyringUnavailable, a password file that can't
/// be read with exitUsage.
PasswordOrExit archivePassword(const QCommandLineParser& parser, const QStringList& arguments);

/// For restoring and verifying: the password that opens `backupFile`. When
/// only the empty password does, says on stderr that the backup was made
/// without the archive password.
QString passwordOpening(const QString& backupFile, const QString& password);

int runCreate(const QStringList& arguments);
int runRestore(const QStringList& arguments);
int runVerify(const QStringList& arguments);
int runList(const QStringList& arguments);
int runComment(const QStringList& arguments);
/// `schedule enable|disable|status|run`: backups by a systemd user timer.
int runSchedule(const QStringList& arguments);
/// `prune --keep N [--dry-run]`: the schedule's keeping rule, by hand.
int runPrune(const QStringList& arguments);

/// One run of the timer's service: a backup of the data folder into the
/// stored storage folder, checked, then the keeping rule. A failure ends with
/// exitFailure, its German reason on stderr (the journal) and in a desktop
/// notification; a success prints the backup's path. Either way the outcome
/// is kept in the schedule's state. While another action on the data folder
/// runs, the run waits for it up to `lockWait`, then fails.
int runScheduledBackup(std::chrono::seconds lockWait);

} // namespace corvina::cli
