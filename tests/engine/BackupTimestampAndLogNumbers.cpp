// Backup names carry a local time stamp that is made and read back; log
// lines print numbers in their shortest exact form.
#include "engine/BackupTimestamp.h"
#include "engine/LogText.h"

#include <QTest>
#include <QTimeZone>

using namespace corvina;

class BackupTimestampAndLogNumbers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        // The test runs with TZ=Europe/Berlin; the DST rows depend on it.
        QCOMPARE(QTimeZone::systemTimeZoneId(), QByteArray("Europe/Berlin"));
    }

    void stampIsLocalTime() {
        const QDateTime utc(QDate(2024, 3, 5), QTime(6, 8, 9), Qt::UTC);
        QCOMPARE(BackupTimestamp::make(utc), QStringLiteral("2024-03-05_07-08-09"));
        const auto parsed = BackupTimestamp::parse(QStringLiteral("2024-03-05_07-08-09"));
        QVERIFY(parsed.has_value());
        QCOMPARE(parsed->toUTC(), utc);
    }

    void parseRejectsWhatIsNoStamp_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("month 13") << QStringLiteral("2024-13-01_00-00-00");
        QTest::newRow("clock time of a DST gap") << QStringLiteral("2024-03-31_02-30-00");
        QTest::newRow("too short") << QStringLiteral("2024-3-5_7-8-9");
        QTest::newRow("colons") << QStringLiteral("2024-03-05_07:08:09");
        QTest::newRow("trailing text") << QStringLiteral("2024-03-05_07-08-09x");
        QTest::newRow("non-ASCII digits") << QStringLiteral("٢٠٢٤-03-05_07-08-09");
        QTest::newRow("empty") << QString();
    }
    void parseRejectsWhatIsNoStamp() {
        QFETCH(QString, text);
        QCOMPARE(BackupTimestamp::parse(text), std::nullopt);
    }

    void numbersPrintShortestExact_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("whole") << 3.0 << QStringLiteral("3.0");
        QTest::newRow("zero") << 0.0 << QStringLiteral("0.0");
        QTest::newRow("one KiB in MiB")
            << 1024 * 9.5367431640625e-7 << QStringLiteral("0.0009765625");
        QTest::newRow("16 bytes in MiB")
            << 16 * 9.5367431640625e-7 << QStringLiteral("1.52587890625e-05");
        QTest::newRow("tenth") << 0.1 << QStringLiteral("0.1");
        QTest::newRow("smallest plain") << 0.0001 << QStringLiteral("0.0001");
        QTest::newRow("large plain") << 123456789012.5 << QStringLiteral("123456789012.5");
    }
    void numbersPrintShortestExact() {
        QFETCH(double, value);
        QFETCH(QString, text);
        QCOMPARE(shortestDoubleText(value), text);
    }
};

QTEST_GUILESS_MAIN(BackupTimestampAndLogNumbers)
#include "BackupTimestampAndLogNumbers.moc"
