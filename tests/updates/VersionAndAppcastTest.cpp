// Version order and the choice of the update from a feed, without a server.

#include "updates/Appcast.h"
#include "updates/VersionComparator.h"

#include <QTest>

using namespace corvina;
using namespace Qt::StringLiterals;

class VersionAndAppcastTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void versionsCompareTheStandardWay_data() {
        QTest::addColumn<QString>("older");
        QTest::addColumn<QString>("newer");
        QTest::newRow("numbers, not text") << u"1.2.9"_s << u"1.2.10"_s;
        QTest::newRow("beta before release") << u"1.0b3"_s << u"1.0"_s;
        QTest::newRow("beta numbers") << u"1.0b3"_s << u"1.0b10"_s;
        QTest::newRow("alpha before beta") << u"1.0a1"_s << u"1.0b1"_s;
        QTest::newRow("point release after beta") << u"1.0b3"_s << u"1.0.1"_s;
        QTest::newRow("numbers beyond 64 bits")
            << u"99999999999999999999"_s << u"100000000000000000000"_s;
        QTest::newRow("longer with a number") << u"2"_s << u"2.0.1"_s;
    }
    void versionsCompareTheStandardWay() {
        QFETCH(QString, older);
        QFETCH(QString, newer);
        QVERIFY(compareVersions(older, newer) < 0);
        QVERIFY(compareVersions(newer, older) > 0);
    }

    void trailingZerosAreEqual() {
        QCOMPARE(compareVersions(u"1.0"_s, u"1.0.0"_s), 0);
        QCOMPARE(compareVersions(u"1.0.0"_s, u"1.0"_s), 0);
        QCOMPARE(compareVersions(u"007"_s, u"7"_s), 0);
    }

    // Each row: the feed's items as "version|os|channel|minimumSystemVersion"
    // (an item with os "-" has no enclosure at all), the skipped version,
    // and the version chosen ("" for none). This build is 5, on system 6.1.
    void choosesTheNewestItemForThisSystem_data() {
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("skipped");
        QTest::addColumn<QString>("chosen");
        QTest::newRow("newer") << QStringList{"6|||"} << u""_s << u"6"_s;
        QTest::newRow("same") << QStringList{"5|||"} << u""_s << u""_s;
        QTest::newRow("older") << QStringList{"4|||"} << u""_s << u""_s;
        QTest::newRow("skipped") << QStringList{"6|||"} << u"6"_s << u""_s;
        QTest::newRow("skipped, but a newer one")
            << QStringList{"6|||", "7|||"} << u"6"_s << u"7"_s;
        QTest::newRow("for linux") << QStringList{"6|linux||"} << u""_s << u"6"_s;
        QTest::newRow("other systems and channels, too new a system")
            << QStringList{"9|windows||", "8||beta|", "7|||6.2", "6|||6.1.0", "10|-||"} << u""_s
            << u"6"_s;
    }
    void choosesTheNewestItemForThisSystem() {
        QFETCH(QStringList, items);
        QFETCH(QString, skipped);
        QFETCH(QString, chosen);
        QByteArray xml = "<?xml version='1.0'?><rss version='2.0' "
                         "xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'>"
                         "<channel><title>Corvina</title>";
        for (const QString& row : items) {
            const QStringList f = row.split(u'|');
            xml += "<item><title>Version " + f[0].toUtf8() + "</title><sparkle:version>" +
                   f[0].toUtf8() + "</sparkle:version>";
            if (!f[2].isEmpty()) {
                xml += "<sparkle:channel>" + f[2].toUtf8() + "</sparkle:channel>";
            }
            if (!f[3].isEmpty()) {
                xml += "<sparkle:minimumSystemVersion>" + f[3].toUtf8() +
                       "</sparkle:minimumSystemVersion>";
            }
            if (f[1] != u"-") {
                xml += "<enclosure url='https://example.org/" + f[0].toUtf8() +
                       "' length='3' type='application/octet-stream'" +
                       (f[1].isEmpty() ? QByteArray() : " sparkle:os='" + f[1].toUtf8() + "'") +
                       "/>";
            }
            xml += "</item>";
        }
        xml += "</channel></rss>";
        const auto parsed = parseAppcast(xml);
        QVERIFY(parsed);
        const auto update = chooseUpdate(*parsed, {"5", "6.1", {}, skipped});
        QCOMPARE(update ? update->versionString : QString(), chosen);
    }

    void readsEveryFieldOfAnItem() {
        const QByteArray xml =
            "<rss version='2.0' "
            "xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel>"
            "<item><title>Corvina 1.2</title><link>https://example.org/download</link>"
            "<description><![CDATA[<p>Neu</p>]]></description>"
            "<sparkle:version>12</sparkle:version>"
            "<sparkle:shortVersionString>1.2</sparkle:shortVersionString>"
            "<sparkle:releaseNotesLink>https://example.org/notes</sparkle:releaseNotesLink>"
            "<enclosure url='https://example.org/win.exe' length='9' sparkle:os='windows'/>"
            "<enclosure url='https://example.org/c.AppImage' length='42' "
            "type='application/octet-stream' sparkle:os='linux' sparkle:edSignature='c2ln'/>"
            "</item></channel></rss>";
        const auto items = parseAppcast(xml);
        QVERIFY(items);
        QCOMPARE(items->size(), 1);
        const AppcastItem& item = items->first();
        QCOMPARE(item.title, "Corvina 1.2");
        QCOMPARE(item.versionString, "12");
        QCOMPARE(item.displayVersionString, "1.2");
        QCOMPARE(item.itemDescription, "<p>Neu</p>");
        QCOMPARE(item.infoUrl, QUrl("https://example.org/download"));
        QCOMPARE(item.releaseNotesLink, QUrl("https://example.org/notes"));
        QCOMPARE(item.enclosure.url, QUrl("https://example.org/c.AppImage"));
        QCOMPARE(item.enclosure.length, 42);
        QCOMPARE(item.enclosure.edSignature, "c2ln");
    }

    void refusesWhatIsNotAnAppcast_data() {
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("not XML") << QByteArray("<html><body>Wartung");
        QTest::newRow("not RSS") << QByteArray("<feed><entry/></feed>");
        QTest::newRow("broken off") << QByteArray("<rss><channel><item><title>x</title>");
    }
    void refusesWhatIsNotAnAppcast() {
        QFETCH(QByteArray, xml);
        QVERIFY(!parseAppcast(xml));
    }
};

QTEST_GUILESS_MAIN(VersionAndAppcastTest)
#include "VersionAndAppcastTest.moc"
