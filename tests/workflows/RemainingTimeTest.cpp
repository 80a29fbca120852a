// The remaining time of a run in words, from the time it has run and the
// part that is done.
#include "workflows/RemainingTime.h"

#include <QTest>

using namespace corvina;

class RemainingTimeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saidInWords_data() {
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<QString>("text");
        QTest::newRow("first two seconds") << 1.9 << 0.5 << QString();
        QTest::newRow("nothing done yet") << 5.0 << 0.0 << QString();
        QTest::newRow("done") << 5.0 << 1.0 << QStringLiteral("noch wenige Sekunden");
        QTest::newRow("9 s left") << 3.0 << 0.25 << QStringLiteral("noch wenige Sekunden");
        QTest::newRow("21 s left") << 7.0 << 0.25 << QStringLiteral("noch etwa 30 Sekunden");
        QTest::newRow("60 s left") << 20.0 << 0.25 << QStringLiteral("noch etwa 1 Minute");
        QTest::newRow("2 min left") << 40.0 << 0.25 << QStringLiteral("noch etwa 2 Minuten");
        QTest::newRow("45 min left") << 300.0 << 0.1 << QStringLiteral("noch etwa 45 Minuten");
    }
    void saidInWords() {
        QFETCH(double, elapsed);
        QFETCH(double, fraction);
        QFETCH(QString, text);
        QCOMPARE(remainingTimeText(elapsed, fraction), text);
    }
};

QTEST_GUILESS_MAIN(RemainingTimeTest)
#include "RemainingTimeTest.moc"
