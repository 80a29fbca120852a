#pragma once

#include "updates/Appcast.h"
#include "updates/UpdateError.h"
#include "updates/UpdateUserDriver.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class QNetworkReply;

namespace corvina {

class UpdateDownload;
class UpdaterDelegate;

/// What an updater is built with. `fromBuild` takes the build's values and
/// the environment; tests give their own.
struct UpdaterConfiguration {
    /// The built-in feed; "SUFeedURL" in the settings overrides it.
    QUrl feedUrl;
    /// Base64 of the Ed25519 key that signs updates; empty: none installs.
    QString publicKey;
    /// "CFBundleVersion": what feed versions compare against.
    QString bundleVersion;
    /// "CFBundleShortVersionString": what the dialogs show.
    QString shortVersion;
    /// Compared with an item's minimum system version: the kernel's.
    QString systemVersion;
    /// The running AppImage (`APPIMAGE`); empty when the program was
    /// installed otherwise and must not replace itself.
    QString appImagePath;

    [[nodiscard]] static UpdaterConfiguration fromBuild();
};

/// The program's updater. It reads the appcast, tells its delegate what it
/// found, drives the dialogs through its user driver, and installs: a
/// verified download replaces a running AppImage; any other installation
/// only opens the item's download page.
///
/// Nothing is installed unless the file has exactly the enclosure's length
/// and its Ed25519 signature verifies with the built-in key. Feeds and files
/// come over https only (plain http to loopback addresses).
///
/// Scheduled checks run every "SUScheduledCheckInterval" seconds, measured
/// from "SULastCheckTime" in the settings, which every process of the
/// program shares.
class Updater : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool automaticallyChecksForUpdates READ automaticallyChecksForUpdates WRITE
                   setAutomaticallyChecksForUpdates NOTIFY automaticallyChecksForUpdatesChanged)
    Q_PROPERTY(bool automaticallyDownloadsUpdates READ automaticallyDownloadsUpdates WRITE
                   setAutomaticallyDownloadsUpdates NOTIFY automaticallyDownloadsUpdatesChanged)
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)
    Q_PROPERTY(corvina::UpdateUserDriver* userDriver READ userDriver CONSTANT)

public:
    explicit Updater(UpdaterConfiguration configuration, QObject* parent = nullptr);
    ~Updater() override;

    void setDelegate(UpdaterDelegate* delegate) { m_delegate = delegate; }
    /// How the download page and the release notes open (the desktop's
    /// browser); tests record the address instead.
    void setUrlOpener(std::function<void(const QUrl&)> opener) { m_openUrl = std::move(opener); }
    /// How the program restarts after its AppImage was replaced.
    void setRestarter(std::function<void(const QString&)> restart) {
        m_restart = std::move(restart);
    }

    /// Arms the scheduled checks: at once when a check is due, otherwise
    /// when the interval since the last check runs out.
    void startUpdater();

    [[nodiscard]] bool automaticallyChecksForUpdates() const;
    void setAutomaticallyChecksForUpdates(bool value);
    [[nodiscard]] bool automaticallyDownloadsUpdates() const;
    void setAutomaticallyDownloadsUpdates(bool value);
    /// False while a check, a dialog or a download is under way.
    [[nodiscard]] bool canCheckForUpdates() const { return !m_busy; }
    [[nodiscard]] UpdateUserDriver* userDriver() { return &m_userDriver; }
    /// Milliseconds until the armed scheduled check; absent when none is.
    [[nodiscard]] std::optional<qint64> msUntilScheduledCheck() const;

    /// The user's check: every outcome ends in a dialog.
    Q_INVOKABLE void checkForUpdates();
    /// Silent unless an update is found.
    Q_INVOKABLE void checkForUpdatesInBackground();

Q_SIGNALS:
    void automaticallyChecksForUpdatesChanged();
    void automaticallyDownloadsUpdatesChanged();
    void canCheckForUpdatesChanged();
    /// A check went to the server (tests count them).
    void checkStarted();

private:
    enum class CheckKind { user, background, scheduled };

    void startCheck(CheckKind kind);
    void onFeedFinished(QNetworkReply* reply);
    void armSchedule();
    void setBusy(bool busy);
    void fail(UpdateError error, const QString& detail = {});
    void endSession();
    void dropDownload();

    // The dialog's answers.
    void installFoundUpdate();
    void remindLater();
    void skipFoundVersion();
    void cancelDownload();
    void restart();

    void startDownload();
    void onDownloadFinished(std::optional<UpdateError> error, const QString& detail,
                            bool cancelled);
    std::optional<std::pair<UpdateError, QString>> verifyAndInstall(const QString& file);

    UpdaterConfiguration m_config;
    QNetworkAccessManager m_network;
    UpdateUserDriver m_userDriver;
    UpdaterDelegate* m_delegate = nullptr;
    std::function<void(const QUrl&)> m_openUrl;
    std::function<void(const QString&)> m_restart;
    QTimer m_scheduleTimer;
    QDateTime m_scheduledCheckTime;
    QPointer<QNetworkReply> m_feedReply;
    std::unique_ptr<UpdateDownload> m_download;
    std::optional<AppcastItem> m_foundItem;
    CheckKind m_kind = CheckKind::user;
    bool m_busy = false;
};

} // namespace corvina
