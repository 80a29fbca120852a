#include "WorkflowTestSupport.h"

#include "workflows/ActionHost.h"
#include "workflows/DeleteDataViewModel.h"

#include <QElapsedTimer>
#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

class DataDeletionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { useScratchHome(m_home); }
    void deletionReportsOutcomeAndClosesAfterPause_data();
    void deletionReportsOutcomeAndClosesAfterPause();
    void screenClosedByLockWhileWorking();

private:
    QTemporaryDir m_home;
};

void DataDeletionTest::deletionReportsOutcomeAndClosesAfterPause_data() {
    QTest::addColumn<bool>("dataPresent");
    QTest::addColumn<QString>("message");
    QTest::newRow("data deleted") << true << "Die Daten wurden erfolgreich gelöscht.";
    QTest::newRow("no data folder") << false << "Fehler beim Löschen der Daten.";
}

void DataDeletionTest::deletionReportsOutcomeAndClosesAfterPause() {
    QFETCH(bool, dataPresent);
    QFETCH(QString, message);
    const QString data = companionDataDirectory();
    QVERIFY(QDir(data).removeRecursively());
    // A link in the data leads to a folder outside, which must survive.
    const QString outside = m_home.filePath("outside");
    writeFile(outside + "/precious", "keep");
    if (dataPresent) {
        writeFile(data + "/.hidden/deep/database.sqlite", "x");
        QVERIFY(QFile::link(outside, data + "/link"));
    }
    writeFile(companionContainerDirectory() + "/beside", "stays");
    ActionHost host;
    DeleteDataViewModel model;
    model.setHost(&host);
    // The tick box is the button flag turned round, and opens ticked.
    QVERIFY(model.isConfirmed());
    model.setIsConfirmed(false);
    QVERIFY(host.isSaveButtonDisabled());
    model.setIsConfirmed(true);

    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QElapsedTimer clock;
    clock.start();
    host.flipPerformAction();
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QTRY_COMPARE(host.messageText(), message);
    // The caption stays for the pause, then the sheet closes either way.
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 5000);
    QVERIFY(clock.elapsed() >= 1000 && host.progressLoadText().isEmpty());
    QVERIFY(!QFileInfo::exists(data));
    QCOMPARE(readFile(companionContainerDirectory() + "/beside"), QByteArray("stays"));
    QCOMPARE(readFile(outside + "/precious"), QByteArray("keep"));
}

// A lock takes the screen away while the deletion runs: the deletion still
// completes, and its end reaches nothing that has gone.
void DataDeletionTest::screenClosedByLockWhileWorking() {
    writeFile(companionDataDirectory() + "/database.sqlite", "x");
    ActionHost host;
    auto model = std::make_unique<DeleteDataViewModel>();
    model->setHost(&host);
    const QFuture<EncryptionResult> run = model->runDeletion();
    model.reset();
    QCOMPARE(run.result(), EncryptionResult::success());
    QCoreApplication::processEvents();
    QVERIFY(host.messageText().isEmpty() && !QFileInfo::exists(companionDataDirectory()));
}

QTEST_GUILESS_MAIN(DataDeletionTest)
#include "DataDeletionTest.moc"
