#include "updates/UpdateUserDriver.h"

#include <QLocale>
#include <QMetaEnum>

namespace corvina {

UpdateUserDriver::UpdateUserDriver(QString currentVersion, bool installsInPlace, QObject* parent)
    : QObject(parent)
    , m_currentVersion(std::move(currentVersion))
    , m_installsInPlace(installsInPlace) {}

QString UpdateUserDriver::dialog() const {
    return QString::fromLatin1(QMetaEnum::fromType<Stage>().valueToKey(static_cast<int>(m_stage)));
}

QString UpdateUserDriver::progressText() const {
    const QLocale german(QLocale::German, QLocale::Germany);
    const auto size = [&german](qint64 bytes) {
        return german.formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
    };
    if (m_expected <= 0) {
        return size(m_received);
    }
    return size(m_received) + QStringLiteral(" von ") + size(m_expected);
}

void UpdateUserDriver::showUpdateFound(const AppcastItem& item) {
    m_item = item;
    m_errorMessage.clear();
    setStage(Stage::updateFound);
}

void UpdateUserDriver::showDownloadStarted(qint64 expected) {
    m_received = 0;
    m_expected = expected;
    Q_EMIT progressChanged();
    setStage(Stage::downloading);
}

void UpdateUserDriver::showDownloadProgress(qint64 received, qint64 expected) {
    m_received = received;
    if (expected > 0) {
        m_expected = expected;
    }
    Q_EMIT progressChanged();
}

void UpdateUserDriver::showReadyToRestart() {
    setStage(Stage::readyToRestart);
}

void UpdateUserDriver::showNoUpdateFound() {
    setStage(Stage::noUpdateFound);
}

void UpdateUserDriver::showError(const QString& message) {
    m_errorMessage = message;
    setStage(Stage::failed);
}

void UpdateUserDriver::dismiss() {
    setStage(Stage::idle);
}

void UpdateUserDriver::setStage(Stage stage) {
    m_stage = stage;
    Q_EMIT changed();
}

} // namespace corvina
