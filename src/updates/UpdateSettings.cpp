#include "updates/UpdateSettings.h"

#include <QSettings>

#include <algorithm>
#include <cmath>

namespace corvina::UpdateSettings {

bool automaticallyChecks() {
    return QSettings().value(automaticChecksKey, true).toBool();
}

void setAutomaticallyChecks(bool value) {
    QSettings().setValue(automaticChecksKey, value);
}

bool automaticallyDownloads() {
    return QSettings().value(automaticDownloadsKey, false).toBool();
}

void setAutomaticallyDownloads(bool value) {
    QSettings().setValue(automaticDownloadsKey, value);
}

double checkInterval() {
    bool ok = false;
    const double stored = QSettings().value(checkIntervalKey).toDouble(&ok);
    if (!ok || !std::isfinite(stored)) {
        return defaultCheckInterval;
    }
    return std::clamp(stored, minimumCheckInterval, maximumCheckInterval);
}

std::optional<QDateTime> lastCheckTime() {
    const QDateTime time = QSettings().value(lastCheckTimeKey).toDateTime();
    if (!time.isValid()) {
        return std::nullopt;
    }
    return time;
}

void setLastCheckTime(const QDateTime& time) {
    QSettings settings;
    settings.setValue(lastCheckTimeKey, time.toUTC());
    settings.sync();
}

QString skippedVersion() {
    return QSettings().value(skippedVersionKey).toString();
}

void setSkippedVersion(const QString& version) {
    QSettings().setValue(skippedVersionKey, version);
}

QUrl feedUrlOverride() {
    return QUrl(QSettings().value(feedUrlKey).toString().trimmed());
}

qint64 msUntilScheduledCheck(const QDateTime& now) {
    const auto last = lastCheckTime();
    if (!last) {
        return 0;
    }
    const auto intervalMs = static_cast<qint64>(checkInterval() * 1000.0);
    return std::clamp(intervalMs - last->msecsTo(now), qint64{0}, intervalMs);
}

} // namespace corvina::UpdateSettings
