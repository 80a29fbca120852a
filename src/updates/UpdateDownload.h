#pragma once

#include "updates/UpdateError.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTemporaryFile>
#include <QUrl>

#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace corvina {

/// Fetches one URL over the transport policy: redirects are held to the same
/// rule, a stalled transfer ends after `transferTimeoutMs`. Shared by the
/// feed request and the download.
QNetworkReply* getUpdateResource(QNetworkAccessManager& network, const QUrl& url);

/// Maps a failed reply to the error the user sees, with its detail.
[[nodiscard]] std::pair<UpdateError, QString> replyError(QNetworkReply& reply);

/// A stalled transfer fails after this long without data.
constexpr int transferTimeoutMs = 30000;

/// One download of an update file into a private temporary file (mode 0600
/// in the temporary folder). The file lives as long as this object and is
/// removed with it, whatever the outcome. A body that grows past the
/// expected length is cut off at once.
class UpdateDownload : public QObject {
    Q_OBJECT

public:
    UpdateDownload(QNetworkAccessManager& network, const QUrl& url,
                   std::optional<qint64> expectedLength, QObject* parent = nullptr);
    ~UpdateDownload() override;

    void cancel();
    /// The downloaded file; valid after `finished` without an error.
    [[nodiscard]] QString filePath() const;

Q_SIGNALS:
    void progress(qint64 received, qint64 total);
    /// Absent error: the file holds exactly the expected number of bytes.
    /// `cancelled` is true after `cancel`.
    void finished(std::optional<corvina::UpdateError> error, const QString& detail, bool cancelled);

private:
    void readAvailable();
    void fail(UpdateError error, const QString& detail);
    void onFinished();

    std::unique_ptr<QTemporaryFile> m_file;
    QPointer<QNetworkReply> m_reply;
    std::optional<qint64> m_expectedLength;
    qint64 m_received = 0;
    bool m_done = false;
    bool m_cancelled = false;
};

} // namespace corvina
