#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace corvina {

/// The XML namespace of the appcast elements and attributes.
inline const QString appcastNamespace =
    QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

/// One `enclosure` of an item: the file of the update.
struct AppcastEnclosure {
    QUrl url;
    /// The declared size in bytes; absent when not given.
    std::optional<qint64> length;
    QString type;
    /// `sparkle:edSignature` as written: base64 of 64 bytes, or empty.
    QString edSignature;
    /// `sparkle:os`; empty for every system.
    QString os;
};

/// One `item` of the feed, with the enclosure chosen for this system.
struct AppcastItem {
    QString title;
    /// `sparkle:version`: the machine version, compared with "CFBundleVersion".
    QString versionString;
    /// `sparkle:shortVersionString`, or the machine version without one.
    QString displayVersionString;
    QString itemDescription;
    QUrl releaseNotesLink;
    /// The item's `link`: the page to download the update from by hand.
    QUrl infoUrl;
    QString minimumSystemVersion;
    QString channel;
    bool criticalUpdate = false;
    AppcastEnclosure enclosure;
};

/// What picks the update for this program on this system.
struct UpdateCriteria {
    /// This build's "CFBundleVersion".
    QString bundleVersion;
    /// The version compared with `minimumSystemVersion`.
    QString systemVersion;
    /// Channels this program follows besides the default one (no channel).
    QStringList allowedChannels;
    /// "SUSkippedVersion", empty when none.
    QString skippedVersion;
};

/// Reads an RSS 2.0 appcast. Each item keeps its enclosure for "linux" or,
/// lacking one, its enclosure without `sparkle:os`; items with neither, and
/// items without a version, are left out. Absent when the XML is not a
/// well-formed RSS document.
[[nodiscard]] std::optional<QList<AppcastItem>> parseAppcast(const QByteArray& xml);

/// The newest item for this system (a followed channel, not above the
/// system's version) when it is newer than the build and not skipped.
[[nodiscard]] std::optional<AppcastItem> chooseUpdate(const QList<AppcastItem>& items,
                                                      const UpdateCriteria& criteria);

} // namespace corvina
