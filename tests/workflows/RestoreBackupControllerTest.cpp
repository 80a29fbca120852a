#include "SshfsShare.h"
#include "WorkflowTestSupport.h"

#include "engine/DataFolderLock.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/BackupListing.h"
#include "workflows/RestoreZipViewModel.h"

#include <QAbstractItemModelTester>
#include <QProcess>
#include <QSignalSpy>

#include <csignal>

#include <sys/stat.h>

using namespace corvina;
using namespace corvina::testing;

namespace {

QStringList listedNames(const BackupListModel& model) {
    QStringList names;
    for (const BackupRow& row : model.rows()) {
        names.append(row.fileName);
    }
    return names;
}

/// The process holding an flock on `file`, from /proc/locks; 0 for none.
qint64 lockHolder(const QString& file) {
    struct stat status {};
    if (::stat(QFile::encodeName(file).constData(), &status) != 0) {
        return 0;
    }
    const QByteArray inode = ':' + QByteArray::number(quint64(status.st_ino));
    for (const QByteArray& line : readFile("/proc/locks").split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 5 && fields.at(1) == "FLOCK" && fields.at(5).endsWith(inode)) {
            return fields.at(4).toLongLong();
        }
    }
    return 0;
}

} // namespace

class RestoreBackupControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { useScratchHome(m_home); }
    void init();
    void listingKeepsOnlyBackupsNewestFirst();
    void listFollowsFolderWithoutAnyCall();
    void restoreOutcomeReachesUser_data();
    void restoreOutcomeReachesUser();
    void commentEditorReadsWritesAndCarriesOver();
    void deletionAsksThenRemovesFileAndSelection();
    void screenClosedByLockWhileWorking();
    void storageOnANetworkShare();
    void oneActionOnTheDataAtATime_data();
    void oneActionOnTheDataAtATime();

private:
    QString makeBackup(const QString& password);
    RestoreZipViewModel& openScreen();

    QTemporaryDir m_home;
    QString m_storage = m_home.filePath("storage");
    QString m_data;
    ActionHost m_host;
    std::unique_ptr<RestoreZipViewModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void RestoreBackupControllerTest::init() {
    m_tester.reset();
    m_model.reset();
    m_host.setMessageText(QString());
    QVERIFY(QDir(m_storage).removeRecursively() && QDir().mkpath(m_storage));
    m_data = companionDataDirectory();
    QVERIFY(QDir(m_data).removeRecursively());
    writeFile(m_data + "/database.sqlite", "original");
    storeStorageFolder(m_storage);
}

QString RestoreBackupControllerTest::makeBackup(const QString& password) {
    setArchivePassword(password);
    const auto made =
        EncryptionService::shared().createEncryptedArchive(m_data, m_storage, password, {});
    if (!made.result().isSuccess()) {
        return {};
    }
    return m_storage + "/" + QDir(m_storage).entryList({"Backup_*.halvorn"}, QDir::Files).last();
}

