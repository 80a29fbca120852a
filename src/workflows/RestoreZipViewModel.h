#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"
#include "workflows/BackupListModel.h"
#include "workflows/FolderMonitor.h"

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <atomic>
#include <memory>

namespace corvina {

class ActionHost;

/// The state behind the restore screen: the storage folder's backups, kept
/// current by a folder monitor, the selected one, the restore that each flip
/// of the host's `performAction` starts, the comment editor and the
/// confirmation of a deletion. Texts and locations that are absent are empty.
class RestoreZipViewModel : public QObject {
    Q_OBJECT
    /// The folder being listed; each assignment watches and lists it anew.
    Q_PROPERTY(QUrl url READ url WRITE setUrl NOTIFY urlChanged)
    /// The backup chosen for restoring.
    Q_PROPERTY(QUrl selectedURL READ selectedURL WRITE setSelectedURL NOTIFY selectedURLChanged)
    /// Every visible item of the folder, in ascending order of name.
    Q_PROPERTY(QStringList files READ files NOTIFY filesChanged)
    /// The backups among `files`, newest first.
    Q_PROPERTY(corvina::BackupListModel* backups READ backups CONSTANT)
    /// The screen's error line.
    Q_PROPERTY(QString warningText READ warningText WRITE setWarningText NOTIFY warningTextChanged)
    /// The backup in the comment editor; the editor shows while it is set.
    Q_PROPERTY(QUrl editBackup READ editBackup NOTIFY editBackupChanged)
    /// The editor's text.
    Q_PROPERTY(QString comment READ comment WRITE setComment NOTIFY commentChanged)
    /// The backup awaiting the delete confirmation; the alert shows while it is set.
    Q_PROPERTY(QUrl deleteBackup READ deleteBackup NOTIFY deleteBackupChanged)
    /// The row text of `deleteBackup` for the confirmation, without the comment.
    Q_PROPERTY(QString deleteBackupText READ deleteBackupText NOTIFY deleteBackupChanged)
    Q_PROPERTY(corvina::ActionHost* host READ host WRITE setHost NOTIFY hostChanged)

    // The screen's fixed texts: the rows' two actions, the comment editor and
    // the delete confirmation.
    Q_PROPERTY(QString editActionLabel READ editActionLabel CONSTANT)
    Q_PROPERTY(QString editActionIcon READ editActionIcon CONSTANT)
    Q_PROPERTY(QString editActionToolTip READ editActionToolTip CONSTANT)
    Q_PROPERTY(QString deleteActionLabel READ deleteActionLabel CONSTANT)
    Q_PROPERTY(QString deleteActionIcon READ deleteActionIcon CONSTANT)
    Q_PROPERTY(QString deleteActionToolTip READ deleteActionLabel CONSTANT)
    Q_PROPERTY(QString editorTitle READ editorTitle CONSTANT)
    Q_PROPERTY(QString commentTitle READ commentTitle CONSTANT)
    Q_PROPERTY(QString saveText READ saveText CONSTANT)
    Q_PROPERTY(QString cancelText READ cancelText CONSTANT)
    Q_PROPERTY(QString deleteAlertTitle READ deleteAlertTitle CONSTANT)
    Q_PROPERTY(QString deleteConfirmText READ deleteConfirmText CONSTANT)

public:
    explicit RestoreZipViewModel(QObject* parent = nullptr);
    ~RestoreZipViewModel() override;

    [[nodiscard]] QUrl url() const { return m_url; }
    void setUrl(const QUrl& url);
    [[nodiscard]] QUrl selectedURL() const { return m_selectedURL; }
    void setSelectedURL(const QUrl& url);
    [[nodiscard]] QStringList files() const { return m_files; }
    [[nodiscard]] BackupListModel* backups() { return &m_backups; }
    [[nodiscard]] QString warningText() const { return m_warningText; }
    void setWarningText(const QString& text);
    [[nodiscard]] QUrl editBackup() const { return m_editBackup; }
    [[nodiscard]] QString comment() const { return m_comment; }
    void setComment(const QString& comment);
    [[nodiscard]] QUrl deleteBackup() const { return m_deleteBackup; }
    [[nodiscard]] QString deleteBackupText() const;
    [[nodiscard]] ActionHost* host() const { return m_host; }
    void setHost(ActionHost* host);
    [[nodiscard]] static QString editActionLabel() { return QStringLiteral("edit"); }
    [[nodiscard]] static QString editActionIcon() { return QStringLiteral("square.and.pencil"); }
    [[nodiscard]] static QString editActionToolTip() { return QStringLiteral("Bearbeiten"); }
    /// The delete action's label, also its tool tip.
    [[nodiscard]] static QString deleteActionLabel() { return QStringLiteral("delete"); }
    [[nodiscard]] static QString deleteActionIcon() { return QStringLiteral("trash.fill"); }
    [[nodiscard]] static QString editorTitle() { return QStringLiteral("Kommentar bearbeiten"); }
    [[nodiscard]] static QString commentTitle() {
        return QStringLiteral("Kommentar zum Backup (optional)");
    }
    [[nodiscard]] static QString saveText() { return QStringLiteral("Speichern"); }
    [[nodiscard]] static QString cancelText() { return QStringLiteral("Abbrechen"); }
    [[nodiscard]] static QString deleteAlertTitle() {
        return QStringLiteral("Entfernen bestätigen");
    }
    [[nodiscard]] static QString deleteConfirmText() { return QStringLiteral("Löschen"); }

