#pragma once

#include "engine/FinderCommentError.h"
#include "engine/OperationProgress.h"
#include "workflows/FolderMonitor.h"

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <memory>

namespace corvina {

class ActionHost;

/// The state behind the create-backup screen: the comment being typed, the
/// stored destination folder, whether that folder is there, and the backup
/// run that each flip of the host's `performAction` starts.
///
/// The destination is read from the stored setting when the model is made;
/// a folder chosen later counts from the next model on.
class CreateZipViewModel : public QObject {
    Q_OBJECT
    /// Text of the error alert (title "Fehler"); empty when no alert shows.
    /// The screen clears it when the alert is dismissed.
    Q_PROPERTY(QString zipStatusMessage READ zipStatusMessage WRITE setZipStatusMessage NOTIFY
                   zipStatusMessageChanged)
    Q_PROPERTY(QString comment READ comment WRITE setComment NOTIFY commentChanged)
    /// The folder backups go to; empty when none is stored.
    Q_PROPERTY(QUrl destinationPath READ destinationPath CONSTANT)
    /// `destinationPath` as a plain path, the text under "Speicherort".
    Q_PROPERTY(QString destinationPathText READ destinationPathText CONSTANT)
    /// Whether the destination existed at the last look.
    Q_PROPERTY(
        bool isDirectoryAvailable READ isDirectoryAvailable NOTIFY isDirectoryAvailableChanged)
    /// The main screen's shared state; the model runs on each of its flips.
    Q_PROPERTY(corvina::ActionHost* host READ host WRITE setHost NOTIFY hostChanged)

    // The screen's fixed texts.
    Q_PROPERTY(QString locationTitle READ locationTitle CONSTANT)
    Q_PROPERTY(QString commentTitle READ commentTitle CONSTANT)
    Q_PROPERTY(QString alertTitle READ alertTitle CONSTANT)
    Q_PROPERTY(QString alertButtonText READ alertButtonText CONSTANT)

public:
    explicit CreateZipViewModel(QObject* parent = nullptr);
    ~CreateZipViewModel() override;

    [[nodiscard]] QString zipStatusMessage() const { return m_zipStatusMessage; }
    void setZipStatusMessage(const QString& text);
    [[nodiscard]] QString comment() const { return m_comment; }
    void setComment(const QString& comment);
    [[nodiscard]] QUrl destinationPath() const { return m_destinationPath; }
    [[nodiscard]] QString destinationPathText() const { return m_destinationPath.toLocalFile(); }
    [[nodiscard]] bool isDirectoryAvailable() const { return m_isDirectoryAvailable; }
    [[nodiscard]] ActionHost* host() const { return m_host; }
    void setHost(ActionHost* host);
    [[nodiscard]] static QString locationTitle() { return QStringLiteral("Speicherort"); }
    [[nodiscard]] static QString commentTitle() {
        return QStringLiteral("Kommentar zum Backup (optional)");
    }
    [[nodiscard]] static QString alertTitle() { return QStringLiteral("Fehler"); }
    [[nodiscard]] static QString alertButtonText() { return QStringLiteral("OK"); }
    /// How the error alert of a failed backup begins.
    static inline const QString noBackupText = QStringLiteral("Es wurde kein Backup erstellt. ");

    /// Makes a backup of the companion application's data folder in the
    /// destination with `comment`. Without a destination it fails at once
    /// with `archiveCreationFailed`.
    QFuture<EncryptionResult> createArchive(const QString& password,
                                            std::shared_ptr<OperationProgress> progress = {});

    /// One run of the screen's action, started by each flip of the host's
    /// `performAction`: reads the archive password, shows the caption
    /// "Backup wird erstellt." and makes the backup. On success the host shows
    /// "Das Backup wurde erfolgreich erstellt." and the sheet closes. This
    /// program never fails silently: a keyring that can't give the password
    /// shows the host's alert and nothing runs; a failed backup shows the
    /// error alert with `noBackupText` and the failure's text, and the sheet
    /// stays; a backup whose comment failed closes the sheet with the
    /// failure's text in the result line. The future finishes with the
    /// result, also when the model has gone meanwhile.
    QFuture<EncryptionResult> runAction();

    /// "OK" in the error alert: the alert goes, the sheet stays.
    Q_INVOKABLE void dismissStatusAlert() { setZipStatusMessage(QString()); }

Q_SIGNALS:
    void zipStatusMessageChanged();
    void commentChanged();
    void isDirectoryAvailableChanged();
    void hostChanged();

private:
    void startFolderMonitoring();
    void updateDirectoryStatus();
    void applyDirectoryStatus();
    void setIsDirectoryAvailable(bool available);

    QString m_zipStatusMessage;
    QString m_comment;
    QUrl m_destinationPath;
    bool m_isDirectoryAvailable = true;
    std::unique_ptr<FolderMonitor> m_folderMonitor;
    QPointer<ActionHost> m_host;
};

} // namespace corvina
