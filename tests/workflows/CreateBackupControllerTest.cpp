#include "WorkflowTestSupport.h"

#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/CreateZipViewModel.h"
#include "workflows/PathViewModel.h"
#include "workflows/StorageLocation.h"

#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

namespace {

QStringList backupsIn(const QString& folder) {
    return QDir(folder).entryList({QStringLiteral("Backup_*.halvorn")}, QDir::Files);
}

bool opensWith(const QString& backup, const QString& password) {
    return EncryptionService::shared().verifyEncryptedArchive(backup, password).result().isSound();
}

} // namespace

/// The storage folder as the settings screen chooses it, and the create
/// controller that makes backups into it.
class CreateBackupControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { useScratchHome(m_home); }
    void init();
    void chosenFolderIsStoredAsPlainPath();
    void backupFromControllerStateLandsInStoredFolder_data();
    void backupFromControllerStateLandsInStoredFolder();
    void failedRunKeepsSheetOpenAndNextRunWorks();
    void folderPresenceDrivesAlertAndButtonFlag();
    void screenClosedByLockWhileWorking();

private:
    QTemporaryDir m_home;
    QString m_storage = m_home.filePath("storage");
    ActionHost m_host;
};

void CreateBackupControllerTest::init() {
    m_host.setMessageText(QString());
    m_host.setProgressLoadText(QString());
    m_host.setIsSaveButtonDisabled(false);
    QVERIFY(QDir(m_storage).removeRecursively() && QDir().mkpath(m_storage));
    QVERIFY(QDir(companionDataDirectory()).removeRecursively());
    writeFile(companionDataDirectory() + "/Documents/Brief.txt", QByteArray(50000, 'd'));
    storeStorageFolder(m_storage);
}

// Spaces, umlauts and characters of URL syntax keep the path as it is.
void CreateBackupControllerTest::chosenFolderIsStoredAsPlainPath() {
    const QString folderName = QStringLiteral("Sicherungen für Jürgen a%20b#c?d");
    storeStorageFolder(QString());
    const QString folder = m_home.filePath(folderName);
    QVERIFY(QDir().mkpath(folder));
    PathViewModel model;
    QVERIFY(model.restorePath().isEmpty());
    model.chooseFolder(QUrl::fromLocalFile(folder));
    QCOMPARE(model.folderName(), folderName);
    QCOMPARE(model.folderPath(), folder);
    // The command-line tool reads the same bare path, without a scheme.
    QCOMPARE(QSettings().value(QStringLiteral("savedPathKey")).toString(), folder);
    QCOMPARE(PathViewModel().restorePath(), QUrl::fromLocalFile(folder));
    QCOMPARE(CreateZipViewModel().destinationPathText(), folder);
    // A cancelled dialog changes nothing.
    model.chooseFolder(QUrl());
    QCOMPARE(storedStoragePath(), folder);
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
    auto model = std::make_unique<CreateZipViewModel>();
    model->setHost(&m_host);
    model->setComment(comment);
    QSignalSpy closed(&m_host, &ActionHost::closeViewRequested);
    // Closing the sheet drops its screen at once, as the main screen does.
    connect(&m_host, &ActionHost::closeViewRequested, model.get(), [&model] { model.reset(); });

    m_host.startAction(ActionHost::Action::create);
    QCOMPARE(m_host.progressLoadText(), QStringLiteral("Backup wird erstellt."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(m_host.messageText(), QStringLiteral("Das Backup wurde erfolgreich erstellt."));
    QVERIFY(m_host.progressLoadText().isEmpty());
    const QStringList backups = backupsIn(m_storage);
    QCOMPARE(backups.size(), 1);
    const QString backup = m_storage + "/" + backups.first();
    QVERIFY(opensWith(backup, storedPassword) && !opensWith(backup, storedPassword + "x"));
    QCOMPARE(readFinderComment(backup).value_or(QString()), comment);
}

void CreateBackupControllerTest::failedRunKeepsSheetOpenAndNextRunWorks() {
    QVERIFY(QDir(companionDataDirectory()).removeRecursively());
    CreateZipViewModel model;
    model.setHost(&m_host);
    model.setComment("bleibt");
    QSignalSpy closed(&m_host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&m_host, &ActionHost::progressLoadTextChanged);

    m_host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(captions.count(), 2, 30000);
    QVERIFY(m_host.messageText().isEmpty());
    QCOMPARE(
        model.zipStatusMessage(),
        QStringLiteral("Es wurde kein Backup erstellt. Das Zielverzeichnis wurde nicht gefunden."));
    QCOMPARE(closed.count(), 0);
    QCOMPARE(model.comment(), QStringLiteral("bleibt"));

    // The flip back to false orders a run just as well.
    writeFile(companionDataDirectory() + "/database.sqlite", "wieder da");
    m_host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(backupsIn(m_storage).size(), 1);

    // Without a stored folder the run fails at once, and no alert shows.
    storeStorageFolder(QString());
    CreateZipViewModel unset;
    QCOMPARE(unset.createArchive(QString()).result(),
             EncryptionResult::failure(FinderCommentError::Case::archiveCreationFailed));
    QCoreApplication::processEvents();
    QVERIFY(unset.isDirectoryAvailable() && unset.zipStatusMessage().isEmpty());
}

void CreateBackupControllerTest::folderPresenceDrivesAlertAndButtonFlag() {
    const QString missingText = "Der Speicherort für das Backup wurde nicht gefunden.";
    CreateZipViewModel model;
    model.setHost(&m_host);
    QCoreApplication::processEvents();
    QVERIFY(model.isDirectoryAvailable() && !m_host.isSaveButtonDisabled());

    const QString away = m_home.filePath("away");
    QVERIFY(QDir().rename(m_storage, away));
    QTRY_VERIFY(!model.isDirectoryAvailable());
    QCOMPARE(model.zipStatusMessage(), missingText);
    // The flag takes the availability as it stands: the button stays usable.
    QVERIFY(!m_host.isSaveButtonDisabled());
    model.dismissStatusAlert();
    QVERIFY(QDir().rename(away, m_storage));
    QTRY_VERIFY(model.isDirectoryAvailable());
    QVERIFY(m_host.isSaveButtonDisabled() && model.zipStatusMessage().isEmpty());

    // Missing at opening: the alert shows at once.
    QVERIFY(QDir(m_storage).removeRecursively());
    CreateZipViewModel reopened;
    QTRY_COMPARE(reopened.zipStatusMessage(), missingText);
}

// A lock takes the screen away while the backup runs: the backup still
// completes, and its end reaches nothing that has gone.
void CreateBackupControllerTest::screenClosedByLockWhileWorking() {
    auto model = std::make_unique<CreateZipViewModel>();
    model->setHost(&m_host);
    const QFuture<EncryptionResult> run = model->runAction();
    model.reset();
    QCOMPARE(run.result(), EncryptionResult::success());
    QCoreApplication::processEvents();
    QCOMPARE(backupsIn(m_storage).size(), 1);
    QVERIFY(m_host.messageText().isEmpty());
}

QTEST_GUILESS_MAIN(CreateBackupControllerTest)
#include "CreateBackupControllerTest.moc"
