#include "updates/BuildInfo.h"

#include "engine/DiagnosticLog.h"

namespace corvina {

namespace {

void insertIfSet(QVariantMap& map, const QString& key, const char* value) {
    const QString text = QString::fromUtf8(value);
    if (!text.isEmpty()) {
        map.insert(key, text);
    }
}

std::optional<QString> stringValue(const QVariantMap& info, const QString& key) {
    const QVariant value = info.value(key);
    if (value.typeId() != QMetaType::QString) {
        return std::nullopt;
    }
    return value.toString();
}

} // namespace

QVariantMap infoDictionary() {
    QVariantMap map;
    insertIfSet(map, shortVersionKey, CORVINA_SHORT_VERSION);
    insertIfSet(map, bundleVersionKey, CORVINA_BUNDLE_VERSION);
    insertIfSet(map, QStringLiteral("SUFeedURL"), CORVINA_FEED_URL);
    insertIfSet(map, QStringLiteral("SUPublicEDKey"), CORVINA_UPDATE_PUBLIC_KEY);
    insertIfSet(map, QStringLiteral("CorvinaReleaseNotesBase"), CORVINA_RELEASE_NOTES_BASE);
    return map;
}

std::optional<QString> versionLine(const QVariantMap& info) {
    const auto shortVersion = stringValue(info, shortVersionKey);
    const auto build = stringValue(info, bundleVersionKey);
    if (!shortVersion || !build) {
        diagnosticLog(QStringLiteral("Не удалось извлечь информацию о версии сборки"));
        return std::nullopt;
    }
    return QStringLiteral("v.") + *shortVersion;
}

std::optional<QUrl> releaseNotesUrl(const QVariantMap& info) {
    const auto shortVersion = stringValue(info, shortVersionKey);
    if (!shortVersion) {
        return std::nullopt;
    }
    const QUrl base(info.value(QStringLiteral("CorvinaReleaseNotesBase")).toString());
    if (base.scheme().isEmpty() || base.host().isEmpty()) {
        return std::nullopt;
    }
    QUrl url;
    url.setScheme(base.scheme());
    url.setHost(base.host());
    url.setPort(base.port());
    url.setPath(QStringLiteral("/updates/releasenotes/") + *shortVersion + QStringLiteral(".html"));
    if (!url.isValid()) {
        return std::nullopt;
    }
    return url;
}

} // namespace corvina
