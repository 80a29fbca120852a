#include "workflows/RestoreZipViewModel.h"

#include "engine/AppleDouble.h"
#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/ArchivePassword.h"
#include "workflows/RemoveItem.h"
#include "workflows/StorageLocation.h"
#include "workflows/WhenFinished.h"

#include <QFile>
#include <QFileInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace corvina {

RestoreZipViewModel::RestoreZipViewModel(QObject* parent)
    : QObject(parent) {
    connect(this, &RestoreZipViewModel::selectedURLChanged, this,
            &RestoreZipViewModel::updateButtonState);
}

RestoreZipViewModel::~RestoreZipViewModel() {
    // Joins the monitor's worker before the rest of the object goes.
    m_folderMonitor.reset();
}

void RestoreZipViewModel::setUrl(const QUrl& url) {
    // Every assignment, also of the same folder, watches and lists it anew.
    const bool changed = m_url != url;
    m_url = url;
    if (url.isEmpty()) {
        m_folderMonitor.reset();
    } else {
        m_folderMonitor = std::make_unique<FolderMonitor>(url.toLocalFile());
        loadBackupFiles(url);
    }
    if (changed) {
        Q_EMIT urlChanged();
    }
}

void RestoreZipViewModel::setSelectedURL(const QUrl& url) {
    if (m_selectedURL == url) {
        return;
    }
    m_selectedURL = url;
    Q_EMIT selectedURLChanged();
}

void RestoreZipViewModel::setWarningText(const QString& text) {
    if (m_warningText == text) {
        return;
    }
    m_warningText = text;
    Q_EMIT warningTextChanged();
}

void RestoreZipViewModel::setComment(const QString& comment) {
    if (m_comment == comment) {
        return;
    }
    m_comment = comment;
    Q_EMIT commentChanged();
}

void RestoreZipViewModel::setEditBackup(const QUrl& url) {
    if (m_editBackup == url) {
        return;
    }
    m_editBackup = url;
    Q_EMIT editBackupChanged();
}

void RestoreZipViewModel::setDeleteBackup(const QUrl& url) {
    if (m_deleteBackup == url) {
        return;
    }
    m_deleteBackup = url;
    Q_EMIT deleteBackupChanged();
}

QString RestoreZipViewModel::deleteBackupText() const {
    if (m_deleteBackup.isEmpty()) {
        return {};
    }
    const QFileInfo file(m_deleteBackup.toLocalFile());
    const QList<BackupRow> rows = backupRows({file.filePath()});
    return rows.isEmpty() ? file.completeBaseName() : rows.first().dateText;
}

void RestoreZipViewModel::setHost(ActionHost* host) {
    if (!attachActionHost(m_host, host, this, &RestoreZipViewModel::runAction)) {
        return;
    }
    Q_EMIT hostChanged();
}

void RestoreZipViewModel::updateButtonState() {
    if (m_host) {
        m_host->setIsSaveButtonDisabled(m_selectedURL.isEmpty());
    }
}

void RestoreZipViewModel::appear() {
    setUrl(storedStorageUrl());
    updateButtonState();
}

void RestoreZipViewModel::loadBackupFiles(const QUrl& folder) {
    const QString path = folder.toLocalFile();
    // Lists on the monitor's thread and hands the list to the main thread,
    // where it counts only while the model still shows this folder. The
    // monitor is joined before this object goes (see the destructor and
    // setUrl), so the callback may post to it.
    m_folderMonitor->setFolderDidChange([this, folder, path] {
        QMetaObject::invokeMethod(
            this,
            [this, folder, items = listVisibleItems(path)] {
                if (m_url == folder) {
                    setFiles(items);
                }
            },
            Qt::QueuedConnection);
    });
    m_folderMonitor->startMonitoring();
    setFiles(listVisibleItems(path));
}

void RestoreZipViewModel::setFiles(const QStringList& files) {
    if (m_files != files) {
        m_files = files;
        Q_EMIT filesChanged();
    }
    m_backups.setRows(backupRows(m_files));
    // A backup that has left the list can't stay chosen.
    if (!m_selectedURL.isEmpty() && !m_backups.containsPath(m_selectedURL.toLocalFile())) {
        setSelectedURL(QUrl());
    }
}

