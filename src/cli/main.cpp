// corvina-backup: the backup engine for scripts, timers and support.
#include "cli/CommandLine.h"
#include "engine/ApplicationIdentity.h"
#include "engine/CoreDumps.h"

#include <QCoreApplication>

#include <array>

namespace {

// One entry per command; each command parses its own options.
constexpr std::array commands{
    corvina::cli::Command{"create", "Make an encrypted backup of a data folder.",
                          corvina::cli::runCreate},
    corvina::cli::Command{"restore", "Replace the data folder with the contents of a backup.",
                          corvina::cli::runRestore},
    corvina::cli::Command{"verify", "Check every entry of a backup without restoring it.",
                          corvina::cli::runVerify},
    corvina::cli::Command{"list", "List the backups of a folder, newest first.",
                          corvina::cli::runList},
    corvina::cli::Command{"comment", "Read or write the comment of a backup file.",
                          corvina::cli::runComment},
    corvina::cli::Command{"schedule", "Turn scheduled backups on or off, or show their state.",
                          corvina::cli::runSchedule},
    corvina::cli::Command{"prune", "Delete the automatic backups beyond the number to keep.",
                          corvina::cli::runPrune},
};

} // namespace

int main(int argc, char* argv[]) {
    corvina::forbidCoreDumps();
    QCoreApplication application(argc, argv);
    corvina::applyApplicationIdentity();
    QCoreApplication::setApplicationVersion(QStringLiteral(CORVINA_VERSION));
    return corvina::cli::dispatch(QCoreApplication::arguments(), commands);
}
