// Scheduled checks keep their interval across processes of the program:
// each run is a new process sharing the settings file.

#include "TestHttpServer.h"

#include "engine/ApplicationIdentity.h"
#include "updates/UpdateSettings.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace corvina;

class ScheduledChecksAcrossProcesses : public QObject {
    Q_OBJECT

    test::TestHttpServer m_server;

    // Runs the probe while this process keeps serving.
    QString runProbe() {
        QProcess probe;
        QSignalSpy finished(&probe, &QProcess::finished);
        probe.start(QCoreApplication::applicationDirPath() + QStringLiteral("/scheduledCheckProbe"),
                    {m_server.url(QStringLiteral("/appcast.xml")).toString()});
        if (!finished.wait(20000)) {
            return QStringLiteral("probe hangs");
        }
        return QString::fromUtf8(probe.readAllStandardOutput()).trimmed();
    }

    static void setLastCheckSecondsAgo(int seconds) {
        QSettings().setValue(UpdateSettings::lastCheckTimeKey,
                             QDateTime::currentDateTimeUtc().addSecs(-seconds));
    }

    // "waiting <ms>" within a minute under the expected time.
    static bool waitsAbout(const QString& output, qint64 expectedMs) {
        if (!output.startsWith(u"waiting ")) {
            return false;
        }
        const qint64 ms = output.mid(8).toLongLong();
        return ms <= expectedMs && ms > expectedMs - 60000;
    }

private Q_SLOTS:
    void initTestCase() {
        applyApplicationIdentity();
        QSettings().clear();
        QVERIFY(m_server.isListening());
        m_server.serve(QStringLiteral("/appcast.xml"),
                       {"<rss version='2.0'><channel><title>Corvina</title></channel></rss>"});
    }

    void intervalHoldsAcrossProcesses() {
        const QString feed = QStringLiteral("/appcast.xml");
        QCOMPARE(runProbe(), "checked");
        QCOMPARE(m_server.requests(feed), 1);

        // Just checked: the next process waits the default day.
        QString output = runProbe();
        QVERIFY2(waitsAbout(output, 86400000), qPrintable(output));

        // An interval below an hour counts as an hour.
        QSettings().setValue(UpdateSettings::checkIntervalKey, 10);
        setLastCheckSecondsAgo(3000);
        output = runProbe();
        QVERIFY2(waitsAbout(output, 600000), qPrintable(output));
        QCOMPARE(m_server.requests(feed), 1);

        setLastCheckSecondsAgo(3601);
        QCOMPARE(runProbe(), "checked");
        QCOMPARE(m_server.requests(feed), 2);

        // Switched off in one process, off in the next.
        QSettings().setValue(UpdateSettings::automaticChecksKey, false);
        setLastCheckSecondsAgo(90000);
        QCOMPARE(runProbe(), "off");
        QCOMPARE(m_server.requests(feed), 2);
    }
};

QTEST_GUILESS_MAIN(ScheduledChecksAcrossProcesses)
#include "ScheduledChecksAcrossProcesses.moc"
