#include "workflows/FolderMonitor.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>
#include <memory>
#include <sys/xattr.h>

using namespace corvina;

namespace {

int openDescriptorCount() {
    return int(QDir(QStringLiteral("/proc/self/fd"))
                   .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                   .size());
}

void writeFile(const QString& path, const QByteArray& content = "x") {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    file.write(content);
}

using Change = std::function<void(const QString& folder, const QString& outside)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class FolderMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reportsChangesOfTheEntryList_data();
    void reportsChangesOfTheEntryList();
    void reportsDeletionAndRenameOfTheFolderItself_data();
    void reportsDeletionAndRenameOfTheFolderItself();
    void startOnMissingFolderStaysIdleAndCanRetry();
    void secondStartChangesNothing();
    void replacedMonitorsLeaveNoDescriptorOpen();
};

// Each change runs in a watched folder that already holds "file" and the
// folder "sub" (with "sub/inner"); afterwards the marker file "zz-marker" is
// created. inotify keeps the order of events, so once the marker has been
// reported every event of the change has been reported too.
void FolderMonitorTest::reportsChangesOfTheEntryList_data() {
    QTest::addColumn<Change>("change");
    QTest::addColumn<int>("expectedCalls");

    QTest::newRow("file created") << Change([](const QString& f, const QString&) {
        writeFile(f + "/new.halvorn");
    }) << 1;
    QTest::newRow("file deleted") << Change([](const QString& f, const QString&) {
        QVERIFY(QFile::remove(f + "/file"));
    }) << 1;
    // A rename within the folder is a pair of events: the old name goes, the new one comes.
    QTest::newRow("file renamed") << Change([](const QString& f, const QString&) {
        QVERIFY(QFile::rename(f + "/file", f + "/renamed"));
    }) << 2;
    QTest::newRow("file moved in") << Change([](const QString& f, const QString& outside) {
        writeFile(outside + "/incoming");
        QVERIFY(QFile::rename(outside + "/incoming", f + "/incoming"));
    }) << 1;
    QTest::newRow("file moved out") << Change([](const QString& f, const QString& outside) {
        QVERIFY(QFile::rename(f + "/file", outside + "/gone"));
    }) << 1;
    QTest::newRow("folder created")
        << Change([](const QString& f, const QString&) { QVERIFY(QDir(f).mkdir("made")); }) << 1;
    QTest::newRow("content appended")
        << Change([](const QString& f, const QString&) { writeFile(f + "/file", "more"); }) << 0;
    QTest::newRow("content truncated") << Change([](const QString& f, const QString&) {
        QFile file(f + "/file");
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    }) << 0;
    QTest::newRow("permissions changed") << Change([](const QString& f, const QString&) {
        QVERIFY(QFile::setPermissions(f + "/file", QFileDevice::ReadOwner));
    }) << 0;
    QTest::newRow("extended attribute set") << Change([](const QString& f, const QString&) {
        const QByteArray path = QFile::encodeName(f + "/file");
        // Some file systems have no user attributes; then nothing changes at all.
        ::setxattr(path.constData(), "user.test", "v", 1, 0);
    }) << 0;
    QTest::newRow("file created in subfolder")
        << Change([](const QString& f, const QString&) { writeFile(f + "/sub/deep"); }) << 0;
    QTest::newRow("file deleted in subfolder") << Change([](const QString& f, const QString&) {
        QVERIFY(QFile::remove(f + "/sub/inner"));
    }) << 0;
}

void FolderMonitorTest::reportsChangesOfTheEntryList() {
    QFETCH(Change, change);
    QFETCH(int, expectedCalls);

    QTemporaryDir root;
    const QString folder = root.filePath("watched");
    const QString outside = root.filePath("outside");
    QVERIFY(QDir().mkpath(folder + "/sub"));
    QVERIFY(QDir().mkpath(outside));
    writeFile(folder + "/file");
    writeFile(folder + "/sub/inner");

    std::atomic<int> calls = 0;
    FolderMonitor monitor(folder);
    monitor.setFolderDidChange([&calls] { ++calls; });
    monitor.startMonitoring();
    QVERIFY(monitor.isMonitoring());

    change(folder, outside);
    if (QTest::currentTestFailed()) {
        return;
    }
    writeFile(folder + "/zz-marker");
    QTRY_VERIFY(calls.load() >= expectedCalls + 1);
    // Events of the change come before the marker's, mostly in the same read;
    // a short pause lets a straggler show.
    QTest::qWait(100);
    QCOMPARE(calls.load(), expectedCalls + 1);
}

void FolderMonitorTest::reportsDeletionAndRenameOfTheFolderItself_data() {
    QTest::addColumn<bool>("deleteIt");
    QTest::newRow("deleted") << true;
    QTest::newRow("renamed") << false;
}

void FolderMonitorTest::reportsDeletionAndRenameOfTheFolderItself() {
    QFETCH(bool, deleteIt);
    QTemporaryDir root;
    const QString folder = root.filePath("watched");
    QVERIFY(QDir().mkpath(folder));

    std::atomic<int> calls = 0;
    FolderMonitor monitor(folder);
    monitor.setFolderDidChange([&calls] { ++calls; });
    monitor.startMonitoring();

    if (deleteIt) {
        QVERIFY(QDir().rmdir(folder));
    } else {
        QVERIFY(QDir().rename(folder, root.filePath("elsewhere")));
    }
    QTRY_COMPARE(calls.load(), 1);
}

void FolderMonitorTest::startOnMissingFolderStaysIdleAndCanRetry() {
    QTemporaryDir root;
    const QString folder = root.filePath("later");
    std::atomic<int> calls = 0;
    FolderMonitor monitor(folder);
    monitor.setFolderDidChange([&calls] { ++calls; });

    monitor.startMonitoring();
    QVERIFY(!monitor.isMonitoring());

    QVERIFY(QDir().mkpath(folder));
    monitor.startMonitoring();
    QVERIFY(monitor.isMonitoring());
    writeFile(folder + "/file");
    QTRY_COMPARE(calls.load(), 1);
}

void FolderMonitorTest::secondStartChangesNothing() {
    QTemporaryDir root;
    std::atomic<int> calls = 0;
    FolderMonitor monitor(root.path());
    monitor.setFolderDidChange([&calls] { ++calls; });
    monitor.startMonitoring();
    const int descriptors = openDescriptorCount();

    monitor.startMonitoring();
    QCOMPARE(openDescriptorCount(), descriptors);
    // One watch only: each event still arrives once.
    writeFile(root.filePath("file"));
    writeFile(root.filePath("zz-marker"));
    QTRY_COMPARE(calls.load(), 2);
}

void FolderMonitorTest::replacedMonitorsLeaveNoDescriptorOpen() {
    QTemporaryDir root;
    const int before = openDescriptorCount();
    std::unique_ptr<FolderMonitor> monitor;
    for (int i = 0; i < 50; ++i) {
        monitor = std::make_unique<FolderMonitor>(root.path());
        monitor->setFolderDidChange([] {});
        monitor->startMonitoring();
        QVERIFY(monitor->isMonitoring());
    }
    monitor.reset();
    QCOMPARE(openDescriptorCount(), before);
}

QTEST_GUILESS_MAIN(FolderMonitorTest)
#include "FolderMonitorTest.moc"
