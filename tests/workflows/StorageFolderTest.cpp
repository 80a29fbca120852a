#include "WorkflowTestSupport.h"

#include "workflows/PathViewModel.h"
#include "workflows/StorageLocation.h"

#include <QSignalSpy>

using namespace corvina;
using namespace corvina::testing;

class StorageFolderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { useScratchHome(m_home); }
    void chosenFolderIsStoredAsPlainPathAndReadBack_data();
    void chosenFolderIsStoredAsPlainPathAndReadBack();
    void cancelledDialogAndVanishedFolderKeepStoredPath();

private:
    QTemporaryDir m_home;
};

void StorageFolderTest::chosenFolderIsStoredAsPlainPathAndReadBack_data() {
    QTest::addColumn<QString>("folderName");
    QTest::newRow("spaces") << QStringLiteral("Meine Backups 2024");
    QTest::newRow("umlauts") << QStringLiteral("Sicherungen für Jürgen Öß");
    QTest::newRow("URL characters") << QStringLiteral("a%20b#c?d");
}

void StorageFolderTest::chosenFolderIsStoredAsPlainPathAndReadBack() {
    QFETCH(QString, folderName);
    clearStorageFolder();
    const QString folder = m_home.filePath(folderName);
    QVERIFY(QDir().mkpath(folder));

    PathViewModel model;
    QVERIFY(model.restorePath().isEmpty());
    QSignalSpy changed(&model, &PathViewModel::restorePathChanged);
    model.chooseFolder(QUrl::fromLocalFile(folder));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(model.folderName(), folderName);
    QCOMPARE(model.folderPath(), folder);

    // The command-line tool reads the same bare path, without a scheme.
    QCOMPARE(QSettings().value(QStringLiteral("savedPathKey")).toString(), folder);
    QCOMPARE(storedStoragePath(), folder);
    QCOMPARE(PathViewModel().restorePath(), QUrl::fromLocalFile(folder));
}

void StorageFolderTest::cancelledDialogAndVanishedFolderKeepStoredPath() {
    const QString old = m_home.filePath("old");
    QVERIFY(QDir().mkpath(old));
    PathViewModel model;
    model.chooseFolder(QUrl::fromLocalFile(old));
    model.chooseFolder(QUrl());
    QCOMPARE(storedStoragePath(), old);

    QVERIFY(QDir(old).removeRecursively());
    PathViewModel reopened;
    QCOMPARE(reopened.restorePath(), QUrl::fromLocalFile(old));
    const QString fresh = m_home.filePath("fresh");
    QVERIFY(QDir().mkpath(fresh));
    reopened.chooseFolder(QUrl::fromLocalFile(fresh));
    QCOMPARE(storedStoragePath(), fresh);
}

QTEST_GUILESS_MAIN(StorageFolderTest)
#include "StorageFolderTest.moc"
