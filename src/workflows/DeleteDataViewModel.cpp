#include "workflows/DeleteDataViewModel.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "workflows/ActionHost.h"
#include "workflows/RemoveItem.h"
#include "workflows/WhenFinished.h"

#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace corvina {

namespace {

// How long the caption stays after the work, so that the user sees it.
constexpr int captionPauseMs = 1000;

} // namespace

QFuture<EncryptionResult> deleteCompanionData(const QString& location) {
    return QtConcurrent::run([location] {
        if (const std::optional<QString> error = removeItem(location)) {
            diagnosticLog(QStringLiteral("Ошибка: Не удалось удалить временный файл ") + location +
                          QStringLiteral(". Ошибка: ") + *error);
            return EncryptionResult::failure(FinderCommentError::Case::failedToAddComment);
        }
        diagnosticLog(QStringLiteral("Временный файл удален."));
        return EncryptionResult::success();
    });
}

DeleteDataViewModel::DeleteDataViewModel(QObject* parent)
    : QObject(parent) {}

bool DeleteDataViewModel::isConfirmed() const {
    return m_host && !m_host->isSaveButtonDisabled();
}

void DeleteDataViewModel::setIsConfirmed(bool confirmed) {
    if (m_host) {
        m_host->setIsSaveButtonDisabled(!confirmed);
    }
}

void DeleteDataViewModel::setHost(ActionHost* host) {
    if (!attachActionHost(m_host, host, this, &DeleteDataViewModel::runDeletion)) {
        return;
    }
    if (m_host) {
        connect(m_host, &ActionHost::isSaveButtonDisabledChanged, this,
                &DeleteDataViewModel::isConfirmedChanged);
    }
    Q_EMIT hostChanged();
    Q_EMIT isConfirmedChanged();
}

QFuture<EncryptionResult> DeleteDataViewModel::runDeletion() {
    if (m_host) {
        m_host->setProgressLoadText(QStringLiteral("App wird gelöscht."));
    }
    const QString location = companionDataDirectory();
    QFuture<EncryptionResult> run = deleteCompanionData(location);
    if (m_host) {
        m_host->holdUntilFinished(run);
    }
    whenFinished(this, run, [host = m_host, location](const EncryptionResult& result) {
        if (!host) {
            return;
        }
        if (result.isSuccess()) {
            diagnosticLog(QStringLiteral("Успешно удалён ") + location);
            host->setMessageText(QStringLiteral("Die Daten wurden erfolgreich gelöscht."));
        } else {
            diagnosticLog(QStringLiteral("Ошибка при удалении: ") + result.error().caseName());
            host->setMessageText(QStringLiteral("Fehler beim Löschen der Daten."));
        }
        // The pause belongs to the host, which outlives the screen.
        QTimer::singleShot(captionPauseMs, host, [host] {
            host->setProgressLoadText(QString());
            host->closeView();
        });
    });
    return run;
}

} // namespace corvina
