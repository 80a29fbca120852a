#include "updates/Updater.h"

#include "engine/DiagnosticLog.h"
#include "updates/AppImageInstaller.h"
#include "updates/BuildInfo.h"
#include "updates/SignatureVerifier.h"
#include "updates/TransportPolicy.h"
#include "updates/UpdateDownload.h"
#include "updates/UpdateSettings.h"
#include "updates/UpdaterDelegate.h"

#include <QFile>
#include <QNetworkReply>
#include <QSysInfo>

namespace corvina {

namespace {

std::optional<UpdateError> signatureError(SignatureCheck check) {
    switch (check) {
    case SignatureCheck::valid:
        return std::nullopt;
    case SignatureCheck::noPublicKey:
        return UpdateError::noPublicKey;
    case SignatureCheck::missing:
        return UpdateError::signatureMissing;
    case SignatureCheck::malformed:
        return UpdateError::signatureMalformed;
    case SignatureCheck::invalid:
        return UpdateError::signatureInvalid;
    }
    return UpdateError::signatureInvalid;
}

} // namespace

UpdaterConfiguration UpdaterConfiguration::fromBuild() {
    const QVariantMap info = infoDictionary();
    UpdaterConfiguration config;
    config.feedUrl = QUrl(info.value(QStringLiteral("SUFeedURL")).toString());
    config.publicKey = info.value(QStringLiteral("SUPublicEDKey")).toString();
    config.bundleVersion = info.value(bundleVersionKey).toString();
    config.shortVersion = info.value(shortVersionKey).toString();
    config.systemVersion = QSysInfo::kernelVersion();
    config.appImagePath = qEnvironmentVariable("APPIMAGE");
    return config;
}

Updater::Updater(UpdaterConfiguration configuration, QObject* parent)
    : QObject(parent)
    , m_config(std::move(configuration))
    , m_userDriver(m_config.shortVersion, !m_config.appImagePath.isEmpty()) {
    m_scheduleTimer.setSingleShot(true);
    connect(&m_scheduleTimer, &QTimer::timeout, this, [this] { startCheck(CheckKind::scheduled); });
    connect(&m_userDriver, &UpdateUserDriver::installRequested, this, &Updater::installFoundUpdate);
    connect(&m_userDriver, &UpdateUserDriver::remindLaterRequested, this, &Updater::remindLater);
    connect(&m_userDriver, &UpdateUserDriver::skipRequested, this, &Updater::skipFoundVersion);
    connect(&m_userDriver, &UpdateUserDriver::cancelRequested, this, &Updater::cancelDownload);
    connect(&m_userDriver, &UpdateUserDriver::restartRequested, this, &Updater::restart);
    connect(&m_userDriver, &UpdateUserDriver::openUrlRequested, this, [this](const QUrl& url) {
        // A feed names the page; only a web page opens, never a local file.
        if (m_openUrl && isAllowedUpdateUrl(url)) {
            m_openUrl(url);
        }
    });
}

Updater::~Updater() {
    if (m_feedReply) {
        m_feedReply->disconnect(this);
        m_feedReply->abort();
    }
}

void Updater::startUpdater() {
    armSchedule();
}

bool Updater::automaticallyChecksForUpdates() const {
    return UpdateSettings::automaticallyChecks();
}

void Updater::setAutomaticallyChecksForUpdates(bool value) {
    if (value == automaticallyChecksForUpdates()) {
        return;
    }
    UpdateSettings::setAutomaticallyChecks(value);
    armSchedule();
    Q_EMIT automaticallyChecksForUpdatesChanged();
}

bool Updater::automaticallyDownloadsUpdates() const {
    return UpdateSettings::automaticallyDownloads();
}

void Updater::setAutomaticallyDownloadsUpdates(bool value) {
    if (value == automaticallyDownloadsUpdates()) {
        return;
    }
    UpdateSettings::setAutomaticallyDownloads(value);
    Q_EMIT automaticallyDownloadsUpdatesChanged();
}

std::optional<qint64> Updater::msUntilScheduledCheck() const {
    if (!m_scheduleTimer.isActive()) {
        return std::nullopt;
    }
    // From the time set, not the timer's: a coarse timer may round.
    return std::max(qint64{0}, QDateTime::currentDateTimeUtc().msecsTo(m_scheduledCheckTime));
}

void Updater::checkForUpdates() {
    startCheck(CheckKind::user);
}

void Updater::checkForUpdatesInBackground() {
    startCheck(CheckKind::background);
}

void Updater::armSchedule() {
    m_scheduleTimer.stop();
    if (!automaticallyChecksForUpdates()) {
        return;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const qint64 delay = UpdateSettings::msUntilScheduledCheck(now);
    m_scheduledCheckTime = now.addMSecs(delay);
    m_scheduleTimer.start(static_cast<int>(delay));
}

void Updater::setBusy(bool busy) {
    if (m_busy == busy) {
        return;
    }
    m_busy = busy;
    Q_EMIT canCheckForUpdatesChanged();
}

void Updater::startCheck(CheckKind kind) {
    if (m_busy) {
        return;
    }
    m_kind = kind;
    m_foundItem.reset();
    setBusy(true);
    // Every attempt counts, also one that fails: the next comes after the
    // interval, and another process of the program does not check meanwhile.
    UpdateSettings::setLastCheckTime(QDateTime::currentDateTimeUtc());
    QUrl feed;
    if (m_delegate) {
        feed = QUrl(m_delegate->feedURLStringForUpdater(*this));
    }
    if (feed.isEmpty()) {
        feed = UpdateSettings::feedUrlOverride();
    }
    if (feed.isEmpty()) {
        feed = m_config.feedUrl;
    }
    if (feed.isEmpty()) {
        fail(UpdateError::noFeed);
        return;
    }
    if (!isAllowedUpdateUrl(feed)) {
        fail(UpdateError::insecureAddress, feed.toString());
        return;
    }
    Q_EMIT checkStarted();
    m_feedReply = getUpdateResource(m_network, feed);
    QNetworkReply* reply = m_feedReply;
    connect(reply, &QNetworkReply::finished, this, [this, reply] { onFeedFinished(reply); });
}

void Updater::onFeedFinished(QNetworkReply* reply) {
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        const auto [error, detail] = replyError(*reply);
        fail(error, detail);
        return;
    }
    const auto items = parseAppcast(reply->readAll());
    if (!items) {
        fail(UpdateError::feedMalformed);
        return;
    }
    const UpdateCriteria criteria{
        m_config.bundleVersion, m_config.systemVersion, {}, UpdateSettings::skippedVersion()};
    m_foundItem = chooseUpdate(*items, criteria);
    if (!m_foundItem) {
        if (m_delegate) {
            m_delegate->updaterDidNotFindUpdate(*this);
        }
        if (m_kind == CheckKind::user) {
            m_userDriver.showNoUpdateFound();
        }
        endSession();
        return;
    }
    if (m_delegate) {
        m_delegate->didFindValidUpdate(*this, *m_foundItem);
    }
    if (m_kind != CheckKind::user && automaticallyDownloadsUpdates() &&
        !m_config.appImagePath.isEmpty()) {
        installFoundUpdate();
        return;
    }
    m_userDriver.showUpdateFound(*m_foundItem);
}

void Updater::installFoundUpdate() {
    if (!m_foundItem || m_download) {
        return;
    }
    const AppcastEnclosure& enclosure = m_foundItem->enclosure;
    if (m_config.appImagePath.isEmpty()) {
        // Installed by a package manager or as a Flatpak: the program does
        // not touch itself.
        const QUrl page = m_foundItem->infoUrl.isValid() ? m_foundItem->infoUrl : enclosure.url;
        diagnosticLog(QStringLiteral("Открывается страница загрузки: ") + page.toString());
        if (m_openUrl && isAllowedUpdateUrl(page)) {
            m_openUrl(page);
        }
        m_userDriver.dismiss();
        endSession();
        return;
    }
    // What can be told without the file is told before it is fetched.
    if (const auto error =
            signatureError(verifyEd25519({}, enclosure.edSignature, m_config.publicKey));
        error && *error != UpdateError::signatureInvalid) {
        fail(*error);
        return;
    }
    if (!isAllowedUpdateUrl(enclosure.url)) {
        fail(UpdateError::insecureAddress, enclosure.url.toString());
        return;
    }
    startDownload();
}

void Updater::startDownload() {
    const AppcastEnclosure& enclosure = m_foundItem->enclosure;
    m_download = std::make_unique<UpdateDownload>(m_network, enclosure.url, enclosure.length);
    if (m_userDriver.stage() != UpdateUserDriver::Stage::idle) {
        m_userDriver.showDownloadStarted(enclosure.length.value_or(0));
    }
    connect(m_download.get(), &UpdateDownload::progress, &m_userDriver,
            &UpdateUserDriver::showDownloadProgress);
    connect(m_download.get(), &UpdateDownload::finished, this, &Updater::onDownloadFinished);
}

void Updater::onDownloadFinished(std::optional<UpdateError> error, const QString& detail,
                                 bool cancelled) {
    if (cancelled) {
        diagnosticLog(QStringLiteral("Загрузка обновления отменена."));
        m_userDriver.dismiss();
        endSession();
        return;
    }
    if (error) {
        fail(*error, detail);
        return;
    }
    if (const auto failure = verifyAndInstall(m_download->filePath())) {
        fail(failure->first, failure->second);
        return;
    }
    diagnosticLog(QStringLiteral("Обновление установлено: ") + m_foundItem->versionString);
    dropDownload();
    m_userDriver.showReadyToRestart();
}

std::optional<std::pair<UpdateError, QString>> Updater::verifyAndInstall(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::pair{UpdateError::installFailed, file.errorString()};
    }
    const qint64 size = file.size();
    const auto& length = m_foundItem->enclosure.length;
    if (length && size != *length) {
        return std::pair{UpdateError::lengthMismatch,
                         QStringLiteral("%1 / %2").arg(size).arg(*length)};
    }
    // Mapped, so that the bytes that were verified are the bytes written.
    const uchar* mapped = size > 0 ? file.map(0, size) : nullptr;
    if (size > 0 && !mapped) {
        return std::pair{UpdateError::installFailed, file.errorString()};
    }
    const QByteArrayView bytes(reinterpret_cast<const char*>(mapped), size);
    const SignatureCheck check =
        verifyEd25519(bytes, m_foundItem->enclosure.edSignature, m_config.publicKey);
    if (const auto error = signatureError(check)) {
        return std::pair{*error, QString()};
    }
    if (const auto failure = replaceAppImage(m_config.appImagePath, bytes)) {
        return std::pair{UpdateError::installFailed, *failure};
    }
    return std::nullopt;
}

