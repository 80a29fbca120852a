#include "WorkflowTestSupport.h"

#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "workflows/ActionHost.h"
#include "workflows/BackupListing.h"
#include "workflows/RestoreZipViewModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

namespace {

const QString restoredText = QStringLiteral("Das Backup wurde erfolgreich wiederhergestellt.");

QStringList listedNames(const BackupListModel& model) {
    QStringList names;
    for (const BackupRow& row : model.rows()) {
        names.append(row.fileName);
    }
    return names;
}

} // namespace

class RestoreBackupControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void listingKeepsOnlyBackupsNewestFirst_data();
    void listingKeepsOnlyBackupsNewestFirst();
    void missingOrUnreadableFolderListsNothing();
    void listFollowsFolderWithoutAnyCall();
    void selectionDrivesButtonAndLeavesWithItsFile();
    void restoreReplacesDataAndClosesSheet();
    void failedRestoreShowsCaseTextAndKeepsData_data();
    void failedRestoreShowsCaseTextAndKeepsData();
    void commentEditorReadsWritesAndCarriesOver();
    void tooLongCommentIsShortenedAndReported();
    void deletionAsksThenRemovesFile();

private:
    QString makeBackup(const QString& password, const QString& comment = QString());
    RestoreZipViewModel* openScreen(ActionHost& host);

    QTemporaryDir m_home;
    QString m_data;
    QString m_storage;
    std::unique_ptr<RestoreZipViewModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void RestoreBackupControllerTest::initTestCase() {
    useScratchHome(m_home);
    m_data = companionDataDirectory();
}

void RestoreBackupControllerTest::init() {
    m_tester.reset();
    m_model.reset();
    m_storage = m_home.filePath("storage");
    QVERIFY(QDir(m_storage).removeRecursively());
    QVERIFY(QDir().mkpath(m_storage));
    QVERIFY(QDir(m_data).removeRecursively());
    writeFile(m_data + "/database.sqlite", "original");
    storeStorageFolder(m_storage);
    setArchivePassword(QString());
}

QString RestoreBackupControllerTest::makeBackup(const QString& password, const QString& comment) {
    const QStringList before = QDir(m_storage).entryList(QDir::Files);
    QFuture<EncryptionResult> result =
        EncryptionService::shared().createEncryptedArchive(m_data, m_storage, password, comment);
    result.waitForFinished();
    if (!result.result().isSuccess()) {
        return {};
    }
    for (const QString& name : QDir(m_storage).entryList(QDir::Files)) {
        if (!before.contains(name)) {
            return m_storage + "/" + name;
        }
    }
    return {};
}

