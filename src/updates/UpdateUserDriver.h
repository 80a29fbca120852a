#pragma once

#include "updates/Appcast.h"

#include <QObject>
#include <QString>
#include <QUrl>

namespace corvina {

/// The state of the updater's dialogs, which the shell draws: which dialog
/// is open (`stage`), what it shows, and the user's answers, which go back
/// to the updater as signals.
class UpdateUserDriver : public QObject {
    Q_OBJECT
    Q_PROPERTY(Stage stage READ stage NOTIFY changed)
    /// The stage by its name ("updateFound", …), for QML, which cannot name
    /// lower-case enumerators.
    Q_PROPERTY(QString dialog READ dialog NOTIFY changed)
    Q_PROPERTY(QString itemTitle READ itemTitle NOTIFY changed)
    Q_PROPERTY(QString newVersion READ newVersion NOTIFY changed)
    Q_PROPERTY(QString currentVersion READ currentVersion CONSTANT)
    Q_PROPERTY(QString releaseNotes READ releaseNotes NOTIFY changed)
    Q_PROPERTY(QUrl releaseNotesLink READ releaseNotesLink NOTIFY changed)
    /// Whether "Update installieren" replaces the program itself (an
    /// AppImage) or opens the download page.
    Q_PROPERTY(bool installsInPlace READ installsInPlace CONSTANT)
    Q_PROPERTY(double bytesReceived READ bytesReceived NOTIFY progressChanged)
    Q_PROPERTY(double bytesExpected READ bytesExpected NOTIFY progressChanged)
    Q_PROPERTY(QString progressText READ progressText NOTIFY progressChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY changed)

public:
    enum class Stage { idle, updateFound, downloading, readyToRestart, noUpdateFound, failed };
    Q_ENUM(Stage)

    UpdateUserDriver(QString currentVersion, bool installsInPlace, QObject* parent = nullptr);

    [[nodiscard]] Stage stage() const { return m_stage; }
    [[nodiscard]] QString dialog() const;
    [[nodiscard]] QString itemTitle() const { return m_item.title; }
    [[nodiscard]] QString newVersion() const { return m_item.displayVersionString; }
    [[nodiscard]] QString currentVersion() const { return m_currentVersion; }
    /// The item's description, shown when there is no release notes page.
    [[nodiscard]] QString releaseNotes() const { return m_item.itemDescription; }
    [[nodiscard]] QUrl releaseNotesLink() const { return m_item.releaseNotesLink; }
    [[nodiscard]] bool installsInPlace() const { return m_installsInPlace; }
    [[nodiscard]] double bytesReceived() const { return static_cast<double>(m_received); }
    [[nodiscard]] double bytesExpected() const { return static_cast<double>(m_expected); }
    /// "12,3 MB von 45,6 MB".
    [[nodiscard]] QString progressText() const;
    [[nodiscard]] QString errorMessage() const { return m_errorMessage; }

    void showUpdateFound(const AppcastItem& item);
    void showDownloadStarted(qint64 expected);
    void showDownloadProgress(qint64 received, qint64 expected);
    void showReadyToRestart();
    void showNoUpdateFound();
    void showError(const QString& message);
    void dismiss();

    // The user's answers.
    Q_INVOKABLE void installUpdate() { Q_EMIT installRequested(); }
    Q_INVOKABLE void remindLater() { Q_EMIT remindLaterRequested(); }
    Q_INVOKABLE void skipThisVersion() { Q_EMIT skipRequested(); }
    Q_INVOKABLE void cancelDownload() { Q_EMIT cancelRequested(); }
    Q_INVOKABLE void restartNow() { Q_EMIT restartRequested(); }
    Q_INVOKABLE void openReleaseNotesLink() { Q_EMIT openUrlRequested(m_item.releaseNotesLink); }
    /// Closes a dialog that only informs.
    Q_INVOKABLE void acknowledge() { dismiss(); }

Q_SIGNALS:
    void changed();
    void progressChanged();
    void installRequested();
    void remindLaterRequested();
    void skipRequested();
    void cancelRequested();
    void restartRequested();
    void openUrlRequested(const QUrl& url);

private:
    void setStage(Stage stage);

    QString m_currentVersion;
    bool m_installsInPlace;
    Stage m_stage = Stage::idle;
    AppcastItem m_item;
    qint64 m_received = 0;
    qint64 m_expected = 0;
    QString m_errorMessage;
};

} // namespace corvina
