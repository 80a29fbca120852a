#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

namespace corvina {

inline const QString shortVersionKey = QStringLiteral("CFBundleShortVersionString");
inline const QString bundleVersionKey = QStringLiteral("CFBundleVersion");

/// The values this build was made with, under the names the program reads
/// them by: "CFBundleShortVersionString" (the version people see),
/// "CFBundleVersion" (the build number that updates compare against),
/// "SUFeedURL" (the appcast), "SUPublicEDKey" (base64 of the Ed25519 key) and
/// "CorvinaReleaseNotesBase" (scheme and host of the release notes site).
/// Empty build values are left out.
[[nodiscard]] QVariantMap infoDictionary();

/// "v." + the short version, when both version values are strings;
/// otherwise absent, and a diagnostic line says so.
[[nodiscard]] std::optional<QString> versionLine(const QVariantMap& info);

/// The release notes page of the short version:
/// <base>/updates/releasenotes/<version>.html. Absent without a short
/// version or without a usable base.
[[nodiscard]] std::optional<QUrl> releaseNotesUrl(const QVariantMap& info);

} // namespace corvina