    /// The screen has appeared: lists the stored storage folder (none stored:
    /// no list) and disables the host's button while nothing is selected.
    Q_INVOKABLE void appear();

    /// Restores the selected backup into the companion application's
    /// container. Without a selection it fails at once with
    /// `encryptedFileNotFound`. A backup that `password` does not open but
    /// the empty password does (made by an earlier version while the keyring
    /// failed) is restored with the empty one, and `madeWithoutArchivePassword`
    /// says so afterwards.
    QFuture<EncryptionResult> restoreArchive(const QString& password,
                                             std::shared_ptr<OperationProgress> progress = {});
    /// Whether the last restore's backup opened only without the archive password.
    [[nodiscard]] bool madeWithoutArchivePassword() const { return *m_withoutArchivePassword; }

    /// A failure becomes its diagnostic line and its user text in
    /// `warningText`; a success changes nothing (an old warning stays).
    void presentError(const EncryptionResult& result);

    /// One run of the screen's action, started by each flip of the host's
    /// `performAction`: the archive password from the keychain, caption
    /// "Backup wird wiederherstellt.", the restore. Success shows "Das Backup
    /// wurde erfolgreich wiederhergestellt." (with a notice for a backup made
    /// without the archive password) and closes the sheet; a failure shows
    /// its text in `warningText` and keeps the sheet open. A keyring that
    /// can't give the password shows the host's alert and nothing runs. The
    /// future finishes with the engine's result, also when the model has gone.
    QFuture<EncryptionResult> runAction();

    /// The row action "Bearbeiten": opens the editor on the backup and, once
    /// the editor is up, selects the backup.
    Q_INVOKABLE void beginEditComment(const QUrl& backup);
    /// The editor has appeared: a comment of the file replaces `comment`;
    /// without one the text typed last (also for another backup) stays.
    Q_INVOKABLE void editorAppeared();
    /// "Abbrechen" in the editor.
    Q_INVOKABLE void cancelEditComment();
    /// "Speichern" in the editor: writes `comment` to the file, shows a
    /// failure in `warningText`, redraws the rows and closes the editor.
    Q_INVOKABLE void saveComment();

    /// The row action "delete": selects the backup and asks for confirmation.
    Q_INVOKABLE void beginDeleteBackup(const QUrl& backup);
    /// "Abbrechen" in the confirmation.
    Q_INVOKABLE void cancelDeleteBackup();
    /// "Löschen" in the confirmation: removes the file. A failure is only
    /// logged; the list follows through the folder monitor.
    Q_INVOKABLE void confirmDeleteBackup();

Q_SIGNALS:
    void urlChanged();
    void selectedURLChanged();
    void filesChanged();
    void warningTextChanged();
    void editBackupChanged();
    void commentChanged();
    void deleteBackupChanged();
    void hostChanged();

private:
    void loadBackupFiles(const QUrl& folder);
    void setFiles(const QStringList& files);
    void setEditBackup(const QUrl& url);
    void setDeleteBackup(const QUrl& url);
    void updateButtonState();

    std::unique_ptr<FolderMonitor> m_folderMonitor;
    QUrl m_url;
    QUrl m_selectedURL;
    QStringList m_files;
    BackupListModel m_backups;
    QString m_warningText;
    QUrl m_editBackup;
    QString m_comment;
    QUrl m_deleteBackup;
    std::shared_ptr<std::atomic<bool>> m_withoutArchivePassword =
        std::make_shared<std::atomic<bool>>(false);
    QPointer<ActionHost> m_host;
};

} // namespace corvina
