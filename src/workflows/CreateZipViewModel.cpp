#include "workflows/CreateZipViewModel.h"

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "workflows/ActionHost.h"
#include "workflows/ArchivePassword.h"
#include "workflows/StorageLocation.h"
#include "workflows/WhenFinished.h"

#include <QDateTime>
#include <QFileInfo>

namespace corvina {

CreateZipViewModel::CreateZipViewModel(QObject* parent)
    : QObject(parent)
    , m_destinationPath(storedStorageUrl()) {
    connect(this, &CreateZipViewModel::isDirectoryAvailableChanged, this, [this] {
        diagnosticLog(QStringLiteral("isDirectoryAvailable: ") +
                      (m_isDirectoryAvailable ? QStringLiteral("true") : QStringLiteral("false")));
        // The button's flag takes the value as it stands: a folder that goes
        // missing leaves the button enabled (the engine makes the folder
        // again), and one that comes back disables it until the sheet closes.
        if (m_host) {
            m_host->setIsSaveButtonDisabled(m_isDirectoryAvailable);
        }
    });
    startFolderMonitoring();
}

CreateZipViewModel::~CreateZipViewModel() {
    // Joins the monitor's worker before the rest of the object goes.
    m_folderMonitor.reset();
}

void CreateZipViewModel::setZipStatusMessage(const QString& text) {
    if (m_zipStatusMessage == text) {
        return;
    }
    m_zipStatusMessage = text;
    Q_EMIT zipStatusMessageChanged();
}

void CreateZipViewModel::setComment(const QString& comment) {
    if (m_comment == comment) {
        return;
    }
    m_comment = comment;
    Q_EMIT commentChanged();
}

void CreateZipViewModel::setHost(ActionHost* host) {
    if (!attachActionHost(m_host, host, this, &CreateZipViewModel::runAction)) {
        return;
    }
    Q_EMIT hostChanged();
}

void CreateZipViewModel::setIsDirectoryAvailable(bool available) {
    if (m_isDirectoryAvailable == available) {
        return;
    }
    m_isDirectoryAvailable = available;
    Q_EMIT isDirectoryAvailableChanged();
}

void CreateZipViewModel::startFolderMonitoring() {
    if (m_destinationPath.isEmpty()) {
        diagnosticLog(QStringLiteral("Destination path is nil."));
        return;
    }
    const QString path = m_destinationPath.toLocalFile();
    m_folderMonitor = std::make_unique<FolderMonitor>(path);
    // The monitor is joined before this object goes (see the destructor), so
    // the callback may post to it; the post is dropped if the object dies first.
    m_folderMonitor->setFolderDidChange([this] {
        diagnosticLog(
            QStringLiteral("folderDidChange: ") +
            QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000")));
        updateDirectoryStatus();
    });
    m_folderMonitor->startMonitoring();
    diagnosticLog(QStringLiteral("Started monitoring for path: ") + path);
    updateDirectoryStatus();
}

void CreateZipViewModel::updateDirectoryStatus() {
    // Also called from the monitor's thread; the look is taken on the main thread.
    QMetaObject::invokeMethod(this, &CreateZipViewModel::applyDirectoryStatus,
                              Qt::QueuedConnection);
}

void CreateZipViewModel::applyDirectoryStatus() {
    if (m_destinationPath.isEmpty()) {
        setIsDirectoryAvailable(false);
        return;
    }
    const bool exists = QFileInfo::exists(m_destinationPath.toLocalFile());
    setIsDirectoryAvailable(exists);
    if (!exists) {
        setZipStatusMessage(QStringLiteral("Der Speicherort für das Backup wurde nicht gefunden."));
    }
}

QFuture<EncryptionResult>
CreateZipViewModel::createArchive(const QString& password,
                                  std::shared_ptr<OperationProgress> progress) {
    if (m_destinationPath.isEmpty()) {
        return QtFuture::makeReadyFuture(
            EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed));
    }
    return EncryptionService::shared()
        .createEncryptedArchive(companionDataDirectory(), m_destinationPath.toLocalFile(), password,
                                m_comment, std::move(progress))
        .then([](EncryptionResult result) {
            if (result.isSuccess()) {
                diagnosticLog(QStringLiteral("Зашифрованный архив создан по пути: ()"));
            } else {
                diagnosticLog(QStringLiteral("Ошибка создания архива: ") +
                              result.error().caseName());
            }
            return result;
        });
}

namespace {

/// The comment's failures leave a whole backup behind; the others none.
bool leavesBackup(const EncryptionResult& result) {
    switch (result.error().errorCase()) {
    case FinderCommentError::Case::commentTooLong:
    case FinderCommentError::Case::failedToAddComment:
    case FinderCommentError::Case::invalidEncoding:
        return true;
    default:
        return false;
    }
}

} // namespace

QFuture<EncryptionResult> CreateZipViewModel::runAction() {
    // This program's rule: a keyring that can't give the archive password
    // stops the backup before anything is written; it never falls back on
    // the empty password.
    const StoredPassword password = readArchivePassword();
    if (password.isUnavailable()) {
        if (m_host) {
            m_host->showAlert(archivePasswordUnavailableText());
        }
        return QtFuture::makeReadyFuture(
            EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed));
    }
    // A storage folder that has gone (a stick pulled out) is not made again
    // where it was: the backup would land on the wrong disk.
    if (!m_destinationPath.isEmpty() && !QFileInfo::exists(m_destinationPath.toLocalFile())) {
        setZipStatusMessage(noBackupText +
                            QStringLiteral("Der Speicherort für das Backup wurde nicht gefunden."));
        return QtFuture::makeReadyFuture(
            EncryptionResult::failure(FinderCommentError::Case::directoryNotFound));
    }
    if (m_host) {
        m_host->setProgressLoadText(QStringLiteral("Backup wird erstellt."));
    }
    auto progress = std::make_shared<OperationProgress>();
    QFuture<EncryptionResult> run = createArchive(password.value, progress);
    if (m_host) {
        m_host->holdUntilFinished(run);
        m_host->followProgress(std::move(progress));
    }
    whenFinished(this, run, [this](const EncryptionResult& result) {
        if (!m_host) {
            return;
        }
        m_host->setProgressLoadText(QString());
        m_host->endProgress();
        if (result.isSuccess()) {
            m_host->setMessageText(QStringLiteral("Das Backup wurde erfolgreich erstellt."));
            m_host->closeView();
        } else if (leavesBackup(result)) {
            m_host->setMessageText(QStringLiteral("Das Backup wurde erstellt. ") +
                                   result.error().userText());
            m_host->closeView();
        } else {
            // A failed backup says so, and why; the sheet stays open.
            setZipStatusMessage(noBackupText + result.error().userText());
        }
    });
    return run;
}

} // namespace corvina
