// Backup names carry a local time stamp that reads back; log lines print
// numbers in their shortest exact form.
#include "engine/BackupTimestamp.h"
#include "engine/LogText.h"

#include <QTest>

using namespace corvina;
using namespace Qt::StringLiterals;

class BackupTimestampAndLogNumbers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void stampIsLocalTimeAndReadsBack() {
        // Tests run with TZ=Europe/Berlin.
        const QDateTime utc(QDate(2024, 3, 5), QTime(6, 8, 9), Qt::UTC);
        QCOMPARE(BackupTimestamp::make(utc), u"2024-03-05_07-08-09"_s);
        QCOMPARE(BackupTimestamp::parse(u"2024-03-05_07-08-09"_s)->toUTC(), utc);
        for (const char* text : {"2024-13-01_00-00-00", "2024-03-31_02-30-00" /* DST gap */,
                                 "2024-3-5_7-8-9", "2024-03-05_07:08:09", ""}) {
            QCOMPARE(BackupTimestamp::parse(QString::fromLatin1(text)), std::nullopt);
        }
    }

    void numbersPrintShortestExact_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("whole") << 3.0 << u"3.0"_s;
        QTest::newRow("one KiB in MiB") << 1024 * 9.5367431640625e-7 << u"0.0009765625"_s;
        QTest::newRow("16 bytes in MiB") << 16 * 9.5367431640625e-7 << u"1.52587890625e-05"_s;
        QTest::newRow("tenth") << 0.1 << u"0.1"_s;
    }
    void numbersPrintShortestExact() {
        QFETCH(double, value);
        QFETCH(QString, text);
        QCOMPARE(shortestDoubleText(value), text);
    }
};

QTEST_GUILESS_MAIN(BackupTimestampAndLogNumbers)
#include "BackupTimestampAndLogNumbers.moc"