RestoreZipViewModel& RestoreBackupControllerTest::openScreen() {
    m_model = std::make_unique<RestoreZipViewModel>();
    m_tester = std::make_unique<QAbstractItemModelTester>(
        m_model->backups(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_model->setHost(&m_host);
    // Closing the sheet drops its screen at once, as the main screen does.
    connect(&m_host, &ActionHost::closeViewRequested, m_model.get(), [this] {
        m_tester.reset();
        m_model.reset();
    });
    m_model->appear();
    return *m_model;
}

// The screen's list and the tool's `listBackups` follow the same rule.
void RestoreBackupControllerTest::listingKeepsOnlyBackupsNewestFirst() {
    for (const char* name :
         {"Backup_2024-01-31_10-00-00.halvorn", "Backup_x.halvorn",
          "Backup_2025-12-01_08-05-09.halvorn", "Backup_2024-01-31_10-00-00.halvorn.tmp",
          "Backup_2024-01-31_10-00-01.HALVORN", "Backup_2024-13-01_10-00-00.halvorn",
          "backup_2024-01-31_10-00-02.halvorn", ".Backup_2024-01-31_10-00-03.halvorn",
          "Backup_2024-01-31_10-00-04 Kopie.halvorn", "sub/Backup_2030-01-01_00-00-00.halvorn"}) {
        writeFile(m_storage + "/" + name, "x");
    }
    const QString newest = m_storage + "/Backup_2025-12-01_08-05-09.halvorn";
    QCOMPARE(addFinderComment("Notiz", newest), EncryptionResult::success());
    QCOMPARE(openScreen().backups()->rowCount(), 2);

    QStringList listed;
    for (const ListedBackup& backup : listBackups(m_storage)) {
        listed << backup.row.dateText << backup.comment.value_or("-");
    }
    QCOMPARE(listed, (QStringList{"01.12.2025 08:05:09", "Notiz", "31.01.2024 10:00:00", "-"}));
    QCOMPARE(listedNames(*m_model->backups()).value(0), QFileInfo(newest).fileName());
    QVERIFY(listBackups(m_home.filePath("nowhere")).isEmpty());
}

void RestoreBackupControllerTest::listFollowsFolderWithoutAnyCall() {
    const QString older = "Backup_2024-01-01_12-00-00.halvorn";
    const QString newer = "Backup_2024-06-01_12-00-00.halvorn";
    const QString renamed = "Backup_2025-01-01_12-00-00.halvorn";
    writeFile(m_storage + "/" + older, "a");
    BackupListModel& list = *openScreen().backups();
    QCOMPARE(listedNames(list), QStringList{older});

    writeFile(m_storage + "/" + newer, "b");
    QTRY_COMPARE(listedNames(list), (QStringList{newer, older}));
    QFile::rename(m_storage + "/" + older, m_storage + "/" + renamed);
    QTRY_COMPARE(listedNames(list), (QStringList{renamed, newer}));
    QFile::remove(m_storage + "/" + renamed);
    QFile::remove(m_storage + "/" + newer);
    QTRY_COMPARE(list.rowCount(), 0);

    // A real backup appears; its hidden temporary archive never does.
    const QString made = makeBackup(QString());
    QTRY_COMPARE(listedNames(list), QStringList{QFileInfo(made).fileName()});
    QVERIFY(!m_model->files().join('\n').contains("/."));
}

void RestoreBackupControllerTest::restoreOutcomeReachesUser_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QStringList>("warnings");
    const QString failed = "Fehler beim Erstellen oder Wiederherstellen des Archivs.";
    const QString damaged = "Das Archiv ist beschädigt: Die End-of-Central-Directory-Record fehlt.";
    const QString notFound =
        "Die verschlüsselte Datei wurde nicht gefunden oder nicht bereitgestellt.";
    QTest::newRow("restored") << "restored" << QStringList();
    // A wrong key fails to unpad, or by chance unpads to bytes that are no ZIP.
    QTest::newRow("wrong password") << "wrong password" << QStringList{failed, damaged};
    QTest::newRow("empty file") << "empty file" << QStringList{notFound};
    QTest::newRow("truncated file") << "truncated file" << QStringList{failed};
    QTest::newRow("selected file deleted") << "deleted" << QStringList{failed};
    QTest::newRow("nothing selected") << "no selection" << QStringList{notFound};
}

// Success replaces the data and closes the sheet with the success line; a
// failure keeps the sheet and the data and shows the case's text.
void RestoreBackupControllerTest::restoreOutcomeReachesUser() {
    QFETCH(QString, kind);
    QFETCH(QStringList, warnings);
    const QString backup = makeBackup(QStringLiteral("Pässwort"));
    writeFile(m_data + "/database.sqlite", "changed since");
    RestoreZipViewModel& model = openScreen();
    QVERIFY(m_host.isSaveButtonDisabled());
    if (kind == "wrong password") {
        setArchivePassword(QStringLiteral("falsch"));
    } else if (kind == "empty file" || kind == "truncated file") {
        writeFile(backup, readFile(backup).left(kind == "empty file" ? 0 : 100));
    }
    if (kind != "no selection") {
        model.setSelectedURL(QUrl::fromLocalFile(backup));
        QVERIFY(!m_host.isSaveButtonDisabled());
    }
    if (kind == "deleted") {
        QFile::remove(backup); // before the monitor's news arrive
    }
    QSignalSpy closed(&m_host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&m_host, &ActionHost::progressLoadTextChanged);

    m_host.flipPerformAction();
    QCOMPARE(m_host.progressLoadText(), QStringLiteral("Backup wird wiederherstellt."));
    QTRY_COMPARE_WITH_TIMEOUT(captions.count(), 2, 60000);
    const bool restored = warnings.isEmpty();
    QCOMPARE(closed.count(), restored ? 1 : 0);
    QCOMPARE(m_host.messageText(),
             restored ? "Das Backup wurde erfolgreich wiederhergestellt." : QString());
    // The sheet has closed with its screen, or it stays with the case's text.
    QVERIFY(restored ? !m_model : warnings.contains(model.warningText()));
    QCOMPARE(readFile(m_data + "/database.sqlite"),
             QByteArray(restored ? "original" : "changed since"));
}

void RestoreBackupControllerTest::commentEditorReadsWritesAndCarriesOver() {
    const QString first = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    const QString second = m_storage + "/Backup_2024-02-01_12-00-00.halvorn";
    writeFile(first, "a");
    writeFile(second, "b");
    QCOMPARE(addFinderComment("Erster", first), EncryptionResult::success());
    RestoreZipViewModel& model = openScreen();
    const auto newestComment = [&] {
        return model.backups()->index(0).data(BackupListModel::CommentRole).toString();
    };

    // The editor comes first; the selection follows a turn later.
    model.beginEditComment(QUrl::fromLocalFile(first));
    QVERIFY(model.selectedURL().isEmpty());
    QTRY_COMPARE(model.selectedURL(), QUrl::fromLocalFile(first));
    model.editorAppeared();
    QCOMPARE(model.comment(), QStringLiteral("Erster"));
    model.cancelEditComment();
    QVERIFY(model.editBackup().isEmpty());

    // A backup without a comment shows what the editor held last.
    model.beginEditComment(QUrl::fromLocalFile(second));
    model.editorAppeared();
    QCOMPARE(model.comment(), QStringLiteral("Erster"));
    QSignalSpy redrawn(model.backups(), &QAbstractItemModel::dataChanged);
    model.setComment("Zweiter – mit Gedankenstrich");
    model.saveComment();
    QVERIFY(model.editBackup().isEmpty() && model.warningText().isEmpty());
    QCOMPARE(redrawn.count(), 1);
    QCOMPARE(newestComment(), QStringLiteral("Zweiter – mit Gedankenstrich"));

    // A comment over the limit is stored shortened, and the user is told.
    model.beginEditComment(QUrl::fromLocalFile(second));
    model.setComment(QString(4001, 'k'));
    model.saveComment();
    QCOMPARE(model.warningText(), "Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt.");
    QCOMPARE(newestComment(), QString(4000, 'k'));
    // A comment that can't be written is told too, and the editor closes.
    model.beginEditComment(QUrl::fromLocalFile(m_storage + "/gone.halvorn"));
    model.saveComment();
    QCOMPARE(model.warningText(), "Der Kommentar konnte nicht hinzugefügt werden.");
    QVERIFY(model.editBackup().isEmpty());
}

void RestoreBackupControllerTest::deletionAsksThenRemovesFileAndSelection() {
    const QString keep = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    const QString drop = m_storage + "/Backup_2024-03-05_06-07-08.halvorn";
    writeFile(keep, "a");
    writeFile(drop, "b");
    // A comment kept beside the backup (no attributes here) goes with it.
    writeFile(m_storage + "/._Backup_2024-03-05_06-07-08.halvorn", "AppleDouble");
    RestoreZipViewModel& model = openScreen();

    model.beginDeleteBackup(QUrl::fromLocalFile(drop));
    QCOMPARE(model.deleteBackupText(), QStringLiteral("05.03.2024 06:07:08"));
    model.cancelDeleteBackup();
    QVERIFY(model.deleteBackup().isEmpty() && QFile::exists(drop));

    model.beginDeleteBackup(QUrl::fromLocalFile(drop));
    model.confirmDeleteBackup();
    QVERIFY(model.deleteBackup().isEmpty() && !QFile::exists(drop));
    QVERIFY(!QFile::exists(m_storage + "/._Backup_2024-03-05_06-07-08.halvorn"));
    // List, selection and button follow through the folder monitor.
    QVERIFY(!m_host.isSaveButtonDisabled());
    QTRY_COMPARE(listedNames(*model.backups()), QStringList{QFileInfo(keep).fileName()});
    QVERIFY(model.selectedURL().isEmpty() && m_host.isSaveButtonDisabled());
}

// A lock takes the screen away while the restore runs: the restore still
// completes, and its end reaches nothing that has gone.
void RestoreBackupControllerTest::screenClosedByLockWhileWorking() {
    const QString backup = makeBackup(QString());
    openScreen().setSelectedURL(QUrl::fromLocalFile(backup));
    const QFuture<EncryptionResult> run = m_model->runAction();
    m_tester.reset();
    m_model.reset();
    QCOMPARE(run.result(), EncryptionResult::success());
    QCoreApplication::processEvents();
    QVERIFY(m_host.messageText().isEmpty());
}

void RestoreBackupControllerTest::oneActionOnTheDataAtATime_data() {
    QTest::addColumn<QString>("first");
    QTest::newRow("window restore first") << "window";
    QTest::newRow("tool backup first") << "tool";
    QTest::newRow("tool killed holding the lock") << "killed tool";
}

// A restore in the window and a backup of the same folder by the tool,
// started together: one runs, the other says so and does nothing. The data
// folder is its old or its new tree, the tool's backup whole or absent, and a
// killed holder leaves no lock behind.
void RestoreBackupControllerTest::oneActionOnTheDataAtATime() {
    QFETCH(QString, first);
    // Large enough that the tool's backup takes a while.
    writeFile(m_data + "/akten.bin", QByteArray(48 << 20, 'a'));
    const QString backup = makeBackup(QString());
    writeFile(m_data + "/database.sqlite", "changed since");
    const QString toolStorage = m_home.filePath("tool");
    writeFile(m_home.filePath("pw"), "\n");
    QProcess tool;
    tool.setProgram(QStringLiteral(CORVINA_BACKUP_TOOL));
    tool.setArguments({"create", "--source", m_data, "--dest", toolStorage, "--password-file",
                       m_home.filePath("pw")});
    openScreen().setSelectedURL(QUrl::fromLocalFile(backup));
    QSignalSpy flips(&m_host, &ActionHost::performActionChanged);
    const QString lockFile = DataFolderLock::lockFilePath(m_data);

    if (first == "window") {
        m_host.startAction(ActionHost::Action::restore);
        QCOMPARE(flips.count(), 1);
        // The restore's end is seen on this thread: the lock stays held
        // while this waits for the tool.
        tool.start();
        QVERIFY(tool.waitForFinished(60000));
        QCOMPARE(tool.exitCode(), 3);
        QVERIFY(tool.readAllStandardError().contains("Eine andere Aktion mit den Daten"));
    } else {
        tool.start();
        QTRY_VERIFY_WITH_TIMEOUT(lockHolder(lockFile) == tool.processId(), 20000);
        if (first == "killed tool") {
            ::kill(static_cast<pid_t>(tool.processId()), SIGKILL);
            QVERIFY(tool.waitForFinished(10000));
        }
        m_host.startAction(ActionHost::Action::restore);
    }
    const bool restores = first != "tool";
    QCOMPARE(flips.count(), restores ? 1 : 0);
    QCOMPARE(m_host.isDataBusy(), !restores);
    if (!restores) {
        QVERIFY(tool.waitForFinished(60000));
        QCOMPARE(tool.exitCode(), 0);
        m_host.dismissBusyAlert();
    }
    QTRY_VERIFY_WITH_TIMEOUT(!m_host.isActionPending(), 60000);
    QCOMPARE(readFile(m_data + "/database.sqlite"),
             QByteArray(restores ? "original" : "changed since"));
    const QStringList made = QDir(toolStorage).entryList({"Backup_*.halvorn"}, QDir::Files);
    QCOMPARE(made.size(), first == "tool" ? 1 : 0);
    if (!made.isEmpty()) {
        QVERIFY(EncryptionService::shared()
                    .verifyEncryptedArchive(toolStorage + "/" + made.first(), QString())
                    .result()
                    .isSound());
    }
    QVERIFY(QDir(toolStorage).removeRecursively());
}

QTEST_GUILESS_MAIN(RestoreBackupControllerTest)
// The storage folder on a network share (sshfs to a local sshd): a backup
// is made, commented, listed, restored and deleted there, and the open list
// follows backups another machine adds or removes (here: in the share's
// backing folder, which inotify doesn't see) within 10 s.
void RestoreBackupControllerTest::storageOnANetworkShare() {
    SshfsShare share(m_home.filePath("share"));
    if (!share.failure().isEmpty()) {
        QSKIP(qPrintable(share.failure()));
    }
    const QString local = std::exchange(m_storage, share.mount);
    storeStorageFolder(m_storage);
    const QString backup = makeBackup(QStringLiteral("Pässwort"));
    QVERIFY(!backup.isEmpty());
    QCOMPARE(addFinderComment("Auf dem NAS", backup), EncryptionResult::success());
    writeFile(m_data + "/database.sqlite", "changed since");
    RestoreZipViewModel& model = openScreen();
    const QString name = QFileInfo(backup).fileName();
    QCOMPARE(listedNames(*model.backups()), QStringList{name});
    QCOMPARE(listBackups(m_storage).value(0).comment.value_or("-"), QStringLiteral("Auf dem NAS"));

    const QString dropped = "Backup_2030-01-01_00-00-00.halvorn";
    writeFile(share.backing + "/" + dropped, "x");
    QTRY_COMPARE_WITH_TIMEOUT(listedNames(*model.backups()), (QStringList{dropped, name}), 10000);
    QFile::remove(share.backing + "/" + dropped);
    QTRY_COMPARE_WITH_TIMEOUT(listedNames(*model.backups()), QStringList{name}, 10000);
    writeFile(share.backing + "/" + dropped, "x");
    QTRY_COMPARE_WITH_TIMEOUT(model.backups()->rowCount(), 2, 10000);
    model.beginDeleteBackup(QUrl::fromLocalFile(m_storage + "/" + dropped));
    model.confirmDeleteBackup();
    QVERIFY(!QFile::exists(share.backing + "/" + dropped));
    QTRY_COMPARE(listedNames(*model.backups()), QStringList{name});

    QSignalSpy closed(&m_host, &ActionHost::closeViewRequested);
    model.setSelectedURL(QUrl::fromLocalFile(backup));
    m_host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(m_host.messageText(), "Das Backup wurde erfolgreich wiederhergestellt.");
    QCOMPARE(readFile(m_data + "/database.sqlite"), QByteArray("original"));
    m_storage = local;
}

#include "RestoreBackupControllerTest.moc"
