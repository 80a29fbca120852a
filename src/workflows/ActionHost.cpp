#include "workflows/ActionHost.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DataFolderLock.h"
#include "engine/DiagnosticLog.h"
#include "engine/OperationProgress.h"
#include "workflows/RemainingTime.h"

#include <QTimer>

namespace corvina {

namespace {

// The companion application gets this long to go before the action runs.
constexpr int companionCloseDelayMs = 1000;
// Progress is looked at ten times a second: often enough for a bar to move
// smoothly, rarely enough to cost nothing.
constexpr int progressIntervalMs = 100;

} // namespace

ActionHost::ActionHost(QObject* parent)
    : QObject(parent) {
    m_progressTimer.setInterval(progressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &ActionHost::sampleProgress);
}

void ActionHost::followProgress(std::shared_ptr<const OperationProgress> progress) {
    m_progress = std::move(progress);
    m_progressClock.start();
    m_progressTimer.start();
    sampleProgress();
}

void ActionHost::endProgress() {
    m_progressTimer.stop();
    if (!m_progress) {
        return;
    }
    m_progress.reset();
    m_progressFraction = 0.0;
    m_progressRemainingText.clear();
    Q_EMIT progressChanged();
}

void ActionHost::sampleProgress() {
    if (!m_progress) {
        return;
    }
    const OperationProgress::Snapshot now = m_progress->snapshot();
    m_progressFraction = now.fraction();
    m_progressRemainingText = remainingTimeText(
        static_cast<double>(m_progressClock.elapsed()) / 1000.0, m_progressFraction);
    Q_EMIT progressChanged();
}

void ActionHost::setPerformAction(bool value) {
    if (m_performAction == value) {
        return;
    }
    m_performAction = value;
    Q_EMIT performActionChanged();
}

void ActionHost::setProgressLoadText(const QString& text) {
    if (m_progressLoadText == text) {
        return;
    }
    m_progressLoadText = text;
    Q_EMIT progressLoadTextChanged();
}

void ActionHost::setMessageText(const QString& text) {
    if (m_messageText == text) {
        return;
    }
    m_messageText = text;
    Q_EMIT messageTextChanged();
}

void ActionHost::setIsSaveButtonDisabled(bool value) {
    if (m_isSaveButtonDisabled == value) {
        return;
    }
    m_isSaveButtonDisabled = value;
    Q_EMIT isSaveButtonDisabledChanged();
}

QString ActionHost::closeAlertTitle() {
    return QStringLiteral("Corvina schließen");
}

QString ActionHost::closeAlertMessage() const {
    QString clause;
    switch (m_pendingAction) {
    case Action::restore:
        clause = QStringLiteral("um die Wiederherstellung des Backups fortzusetzen?");
        break;
    case Action::delete_:
        clause = QStringLiteral("um die Datenlöschung fortzusetzen?");
        break;
    case Action::create:
        break;
    }
    return QStringLiteral("Möchtest du, dass das Programm die Corvina schließt, ") + clause;
}

QString ActionHost::busyAlertTitle() {
    return QStringLiteral("Aktion läuft bereits");
}

QString ActionHost::busyAlertMessage() {
    return dataFolderBusyText();
}

void ActionHost::flipPerformAction() {
    setPerformAction(!m_performAction);
}

void ActionHost::startAction(Action action) {
    if (m_isActionPending) {
        return;
    }
    setIsActionPending(true);
    m_pendingAction = action;
    if (action == Action::create) {
        beginAction();
        return;
    }
    findCompanionApplication(companionBundleIdentifier);
}

void ActionHost::findCompanionApplication(const QString& identifier) {
    std::optional<RunningApplication> application = findRunningApplication(identifier);
    if (application) {
        diagnosticLog(QStringLiteral("Приложение найдено: ") + identifier +
                      QStringLiteral(". Завершаем его. ") + application->description());
        setRunningApplication(std::move(application));
        return;
    }
    beginAction();
    diagnosticLog(QStringLiteral("Приложение с идентификатором ") + identifier +
                  QStringLiteral(" не найдено среди запущенных."));
}

void ActionHost::closeCompanionApplication() {
    if (!m_runningApplication) {
        return;
    }
    forceTerminate(*m_runningApplication);
    setRunningApplication(std::nullopt);
    QTimer::singleShot(companionCloseDelayMs, this, [this] { beginAction(); });
}

void ActionHost::dismissCloseAlert() {
    if (m_runningApplication) {
        endAction();
    }
    setRunningApplication(std::nullopt);
}

void ActionHost::dismissBusyAlert() {
    setIsDataBusy(false);
}

void ActionHost::beginAction() {
    // Create, restore and delete all act on the companion's data folder (a
    // restore on its container's "Data"): one lock for the three.
    m_lock = DataFolderLock::tryAcquire(companionDataDirectory());
    if (!m_lock) {
        diagnosticLog(QStringLiteral("Другое действие с данными уже выполняется."));
        setIsDataBusy(true);
        endAction();
        return;
    }
    ++m_actionNumber;
    m_awaitingRun = true;
    flipPerformAction();
    // No screen took the flip (its sheet was closed meanwhile): nothing runs.
    if (m_awaitingRun) {
        endAction();
    }
}

void ActionHost::holdUntilFinished(const QFuture<EncryptionResult>& run) {
    m_awaitingRun = false;
    // Only the end of the action this run belongs to releases the lock.
    QFuture<EncryptionResult>(run).then(this,
                                        [this, number = m_actionNumber](const EncryptionResult&) {
                                            if (number == m_actionNumber) {
                                                endAction();
                                            }
                                        });
}

void ActionHost::endAction() {
    m_awaitingRun = false;
    m_lock.reset();
    setIsActionPending(false);
}

void ActionHost::setIsActionPending(bool value) {
    if (m_isActionPending == value) {
        return;
    }
    m_isActionPending = value;
    Q_EMIT isActionPendingChanged();
}

void ActionHost::setIsDataBusy(bool value) {
    if (m_isDataBusy == value) {
        return;
    }
    m_isDataBusy = value;
    Q_EMIT isDataBusyChanged();
}

void ActionHost::closeView() {
    setIsSaveButtonDisabled(false);
    Q_EMIT closeViewRequested();
}

void ActionHost::setRunningApplication(std::optional<RunningApplication> application) {
    const bool changed = m_runningApplication.has_value() != application.has_value() ||
                         (application && m_runningApplication->pid != application->pid);
    m_runningApplication = std::move(application);
    if (changed) {
        Q_EMIT runningApplicationChanged();
    }
}

void ActionHost::showAlert(const QString& message) {
    if (m_alertMessage == message) {
        return;
    }
    m_alertMessage = message;
    Q_EMIT alertMessageChanged();
}

} // namespace corvina
