#include "updates/UpdateDownload.h"

#include "updates/TransportPolicy.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace corvina {

QNetworkReply* getUpdateResource(QNetworkAccessManager& network, const QUrl& url) {
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setTransferTimeout(transferTimeoutMs);
    QNetworkReply* reply = network.get(request);
    QObject::connect(reply, &QNetworkReply::redirected, reply, [reply](const QUrl& target) {
        if (isAllowedUpdateUrl(target)) {
            Q_EMIT reply->redirectAllowed();
        } else {
            reply->setProperty("corvinaRefusedRedirect", target);
            reply->abort();
        }
    });
    return reply;
}

std::pair<UpdateError, QString> replyError(QNetworkReply& reply) {
    const QVariant refused = reply.property("corvinaRefusedRedirect");
    if (refused.isValid()) {
        return {UpdateError::insecureAddress, refused.toUrl().toString()};
    }
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 400 || (reply.error() >= QNetworkReply::ContentAccessDenied &&
                          reply.error() < QNetworkReply::ProtocolUnknownError)) {
        return {UpdateError::serverError, QStringLiteral("HTTP %1").arg(status)};
    }
    return {UpdateError::serverUnreachable, reply.errorString()};
}

UpdateDownload::UpdateDownload(QNetworkAccessManager& network, const QUrl& url,
                               std::optional<qint64> expectedLength, QObject* parent)
    : QObject(parent)
    , m_file(std::make_unique<QTemporaryFile>(QDir::tempPath() +
                                              QStringLiteral("/corvina-update-XXXXXX")))
    , m_expectedLength(expectedLength) {
    if (!m_file->open()) {
        // Reported once the caller is connected.
        QMetaObject::invokeMethod(
            this,
            [this] {
                fail(UpdateError::installFailed, m_file->errorString());
                m_file.reset();
            },
            Qt::QueuedConnection);
        return;
    }
    m_reply = getUpdateResource(network, url);
    connect(m_reply, &QNetworkReply::readyRead, this, &UpdateDownload::readAvailable);
    connect(m_reply, &QNetworkReply::downloadProgress, this, &UpdateDownload::progress);
    connect(m_reply, &QNetworkReply::finished, this, &UpdateDownload::onFinished);
}

UpdateDownload::~UpdateDownload() {
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

QString UpdateDownload::filePath() const {
    return m_file ? m_file->fileName() : QString();
}

void UpdateDownload::cancel() {
    if (m_done) {
        return;
    }
    m_cancelled = true;
    if (m_reply) {
        m_reply->abort();
    }
}

void UpdateDownload::readAvailable() {
    if (m_done) {
        return;
    }
    const QByteArray chunk = m_reply->readAll();
    m_received += chunk.size();
    if (m_expectedLength && m_received > *m_expectedLength) {
        m_reply->disconnect(this);
        m_reply->abort();
        fail(UpdateError::lengthMismatch, QString::number(m_received));
        return;
    }
    if (m_file->write(chunk) != chunk.size()) {
        m_reply->disconnect(this);
        m_reply->abort();
        fail(UpdateError::installFailed, m_file->errorString());
    }
}

void UpdateDownload::onFinished() {
    if (m_done) {
        return;
    }
    m_reply->deleteLater();
    if (m_cancelled) {
        m_done = true;
        Q_EMIT finished(std::nullopt, QString(), true);
        return;
    }
    if (m_reply->error() != QNetworkReply::NoError) {
        const auto [error, detail] = replyError(*m_reply);
        // A connection that breaks off mid-file left a short download.
        if (error == UpdateError::serverUnreachable && m_received > 0 && m_expectedLength &&
            m_received < *m_expectedLength) {
            fail(UpdateError::lengthMismatch,
                 QStringLiteral("%1 / %2").arg(m_received).arg(*m_expectedLength));
            return;
        }
        fail(error, detail);
        return;
    }
    readAvailable();
    if (m_done) {
        return;
    }
    if (!m_file->flush()) {
        fail(UpdateError::installFailed, m_file->errorString());
        return;
    }
    if (m_expectedLength && m_received != *m_expectedLength) {
        fail(UpdateError::lengthMismatch,
             QStringLiteral("%1 / %2").arg(m_received).arg(*m_expectedLength));
        return;
    }
    m_done = true;
    Q_EMIT finished(std::nullopt, QString(), false);
}

void UpdateDownload::fail(UpdateError error, const QString& detail) {
    m_done = true;
    Q_EMIT finished(error, detail, false);
}

} // namespace corvina
