#include "updates/Appcast.h"

#include "updates/VersionComparator.h"

#include <QXmlStreamReader>

namespace corvina {

namespace {

const QString linuxOs = QStringLiteral("linux");

AppcastEnclosure readEnclosure(const QXmlStreamAttributes& attributes) {
    AppcastEnclosure enclosure;
    enclosure.url = QUrl(attributes.value(QStringLiteral("url")).toString().trimmed());
    bool ok = false;
    const qint64 length = attributes.value(QStringLiteral("length")).toLongLong(&ok);
    if (ok && length >= 0) {
        enclosure.length = length;
    }
    enclosure.type = attributes.value(QStringLiteral("type")).toString();
    enclosure.edSignature =
        attributes.value(appcastNamespace, QStringLiteral("edSignature")).toString();
    enclosure.os = attributes.value(appcastNamespace, QStringLiteral("os")).toString();
    return enclosure;
}

// Reads one item; the reader stands on its start element.
std::optional<AppcastItem> readItem(QXmlStreamReader& xml) {
    AppcastItem item;
    std::optional<AppcastEnclosure> general;
    std::optional<AppcastEnclosure> forLinux;
    QString enclosureVersion;
    QString enclosureShortVersion;
    while (xml.readNextStartElement()) {
        const QStringView ns = xml.namespaceUri();
        const QStringView name = xml.name();
        if (ns.isEmpty() && name == u"enclosure") {
            const QXmlStreamAttributes attributes = xml.attributes();
            const AppcastEnclosure enclosure = readEnclosure(attributes);
            if (enclosure.os.isEmpty() || enclosure.os == linuxOs) {
                // Older feeds put the versions on the enclosure.
                enclosureVersion =
                    attributes.value(appcastNamespace, QStringLiteral("version")).toString();
                enclosureShortVersion =
                    attributes.value(appcastNamespace, QStringLiteral("shortVersionString"))
                        .toString();
                (enclosure.os.isEmpty() ? general : forLinux) = enclosure;
            }
            xml.skipCurrentElement();
        } else if (ns.isEmpty() && name == u"title") {
            item.title = xml.readElementText().trimmed();
        } else if (ns.isEmpty() && name == u"description") {
            item.itemDescription =
                xml.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
        } else if (ns.isEmpty() && name == u"link") {
            item.infoUrl = QUrl(xml.readElementText().trimmed());
        } else if (ns == appcastNamespace && name == u"version") {
            item.versionString = xml.readElementText().trimmed();
        } else if (ns == appcastNamespace && name == u"shortVersionString") {
            item.displayVersionString = xml.readElementText().trimmed();
        } else if (ns == appcastNamespace && name == u"releaseNotesLink") {
            item.releaseNotesLink = QUrl(xml.readElementText().trimmed());
        } else if (ns == appcastNamespace && name == u"minimumSystemVersion") {
            item.minimumSystemVersion = xml.readElementText().trimmed();
        } else if (ns == appcastNamespace && name == u"channel") {
            item.channel = xml.readElementText().trimmed();
        } else if (ns == appcastNamespace && name == u"criticalUpdate") {
            item.criticalUpdate = true;
            xml.skipCurrentElement();
        } else {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError()) {
        return std::nullopt;
    }
    if (!forLinux && !general) {
        return std::nullopt;
    }
    item.enclosure = forLinux ? *forLinux : *general;
    if (item.versionString.isEmpty()) {
        item.versionString = enclosureVersion;
    }
    if (item.displayVersionString.isEmpty()) {
        item.displayVersionString =
            enclosureShortVersion.isEmpty() ? item.versionString : enclosureShortVersion;
    }
    if (item.versionString.isEmpty()) {
        return std::nullopt;
    }
    return item;
}

} // namespace

std::optional<QList<AppcastItem>> parseAppcast(const QByteArray& data) {
    QXmlStreamReader xml(data);
    QList<AppcastItem> items;
    if (!xml.readNextStartElement() || xml.name() != u"rss") {
        return std::nullopt;
    }
    while (xml.readNextStartElement()) {
        if (xml.name() != u"channel") {
            xml.skipCurrentElement();
            continue;
        }
        while (xml.readNextStartElement()) {
            if (xml.name() == u"item" && xml.namespaceUri().isEmpty()) {
                if (auto item = readItem(xml)) {
                    items.append(*item);
                }
            } else {
                xml.skipCurrentElement();
            }
        }
    }
    if (xml.hasError()) {
        return std::nullopt;
    }
    return items;
}

std::optional<AppcastItem> chooseUpdate(const QList<AppcastItem>& items,
                                        const UpdateCriteria& criteria) {
    const AppcastItem* best = nullptr;
    for (const AppcastItem& item : items) {
        if (!item.channel.isEmpty() && !criteria.allowedChannels.contains(item.channel)) {
            continue;
        }
        if (!item.minimumSystemVersion.isEmpty() &&
            compareVersions(criteria.systemVersion, item.minimumSystemVersion) < 0) {
            continue;
        }
        if (!best || compareVersions(item.versionString, best->versionString) > 0) {
            best = &item;
        }
    }
    if (!best || compareVersions(best->versionString, criteria.bundleVersion) <= 0 ||
        (!criteria.skippedVersion.isEmpty() &&
         compareVersions(best->versionString, criteria.skippedVersion) == 0)) {
        return std::nullopt;
    }
    return *best;
}

} // namespace corvina
