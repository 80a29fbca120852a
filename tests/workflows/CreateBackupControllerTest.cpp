#include "WorkflowTestSupport.h"

#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/CreateZipViewModel.h"

#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

namespace {

const QString successText = QStringLiteral("Das Backup wurde erfolgreich erstellt.");
const QString missingFolderText =
    QStringLiteral("Der Speicherort für das Backup wurde nicht gefunden.");

QStringList backupsIn(const QString& folder) {
    return QDir(folder).entryList({QStringLiteral("Backup_*.halvorn")}, QDir::Files);
}

bool isSoundWith(const QString& backup, const QString& password) {
    QFuture<VerificationReport> report =
        EncryptionService::shared().verifyEncryptedArchive(backup, password);
    report.waitForFinished();
    return report.result().isSound();
}

} // namespace

class CreateBackupControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void backupFromControllerStateLandsInStoredFolder_data();
    void backupFromControllerStateLandsInStoredFolder();
    void withoutStoredFolderNothingIsMadeAndNoAlertShows();
    void failedRunKeepsSheetOpenAndNextRunWorks();
    void vanishingFolderRaisesAlertAndFollowsButtonFlag();
    void folderMissingAtOpeningRaisesAlert();

private:
    QTemporaryDir m_home;
    QString m_data;
    QString m_storage;
};

void CreateBackupControllerTest::initTestCase() {
    useScratchHome(m_home);
    m_data = companionDataDirectory();
}

void CreateBackupControllerTest::init() {
    QVERIFY(QDir(m_home.filePath("storage")).removeRecursively());
    m_storage = m_home.filePath("storage");
    QVERIFY(QDir().mkpath(m_storage));
    QVERIFY(QDir(m_data).removeRecursively());
    writeFile(m_data + "/database.sqlite", QByteArray(50000, 'd'));
    writeFile(m_data + "/Documents/Brief.txt", "Sehr geehrte Damen und Herren");
    storeStorageFolder(m_storage);
    setArchivePassword(QString());
}

void CreateBackupControllerTest::backupFromControllerStateLandsInStoredFolder_data() {
    QTest::addColumn<QString>("storedPassword");
    QTest::addColumn<QString>("comment");
    QTest::newRow("password and comment") << QStringLiteral("Geheimnis-ü") << "Vor dem Update";
    // No password in the keychain: the backup is made with the empty one.
    QTest::newRow("no stored password") << QString() << QString();
}

void CreateBackupControllerTest::backupFromControllerStateLandsInStoredFolder() {
    QFETCH(QString, storedPassword);
    QFETCH(QString, comment);
    setArchivePassword(storedPassword);

    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    model.setComment(comment);
    QCOMPARE(model.destinationPath(), QUrl::fromLocalFile(m_storage));
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&host, &ActionHost::progressLoadTextChanged);

    host.startAction(ActionHost::Action::create);
    QCOMPARE(host.progressLoadText(), QStringLiteral("Backup wird erstellt."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(host.messageText(), successText);
    QVERIFY(host.progressLoadText().isEmpty());
    QCOMPARE(captions.count(), 2);

    const QStringList backups = backupsIn(m_storage);
    QCOMPARE(backups.size(), 1);
    const QString backup = m_storage + "/" + backups.first();
    QVERIFY(isSoundWith(backup, storedPassword));
    QVERIFY(!isSoundWith(backup, storedPassword + "x"));
    QCOMPARE(readFinderComment(backup),
             comment.isEmpty() ? std::nullopt : std::optional<QString>(comment));
}

void CreateBackupControllerTest::withoutStoredFolderNothingIsMadeAndNoAlertShows() {
    clearStorageFolder();
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    QCoreApplication::processEvents();
    QVERIFY(model.destinationPath().isEmpty());
    QVERIFY(model.isDirectoryAvailable());
    QVERIFY(model.zipStatusMessage().isEmpty());

    QFuture<EncryptionResult> result = model.createArchive(QString());
    QVERIFY(result.isFinished());
    QCOMPARE(result.result(),
             EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed));

    QSignalSpy captions(&host, &ActionHost::progressLoadTextChanged);
    host.flipPerformAction();
    QTRY_COMPARE(captions.count(), 2);
    QVERIFY(host.messageText().isEmpty());
    QVERIFY(backupsIn(m_storage).isEmpty());
}

void CreateBackupControllerTest::failedRunKeepsSheetOpenAndNextRunWorks() {
    QVERIFY(QDir(m_data).removeRecursively());
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    model.setComment("bleibt");
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&host, &ActionHost::progressLoadTextChanged);

    host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(captions.count(), 2, 30000);
    QVERIFY(host.progressLoadText().isEmpty());
    QVERIFY(host.messageText().isEmpty());
    QCOMPARE(closed.count(), 0);
    QCOMPARE(model.comment(), QStringLiteral("bleibt"));
    QVERIFY(model.zipStatusMessage().isEmpty());

    // The flip back to false is an order to run as well.
    writeFile(m_data + "/database.sqlite", "wieder da");
    host.flipPerformAction();
    QCOMPARE(host.performAction(), false);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(host.messageText(), successText);
    QCOMPARE(backupsIn(m_storage).size(), 1);
}

void CreateBackupControllerTest::vanishingFolderRaisesAlertAndFollowsButtonFlag() {
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    QCoreApplication::processEvents();
    QVERIFY(model.isDirectoryAvailable());
    QVERIFY(!host.isSaveButtonDisabled());

    const QString away = m_home.filePath("storage-away");
    QVERIFY(QDir().rename(m_storage, away));
    QTRY_VERIFY(!model.isDirectoryAvailable());
    QCOMPARE(model.zipStatusMessage(), missingFolderText);
    // The flag takes the availability as it stands: the button stays usable.
    QVERIFY(!host.isSaveButtonDisabled());

    model.setZipStatusMessage(QString());
    QVERIFY(QDir().rename(away, m_storage));
    QTRY_VERIFY(model.isDirectoryAvailable());
    QVERIFY(host.isSaveButtonDisabled());
    // The alert is not cleared by the folder's return, nor raised again.
    QVERIFY(model.zipStatusMessage().isEmpty());
}

void CreateBackupControllerTest::folderMissingAtOpeningRaisesAlert() {
    QVERIFY(QDir(m_storage).removeRecursively());
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    QTRY_COMPARE(model.zipStatusMessage(), missingFolderText);
    QVERIFY(!model.isDirectoryAvailable());

    // The action stays possible and the folder is made again.
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(backupsIn(m_storage).size(), 1);
}

QTEST_GUILESS_MAIN(CreateBackupControllerTest)
#include "CreateBackupControllerTest.moc"
