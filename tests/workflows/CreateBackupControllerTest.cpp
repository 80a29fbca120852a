#include "WorkflowTestSupport.h"

#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/CreateZipViewModel.h"

#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

namespace {

QStringList backupsIn(const QString& folder) {
    return QDir(folder).entryList({QStringLiteral("Backup_*.halvorn")}, QDir::Files);
}

bool opensWith(const QString& backup, const QString& password) {
    auto report = EncryptionService::shared().verifyEncryptedArchive(backup, password);
    return report.result().isSound();
}

} // namespace

class CreateBackupControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { useScratchHome(m_home); }
    void init();
    void backupFromControllerStateLandsInStoredFolder_data();
    void backupFromControllerStateLandsInStoredFolder();
    void failedRunKeepsSheetOpenAndNextRunWorks();
    void folderPresenceDrivesAlertAndButtonFlag();
    void screenClosedByLockWhileWorking();

private:
    QTemporaryDir m_home;
    QString m_storage = m_home.filePath("storage");
};

void CreateBackupControllerTest::init() {
    QVERIFY(QDir(m_storage).removeRecursively() && QDir().mkpath(m_storage));
    QVERIFY(QDir(companionDataDirectory()).removeRecursively());
    writeFile(companionDataDirectory() + "/Documents/Brief.txt", QByteArray(50000, 'd'));
    storeStorageFolder(m_storage);
}

void CreateBackupControllerTest::backupFromControllerStateLandsInStoredFolder_data() {
    QTest::addColumn<QString>("storedPassword");
    QTest::addColumn<QString>("comment");
    QTest::newRow("password and comment") << QStringLiteral("Geheimnis-ü") << "Vor dem Update";
    // Nothing in the keychain: the backup is made with the empty password.
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
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);

    host.startAction(ActionHost::Action::create);
    QCOMPARE(host.progressLoadText(), QStringLiteral("Backup wird erstellt."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(host.messageText(), QStringLiteral("Das Backup wurde erfolgreich erstellt."));
    QVERIFY(host.progressLoadText().isEmpty());

    const QStringList backups = backupsIn(m_storage);
    QCOMPARE(backups.size(), 1);
    const QString backup = m_storage + "/" + backups.first();
    QVERIFY(opensWith(backup, storedPassword));
    QVERIFY(!opensWith(backup, storedPassword + "x"));
    QCOMPARE(readFinderComment(backup).value_or(QString()), comment);
}

void CreateBackupControllerTest::failedRunKeepsSheetOpenAndNextRunWorks() {
    QVERIFY(QDir(companionDataDirectory()).removeRecursively());
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    model.setComment("bleibt");
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&host, &ActionHost::progressLoadTextChanged);

    host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(captions.count(), 2, 30000);
    QVERIFY(host.messageText().isEmpty());
    QCOMPARE(closed.count(), 0);
    QCOMPARE(model.comment(), QStringLiteral("bleibt"));
    QVERIFY(model.zipStatusMessage().isEmpty());

    // The flip back to false orders a run just as well.
    writeFile(companionDataDirectory() + "/database.sqlite", "wieder da");
    host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(backupsIn(m_storage).size(), 1);

    // Without a stored folder the run fails at once, and no alert shows.
    clearStorageFolder();
    CreateZipViewModel unset;
    QCOMPARE(unset.createArchive(QString()).result(),
             EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed));
    QCoreApplication::processEvents();
    QVERIFY(unset.isDirectoryAvailable() && unset.zipStatusMessage().isEmpty());
}

void CreateBackupControllerTest::folderPresenceDrivesAlertAndButtonFlag() {
    const QString missingText = "Der Speicherort für das Backup wurde nicht gefunden.";
    ActionHost host;
    CreateZipViewModel model;
    model.setHost(&host);
    QCoreApplication::processEvents();
    QVERIFY(model.isDirectoryAvailable() && !host.isSaveButtonDisabled());

    const QString away = m_home.filePath("away");
    QVERIFY(QDir().rename(m_storage, away));
    QTRY_VERIFY(!model.isDirectoryAvailable());
    QCOMPARE(model.zipStatusMessage(), missingText);
    // The flag takes the availability as it stands: the button stays usable.
    QVERIFY(!host.isSaveButtonDisabled());
    model.setZipStatusMessage(QString());
    QVERIFY(QDir().rename(away, m_storage));
    QTRY_VERIFY(model.isDirectoryAvailable());
    QVERIFY(host.isSaveButtonDisabled());
    QVERIFY(model.zipStatusMessage().isEmpty());

    // Missing at opening: the alert shows at once.
    QVERIFY(QDir(m_storage).removeRecursively());
    CreateZipViewModel reopened;
    QTRY_COMPARE(reopened.zipStatusMessage(), missingText);
}

// A lock takes the screen away while the backup runs: the backup still
// completes, and its end reaches nothing that has gone.
void CreateBackupControllerTest::screenClosedByLockWhileWorking() {
    ActionHost host;
    auto model = std::make_unique<CreateZipViewModel>();
    model->setHost(&host);
    const QFuture<EncryptionResult> run = model->runAction();
    model.reset();
    QCOMPARE(run.result(), EncryptionResult::success());
    QCoreApplication::processEvents();
    QCOMPARE(backupsIn(m_storage).size(), 1);
    QVERIFY(host.messageText().isEmpty());
}

QTEST_GUILESS_MAIN(CreateBackupControllerTest)
#include "CreateBackupControllerTest.moc"
