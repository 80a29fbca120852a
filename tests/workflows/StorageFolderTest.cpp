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

    // A cancelled dialog changes nothing.
    model.chooseFolder(QUrl());
    QCOMPARE(storedStoragePath(), folder);
}

QTEST_GUILESS_MAIN(StorageFolderTest)
#include "StorageFolderTest.moc"
