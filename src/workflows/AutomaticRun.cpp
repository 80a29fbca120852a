#include "workflows/AutomaticRun.h"

#include "engine/EncryptionService.h"
#include "workflows/ScheduleState.h"

#include <QFile>
#include <QFileInfo>

namespace corvina {

namespace {

void flipMiddleByte(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || file.size() == 0) {
        return;
    }
    const qint64 middle = file.size() / 2;
    file.seek(middle);
    char byte = 0;
    file.getChar(&byte);
    file.seek(middle);
    file.putChar(static_cast<char>(byte ^ 0x01));
}

} // namespace

AutomaticRun runAutomaticBackup(const QString& source, const QString& storage,
                                const QString& password, const QString& comment, int keep) {
    EncryptionService& engine = EncryptionService::shared();
    AutomaticRun run;
    const CreatedBackup created = engine.createBackup(source, storage, password, comment).result();
    run.backupFile = created.backupFile;
    if (!created.result.isSuccess()) {
        run.reason = created.result.error().userText();
        return run;
    }
    if (qEnvironmentVariableIsSet("CORVINA_TEST_DAMAGE_BEFORE_CHECK")) {
        flipMiddleByte(run.backupFile);
    }
    const VerificationReport check =
        engine.verifyEncryptedArchive(run.backupFile, password).result();
    if (!check.isSound()) {
        run.reason = QStringLiteral("Die neue Sicherung „%1“ hat die Prüfung nicht bestanden: %2")
                         .arg(QFileInfo(run.backupFile).fileName(),
                              check.result.isSuccess()
                                  ? QStringLiteral("„%1“ ist beschädigt.")
                                        .arg(check.firstDamagedEntry.value_or(QString()))
                                  : check.result.error().userText());
        return run;
    }
    if (!markAutomatic(run.backupFile)) {
        run.reason = QStringLiteral("Die Sicherung „%1“ konnte nicht als automatische Sicherung "
                                    "gekennzeichnet werden.")
                         .arg(run.backupFile);
        return run;
    }
    run.success = true;
    run.pruning = deleteBackups(backupsBeyondKeep(storage, keep, run.backupFile));
    return run;
}

bool recordAutomaticRun(bool success, const QString& result, QString& error) {
    ScheduleState state = ScheduleState::load();
    state.lastRun = QDateTime::currentDateTime();
    state.lastSuccess = success;
    state.lastResult = result;
    return state.save(error);
}

} // namespace corvina