QFuture<EncryptionResult>
RestoreZipViewModel::restoreArchive(const QString& password,
                                    std::shared_ptr<OperationProgress> progress) {
    if (m_selectedURL.isEmpty()) {
        return QtFuture::makeReadyFuture(
            EncryptionResult::failure(FinderCommentError::Case::encryptedFileNotFound));
    }
    const QString container = companionContainerDirectory();
    const QString backupFile = m_selectedURL.toLocalFile();
    auto withoutPassword = m_withoutArchivePassword;
    withoutPassword->store(false);
    // Which password opens the backup is found off the GUI thread, and the
    // restore waits there for the engine's worker.
    return QtConcurrent::run([=, progress = std::move(progress)] {
        const BackupPassword chosen = passwordForBackup(backupFile, password);
        withoutPassword->store(chosen.madeWithoutArchivePassword);
        const EncryptionResult result =
            EncryptionService::shared()
                .restoreEncryptedArchive(backupFile, container, chosen.password, progress)
                .result();
        if (result.isSuccess()) {
            diagnosticLog(QStringLiteral("Архив успешно распакован в ") + container);
        } else {
            diagnosticLog(QStringLiteral("Ошибка распаковки архива: ") + result.error().caseName());
        }
        return result;
    });
}

void RestoreZipViewModel::presentError(const EncryptionResult& result) {
    if (result.isSuccess()) {
        return;
    }
    diagnosticLog(result.error().logLine());
    setWarningText(result.error().userText());
}

QFuture<EncryptionResult> RestoreZipViewModel::runAction() {
    // This program's rule: a keyring that can't give the archive password
    // stops the restore before anything is touched.
    const StoredPassword password = readArchivePassword();
    if (password.isUnavailable()) {
        if (m_host) {
            m_host->showAlert(archivePasswordUnavailableText());
        }
        return QtFuture::makeReadyFuture(
            EncryptionResult::failure(FinderCommentError::Case::decryptionFailed));
    }
    if (m_host) {
        m_host->setProgressLoadText(QStringLiteral("Backup wird wiederherstellt."));
    }
    auto progress = std::make_shared<OperationProgress>();
    QFuture<EncryptionResult> run = restoreArchive(password.value, progress);
    if (m_host) {
        m_host->holdUntilFinished(run);
        m_host->followProgress(std::move(progress));
    }
    whenFinished(this, run, [this](const EncryptionResult& result) {
        if (m_host) {
            m_host->setProgressLoadText(QString());
            m_host->endProgress();
        }
        if (!result.isSuccess()) {
            presentError(result);
            return;
        }
        if (m_host) {
            QString message = QStringLiteral("Das Backup wurde erfolgreich wiederhergestellt.");
            if (madeWithoutArchivePassword()) {
                message += u' ' + madeWithoutArchivePasswordText();
            }
            m_host->setMessageText(message);
            m_host->closeView();
        }
    });
    return run;
}

void RestoreZipViewModel::beginEditComment(const QUrl& backup) {
    setEditBackup(backup);
    // Selecting waits for a later turn, so that the editor is up first.
    QMetaObject::invokeMethod(
        this, [this, backup] { setSelectedURL(backup); }, Qt::QueuedConnection);
}

void RestoreZipViewModel::editorAppeared() {
    if (m_editBackup.isEmpty()) {
        return;
    }
    if (const std::optional<QString> stored = readFinderComment(m_editBackup.toLocalFile())) {
        setComment(*stored);
    }
}

void RestoreZipViewModel::cancelEditComment() {
    setEditBackup(QUrl());
}

void RestoreZipViewModel::saveComment() {
    if (m_editBackup.isEmpty()) {
        return;
    }
    presentError(addFinderComment(m_comment, m_editBackup.toLocalFile()));
    m_backups.refreshComments();
    setEditBackup(QUrl());
}

void RestoreZipViewModel::beginDeleteBackup(const QUrl& backup) {
    setSelectedURL(backup);
    setDeleteBackup(backup);
}

void RestoreZipViewModel::cancelDeleteBackup() {
    setDeleteBackup(QUrl());
}

void RestoreZipViewModel::confirmDeleteBackup() {
    if (m_deleteBackup.isEmpty()) {
        diagnosticLog(QStringLiteral("Ошибка: URL не найден для удаления."));
    } else {
        const QString path = m_deleteBackup.toLocalFile();
        if (const std::optional<QString> error = removeItem(path)) {
            diagnosticLog(QStringLiteral("Ошибка при удалении файла: ") + *error);
        } else {
            // A comment kept beside the backup goes with it.
            QFile::remove(appleDoublePath(path));
            diagnosticLog(QStringLiteral("Файл успешно удалён: ") + path);
        }
    }
    setDeleteBackup(QUrl());
}

} // namespace corvina
