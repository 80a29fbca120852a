#include "engine/PlaintextLeftovers.h"

#include "engine/BackupDecryption.h"
#include "engine/BackupVerification.h"
#include "engine/DiagnosticLog.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace corvina::engine {

void removePlaintextLeftovers(const QString& folder, const QStringList& passwords,
                              const QByteArray& iv) {
    static const QRegularExpression leftoverName(
        QStringLiteral("^\\.Backup_(\\d{4}-\\d{2}-\\d{2}_\\d{2}-\\d{2}-\\d{2})\\.zip$"));
    const QDir directory(folder);
    const QStringList candidates =
        directory.entryList({QStringLiteral(".Backup_*.zip")}, QDir::Files | QDir::Hidden);
    for (const QString& name : candidates) {
        const QRegularExpressionMatch match = leftoverName.match(name);
        if (!match.hasMatch()) {
            continue;
        }
        const QString leftover = directory.filePath(name);
        const QString backup =
            directory.filePath(QStringLiteral("Backup_") + match.captured(1) + ".halvorn");
        bool sound = false;
        for (const QString& password : passwords) {
            if (QFile::exists(backup) && backupOpensWith(backup, password, iv)) {
                sound = verifyArchive(backup, password, iv).isSound();
                break;
            }
        }
        if (!sound) {
            diagnosticLog(
                QStringLiteral("Незашифрованный архив оставлен: его бэкап отсутствует или "
                               "повреждён: ") +
                leftover);
            continue;
        }
        if (QFile::remove(leftover)) {
            diagnosticLog(QStringLiteral("Незашифрованный архив удалён, его бэкап проверен: ") +
                          leftover);
        } else {
            diagnosticLog(QStringLiteral("Незашифрованный архив не удалось удалить: ") + leftover);
        }
    }
}

} // namespace corvina::engine