RestoreZipViewModel* RestoreBackupControllerTest::openScreen(ActionHost& host) {
    m_model = std::make_unique<RestoreZipViewModel>();
    m_tester = std::make_unique<QAbstractItemModelTester>(
        m_model->backups(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_model->setHost(&host);
    m_model->appear();
    return m_model.get();
}

void RestoreBackupControllerTest::listingKeepsOnlyBackupsNewestFirst_data() {
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<QStringList>("dateTexts");

    QTest::newRow("newest first") << QStringList{"Backup_2024-01-31_10-00-00.halvorn",
                                                 "Backup_2025-12-01_08-05-09.halvorn",
                                                 "Backup_2024-02-01_00-00-00.halvorn"}
                                  << QStringList{"Backup_2025-12-01_08-05-09.halvorn",
                                                 "Backup_2024-02-01_00-00-00.halvorn",
                                                 "Backup_2024-01-31_10-00-00.halvorn"}
                                  << QStringList{"01.12.2025 08:05:09", "01.02.2024 00:00:00",
                                                 "31.01.2024 10:00:00"};
    QTest::newRow("foreign names left out")
        << QStringList{"Backup_x.halvorn",
                       "Backup_2024-01-31_10-00-00.halvorn.tmp",
                       "Backup_2024-01-31_10-00-00.HALVORN",
                       "Backup_2024-01-31_10-00-00.zip",
                       "Backup_2024-13-01_10-00-00.halvorn",
                       "backup_2024-01-31_10-00-00.halvorn",
                       "Backup_2024-01-31_10-00-00 Kopie.halvorn",
                       ".Backup_2024-01-31_10-00-00.halvorn",
                       "Backup_2024-01-31_10-00-01.halvorn"}
        << QStringList{"Backup_2024-01-31_10-00-01.halvorn"} << QStringList{"31.01.2024 10:00:01"};
    QTest::newRow("empty folder") << QStringList{} << QStringList{} << QStringList{};
}

void RestoreBackupControllerTest::listingKeepsOnlyBackupsNewestFirst() {
    QFETCH(QStringList, names);
    QFETCH(QStringList, listed);
    QFETCH(QStringList, dateTexts);
    for (const QString& name : names) {
        writeFile(m_storage + "/" + name, "x");
    }
    // An item one level down never shows.
    writeFile(m_storage + "/sub/Backup_2030-01-01_00-00-00.halvorn", "x");
    if (!listed.isEmpty()) {
        QCOMPARE(addFinderComment(QStringLiteral("Notiz"), m_storage + "/" + listed.first()),
                 EncryptionResult::success());
    }

    const QList<ListedBackup> backups = listBackups(m_storage);
    QStringList listedNames;
    QStringList listedDates;
    for (const ListedBackup& backup : backups) {
        listedNames.append(backup.row.fileName);
        listedDates.append(backup.row.dateText);
        QCOMPARE(backup.row.filePath, m_storage + "/" + backup.row.fileName);
    }
    QCOMPARE(listedNames, listed);
    QCOMPARE(listedDates, dateTexts);
    if (!backups.isEmpty()) {
        QCOMPARE(backups.first().comment, QStringLiteral("Notiz"));
        for (qsizetype i = 1; i < backups.size(); ++i) {
            QVERIFY(!backups[i].comment);
        }
    }
}

void RestoreBackupControllerTest::missingOrUnreadableFolderListsNothing() {
    QVERIFY(listBackups(m_home.filePath("nowhere")).isEmpty());
    QVERIFY(listVisibleItems(m_home.filePath("nowhere")).isEmpty());

    // No stored folder: no list, no monitor, the button disabled.
    clearStorageFolder();
    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    QVERIFY(model->url().isEmpty());
    QCOMPARE(model->backups()->rowCount(), 0);
    QVERIFY(host.isSaveButtonDisabled());
}

void RestoreBackupControllerTest::listFollowsFolderWithoutAnyCall() {
    writeFile(m_storage + "/Backup_2024-01-01_12-00-00.halvorn", "a");
    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    QCOMPARE(listedNames(*model->backups()), QStringList{"Backup_2024-01-01_12-00-00.halvorn"});

    writeFile(m_storage + "/Backup_2024-06-01_12-00-00.halvorn", "b");
    QTRY_COMPARE(
        listedNames(*model->backups()),
        (QStringList{"Backup_2024-06-01_12-00-00.halvorn", "Backup_2024-01-01_12-00-00.halvorn"}));

    QVERIFY(QFile::rename(m_storage + "/Backup_2024-01-01_12-00-00.halvorn",
                          m_storage + "/Backup_2025-01-01_12-00-00.halvorn"));
    QTRY_COMPARE(
        listedNames(*model->backups()),
        (QStringList{"Backup_2025-01-01_12-00-00.halvorn", "Backup_2024-06-01_12-00-00.halvorn"}));

    // Renamed by hand to another pattern: the file is there but not listed.
    QVERIFY(QFile::rename(m_storage + "/Backup_2024-06-01_12-00-00.halvorn",
                          m_storage + "/Sicherung Juni.halvorn"));
    QTRY_COMPARE(listedNames(*model->backups()), QStringList{"Backup_2025-01-01_12-00-00.halvorn"});
    QVERIFY(model->files().contains(m_storage + "/Sicherung Juni.halvorn"));

    QVERIFY(QFile::remove(m_storage + "/Backup_2025-01-01_12-00-00.halvorn"));
    QTRY_COMPARE(model->backups()->rowCount(), 0);

    // A real backup, with its hidden temporary archive coming and going.
    const QString made = makeBackup(QString());
    QVERIFY(!made.isEmpty());
    QTRY_COMPARE(listedNames(*model->backups()), QStringList{QFileInfo(made).fileName()});
    QVERIFY(!model->files().join('\n').contains("/."));
}

void RestoreBackupControllerTest::selectionDrivesButtonAndLeavesWithItsFile() {
    const QString backup = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    writeFile(backup, "a");
    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    QVERIFY(host.isSaveButtonDisabled());

    model->setSelectedURL(QUrl::fromLocalFile(backup));
    QVERIFY(!host.isSaveButtonDisabled());

    QVERIFY(QFile::remove(backup));
    QTRY_VERIFY(model->selectedURL().isEmpty());
    QVERIFY(host.isSaveButtonDisabled());
}

void RestoreBackupControllerTest::restoreReplacesDataAndClosesSheet() {
    setArchivePassword(QStringLiteral("Pässwort"));
    const QString backup = makeBackup(QStringLiteral("Pässwort"));
    QVERIFY(!backup.isEmpty());
    writeFile(m_data + "/database.sqlite", "changed since");
    writeFile(m_data + "/added later", "x");

    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    model->setSelectedURL(QUrl::fromLocalFile(backup));
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);

    host.startAction(ActionHost::Action::restore);
    QCOMPARE(host.progressLoadText(), QStringLiteral("Backup wird wiederherstellt."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    QCOMPARE(host.messageText(), restoredText);
    QVERIFY(host.progressLoadText().isEmpty());
    QVERIFY(model->warningText().isEmpty());
    QCOMPARE(readFile(m_data + "/database.sqlite"), QByteArray("original"));
    QVERIFY(!QFile::exists(m_data + "/added later"));
}

void RestoreBackupControllerTest::failedRestoreShowsCaseTextAndKeepsData_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QStringList>("acceptedTexts");
    const QString archiveFailed =
        QStringLiteral("Fehler beim Erstellen oder Wiederherstellen des Archivs.");
    const QString damaged =
        QStringLiteral("Das Archiv ist beschädigt: Die End-of-Central-Directory-Record fehlt.");
    const QString notFound =
        QStringLiteral("Die verschlüsselte Datei wurde nicht gefunden oder nicht bereitgestellt.");

    // A wrong key fails to unpad, or by chance unpads to bytes that are no ZIP.
    QTest::newRow("wrong password") << "wrong password" << QStringList{archiveFailed, damaged};
    QTest::newRow("empty file") << "empty file" << QStringList{notFound};
    QTest::newRow("truncated file") << "truncated file" << QStringList{archiveFailed};
    QTest::newRow("selected file deleted") << "deleted" << QStringList{archiveFailed};
    QTest::newRow("nothing selected") << "no selection" << QStringList{notFound};
}

void RestoreBackupControllerTest::failedRestoreShowsCaseTextAndKeepsData() {
    QFETCH(QString, kind);
    QFETCH(QStringList, acceptedTexts);
    setArchivePassword(QStringLiteral("richtig"));
    QString backup = makeBackup(QStringLiteral("richtig"));
    QVERIFY(!backup.isEmpty());

    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    if (kind == "wrong password") {
        setArchivePassword(QStringLiteral("falsch"));
    } else if (kind == "empty file") {
        writeFile(backup, QByteArray());
    } else if (kind == "truncated file") {
        writeFile(backup, readFile(backup).left(100));
    }
    if (kind != "no selection") {
        model->setSelectedURL(QUrl::fromLocalFile(backup));
    }
    if (kind == "deleted") {
        // Deleted behind the list's back, before the monitor's news arrive.
        QVERIFY(QFile::remove(backup));
    }
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QSignalSpy captions(&host, &ActionHost::progressLoadTextChanged);

    host.flipPerformAction();
    QTRY_COMPARE_WITH_TIMEOUT(captions.count(), 2, 60000);
    QVERIFY2(acceptedTexts.contains(model->warningText()), qPrintable(model->warningText()));
    QCOMPARE(closed.count(), 0);
    QVERIFY(host.messageText().isEmpty());
    QCOMPARE(readFile(m_data + "/database.sqlite"), QByteArray("original"));

    // A later success leaves the warning as it was.
    model->presentError(EncryptionResult::success());
    QVERIFY(!model->warningText().isEmpty());
}

void RestoreBackupControllerTest::commentEditorReadsWritesAndCarriesOver() {
    const QString first = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    const QString second = m_storage + "/Backup_2024-02-01_12-00-00.halvorn";
    writeFile(first, "a");
    writeFile(second, "b");
    QCOMPARE(addFinderComment(QStringLiteral("Erster"), first), EncryptionResult::success());

    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    QCOMPARE(model->backups()->data(model->backups()->index(1), BackupListModel::CommentRole),
             QVariant(QStringLiteral("Erster")));

    model->beginEditComment(QUrl::fromLocalFile(first));
    QCOMPARE(model->editBackup(), QUrl::fromLocalFile(first));
    QVERIFY(model->selectedURL().isEmpty());
    QTRY_COMPARE(model->selectedURL(), QUrl::fromLocalFile(first));
    model->editorAppeared();
    QCOMPARE(model->comment(), QStringLiteral("Erster"));
    model->cancelEditComment();
    QVERIFY(model->editBackup().isEmpty());

    // A backup without a comment shows what was in the editor last.
    model->beginEditComment(QUrl::fromLocalFile(second));
    model->editorAppeared();
    QCOMPARE(model->comment(), QStringLiteral("Erster"));

    QSignalSpy redrawn(model->backups(), &QAbstractItemModel::dataChanged);
    model->setComment(QStringLiteral("Zweiter – mit Gedankenstrich"));
    model->saveComment();
    QVERIFY(model->editBackup().isEmpty());
    QCOMPARE(redrawn.count(), 1);
    QCOMPARE(readFinderComment(second), QStringLiteral("Zweiter – mit Gedankenstrich"));
    QCOMPARE(model->backups()->data(model->backups()->index(0), BackupListModel::CommentRole),
             QVariant(QStringLiteral("Zweiter – mit Gedankenstrich")));
    QVERIFY(model->warningText().isEmpty());

    // An empty comment writes a value of no bytes; the row then shows none.
    model->beginEditComment(QUrl::fromLocalFile(second));
    model->setComment(QString());
    model->saveComment();
    QCOMPARE(model->backups()->data(model->backups()->index(0), BackupListModel::HasCommentRole),
             QVariant(false));
}

void RestoreBackupControllerTest::tooLongCommentIsShortenedAndReported() {
    const QString backup = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    writeFile(backup, "a");
    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);
    model->beginEditComment(QUrl::fromLocalFile(backup));
    model->setComment(QString(4001, QLatin1Char('k')));
    model->saveComment();
    QCOMPARE(model->warningText(),
             QStringLiteral("Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt."));
    QCOMPARE(readFinderComment(backup), QString(4000, QLatin1Char('k')));
    QVERIFY(model->editBackup().isEmpty());
}

void RestoreBackupControllerTest::deletionAsksThenRemovesFile() {
    const QString keep = m_storage + "/Backup_2024-01-01_12-00-00.halvorn";
    const QString drop = m_storage + "/Backup_2024-03-05_06-07-08.halvorn";
    writeFile(keep, "a");
    writeFile(drop, "b");
    ActionHost host;
    RestoreZipViewModel* model = openScreen(host);

    model->beginDeleteBackup(QUrl::fromLocalFile(drop));
    QCOMPARE(model->selectedURL(), QUrl::fromLocalFile(drop));
    QCOMPARE(model->deleteBackupText(), QStringLiteral("05.03.2024 06:07:08"));
    model->cancelDeleteBackup();
    QVERIFY(model->deleteBackup().isEmpty());
    QVERIFY(QFile::exists(drop));

    model->beginDeleteBackup(QUrl::fromLocalFile(drop));
    model->confirmDeleteBackup();
    QVERIFY(model->deleteBackup().isEmpty());
    QVERIFY(!QFile::exists(drop));
    // The list and the selection follow through the folder monitor.
    QCOMPARE(model->selectedURL(), QUrl::fromLocalFile(drop));
    QTRY_COMPARE(listedNames(*model->backups()), QStringList{QFileInfo(keep).fileName()});
    QVERIFY(model->selectedURL().isEmpty());

    // Confirming with nothing to delete only writes a diagnostic line.
    model->confirmDeleteBackup();
    QVERIFY(QFile::exists(keep));
}

QTEST_GUILESS_MAIN(RestoreBackupControllerTest)
#include "RestoreBackupControllerTest.moc"
