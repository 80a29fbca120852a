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
    void initTestCase();
    void tickBoxIsTheButtonFlagTurnedRound();
    void deletionReportsOutcomeAndClosesAfterPause_data();
    void deletionReportsOutcomeAndClosesAfterPause();
    void deleteCompanionDataRemovesLinksNotTheirTargets();

private:
    QTemporaryDir m_home;
};

void DataDeletionTest::initTestCase() {
    useScratchHome(m_home);
}

void DataDeletionTest::tickBoxIsTheButtonFlagTurnedRound() {
    ActionHost host;
    DeleteDataViewModel model;
    model.setHost(&host);
    // The sheet opens with the button enabled, so the box opens ticked.
    QVERIFY(model.isConfirmed());
    QSignalSpy changed(&model, &DeleteDataViewModel::isConfirmedChanged);
    model.setIsConfirmed(false);
    QVERIFY(host.isSaveButtonDisabled());
    QCOMPARE(changed.count(), 1);
    host.closeView();
    QVERIFY(model.isConfirmed());
    QCOMPARE(changed.count(), 2);
}

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
    if (dataPresent) {
        writeFile(data + "/database.sqlite", "x");
        writeFile(data + "/.hidden/deep/file", "y");
    }
    writeFile(companionContainerDirectory() + "/beside", "stays");

    ActionHost host;
    DeleteDataViewModel model;
    model.setHost(&host);
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QElapsedTimer clock;
    clock.start();

    host.startAction(ActionHost::Action::delete_);
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QTRY_COMPARE(host.messageText(), message);
    // The caption stays up for the pause, then the sheet closes either way.
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QCOMPARE(closed.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 5000);
    QVERIFY(clock.elapsed() >= 1000);
    QVERIFY(host.progressLoadText().isEmpty());

    QVERIFY(!QFileInfo::exists(data));
    QCOMPARE(readFile(companionContainerDirectory() + "/beside"), QByteArray("stays"));
}

void DataDeletionTest::deleteCompanionDataRemovesLinksNotTheirTargets() {
    QTemporaryDir scratch;
    const QString outside = scratch.filePath("outside");
    writeFile(outside + "/precious", "keep");
    const QString data = scratch.filePath("Data");
    writeFile(data + "/file", "x");
    QVERIFY(QFile::link(outside, data + "/link"));

    QFuture<EncryptionResult> result = deleteCompanionData(data);
    result.waitForFinished();
    QCOMPARE(result.result(), EncryptionResult::success());
    QVERIFY(!QFileInfo::exists(data));
    QCOMPARE(readFile(outside + "/precious"), QByteArray("keep"));

    result = deleteCompanionData(data);
    result.waitForFinished();
    QCOMPARE(result.result(),
             EncryptionResult::failure(FinderCommentError::Case::failedToAddComment));
}

QTEST_GUILESS_MAIN(DataDeletionTest)
#include "DataDeletionTest.moc"