void Updater::fail(UpdateError error, const QString& detail) {
    diagnosticLog(logLine(error, detail));
    if (m_kind == CheckKind::user || m_userDriver.stage() != UpdateUserDriver::Stage::idle) {
        m_userDriver.showError(userText(error, detail));
    }
    endSession();
}

void Updater::dropDownload() {
    // The download may be the sender of the signal being handled: it goes,
    // with its temporary file, once control is back in the event loop.
    if (m_download) {
        m_download->disconnect(this);
        m_download.release()->deleteLater();
    }
}

void Updater::endSession() {
    dropDownload();
    // A late answer of a closed dialog finds nothing to install.
    m_foundItem.reset();
    setBusy(false);
    armSchedule();
}

void Updater::remindLater() {
    m_userDriver.dismiss();
    endSession();
}

void Updater::skipFoundVersion() {
    if (m_foundItem) {
        UpdateSettings::setSkippedVersion(m_foundItem->versionString);
    }
    m_userDriver.dismiss();
    endSession();
}

void Updater::cancelDownload() {
    if (m_download) {
        m_download->cancel();
    }
}

void Updater::restart() {
    m_userDriver.dismiss();
    endSession();
    if (m_restart) {
        m_restart(m_config.appImagePath);
    }
}

} // namespace corvina
