#include "workflows/PathViewModel.h"
#include "workflows/StorageLocation.h"

#include "engine/ApplicationIdentity.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace corvina;

class StorageFolderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void firstLaunchHasNoFolder();
    void chosenFolderIsStoredAsPlainPathAndReadBack_data();
    void chosenFolderIsStoredAsPlainPathAndReadBack();
    void cancelledDialogKeepsStoredFolder();
    void vanishedFolderIsKeptAndCanBeReplaced();
    void storedValueBecomesAbsoluteLocalPath_data();
    void storedValueBecomesAbsoluteLocalPath();

private:
    QTemporaryDir m_root;
};

void StorageFolderTest::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    applyApplicationIdentity();
}

void StorageFolderTest::init() {
    QSettings().clear();
}

void StorageFolderTest::firstLaunchHasNoFolder() {
    PathViewModel model;
    QVERIFY(model.restorePath().isEmpty());
    QVERIFY(model.folderName().isEmpty());
    QVERIFY(!storedStoragePath());
    QVERIFY(storedStorageUrl().isEmpty());
}

void StorageFolderTest::chosenFolderIsStoredAsPlainPathAndReadBack_data() {
    QTest::addColumn<QString>("folderName");
    QTest::newRow("plain") << QStringLiteral("Backups");
    QTest::newRow("spaces") << QStringLiteral("Meine Backups 2024");
    QTest::newRow("umlauts") << QStringLiteral("Sicherungen für Jürgen Öß");
    QTest::newRow("percent and hash") << QStringLiteral("a%20b#c");
}

void StorageFolderTest::chosenFolderIsStoredAsPlainPathAndReadBack() {
    QFETCH(QString, folderName);
    const QString folder = m_root.filePath(folderName);
    QVERIFY(QDir().mkpath(folder));

    PathViewModel model;
    QSignalSpy changed(&model, &PathViewModel::restorePathChanged);
    model.chooseFolder(QUrl::fromLocalFile(folder));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(model.folderName(), folderName);
    QCOMPARE(model.folderPath(), folder);

    // What other processes (the command-line tool) see: the bare path, no scheme.
    QCOMPARE(QSettings().value(QStringLiteral("savedPathKey")).toString(), folder);
    QCOMPARE(storedStoragePath(), folder);

    PathViewModel reopened;
    QCOMPARE(reopened.restorePath(), QUrl::fromLocalFile(folder));
}

void StorageFolderTest::cancelledDialogKeepsStoredFolder() {
    const QString folder = m_root.filePath("kept");
    QVERIFY(QDir().mkpath(folder));
    PathViewModel model;
    model.chooseFolder(QUrl::fromLocalFile(folder));

    QSignalSpy changed(&model, &PathViewModel::restorePathChanged);
    model.chooseFolder(QUrl());
    QCOMPARE(changed.count(), 0);
    QCOMPARE(model.restorePath(), QUrl::fromLocalFile(folder));
    QCOMPARE(storedStoragePath(), folder);
}

void StorageFolderTest::vanishedFolderIsKeptAndCanBeReplaced() {
    const QString old = m_root.filePath("old");
    const QString fresh = m_root.filePath("fresh");
    QVERIFY(QDir().mkpath(old));
    QVERIFY(QDir().mkpath(fresh));
    PathViewModel model;
    model.chooseFolder(QUrl::fromLocalFile(old));
    QVERIFY(QDir(old).removeRecursively());

    PathViewModel reopened;
    QCOMPARE(reopened.restorePath(), QUrl::fromLocalFile(old));
    reopened.chooseFolder(QUrl::fromLocalFile(fresh));
    QCOMPARE(storedStoragePath(), fresh);
}

void StorageFolderTest::storedValueBecomesAbsoluteLocalPath_data() {
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("expected");
    QTest::newRow("absolute") << "/srv/backups"
                              << "/srv/backups";
    QTest::newRow("relative") << "backups" << QDir::current().absoluteFilePath("backups");
    QTest::newRow("trailing slash") << "/srv/backups/"
                                    << "/srv/backups/";
    QTest::newRow("empty") << "" << QString();
}

void StorageFolderTest::storedValueBecomesAbsoluteLocalPath() {
    QFETCH(QString, stored);
    QFETCH(QString, expected);
    QCOMPARE(localPathFromStoredValue(stored).value_or(QString()), expected);
}

QTEST_GUILESS_MAIN(StorageFolderTest)
#include "StorageFolderTest.moc"
