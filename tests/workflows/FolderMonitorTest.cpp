#include "WorkflowTestSupport.h"

#include "workflows/FolderMonitor.h"

#include <atomic>
#include <functional>
#include <memory>

using namespace corvina;
using namespace corvina::testing;

namespace {

int openDescriptorCount() {
    return int(QDir("/proc/self/fd")
                   .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                   .size());
}

using Change = std::function<void(const QString& folder)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class FolderMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reportsChangesOfTheEntryListOnly_data();
    void reportsChangesOfTheEntryListOnly();
    void reportsDeletionAndRenameOfTheFolderItself();
    void startRulesAndNoDescriptorLeak();
};

void FolderMonitorTest::reportsChangesOfTheEntryListOnly_data() {
    QTest::addColumn<Change>("change");
    QTest::addColumn<int>("expectedCalls");
    QTest::newRow("file created") << Change([](auto f) { writeFile(f + "/new", ""); }) << 1;
    QTest::newRow("file deleted") << Change([](auto f) { QFile::remove(f + "/file"); }) << 1;
    // A rename within the folder is two events: the old name goes, the new one comes.
    QTest::newRow("file renamed") << Change([](auto f) {
        QFile::rename(f + "/file", f + "/renamed");
    }) << 2;
    QTest::newRow("content rewritten")
        << Change([](auto f) { writeFile(f + "/file", "new content"); }) << 0;
    QTest::newRow("permissions changed")
        << Change([](auto f) { QFile::setPermissions(f + "/file", QFileDevice::ReadOwner); }) << 0;
    QTest::newRow("file created in subfolder")
        << Change([](auto f) { writeFile(f + "/sub/deep", ""); }) << 0;
}

// After the change the marker file "zz-marker" is created. inotify keeps the
// order of events, so once the marker is reported, so is every earlier event.
void FolderMonitorTest::reportsChangesOfTheEntryListOnly() {
    QFETCH(Change, change);
    QFETCH(int, expectedCalls);
    QTemporaryDir root;
    const QString folder = root.filePath("watched");
    writeFile(folder + "/file", "x");
    QVERIFY(QDir().mkpath(folder + "/sub"));

    std::atomic<int> calls = 0;
    FolderMonitor monitor(folder);
    monitor.setFolderDidChange([&calls] { ++calls; });
    monitor.startMonitoring();
    QVERIFY(monitor.isMonitoring());

    change(folder);
    writeFile(folder + "/zz-marker", "");
    QTRY_VERIFY(calls >= expectedCalls + 1);
    QCOMPARE(calls.load(), expectedCalls + 1);
}

void FolderMonitorTest::reportsDeletionAndRenameOfTheFolderItself() {
    QTemporaryDir root;
    std::atomic<int> calls = 0;
    const auto watch = [&](const QString& folder) {
        QDir().mkpath(folder);
        auto monitor = std::make_unique<FolderMonitor>(folder);
        monitor->setFolderDidChange([&calls] { ++calls; });
        monitor->startMonitoring();
        return monitor;
    };
    auto deleted = watch(root.filePath("deleted"));
    auto renamed = watch(root.filePath("renamed"));
    QVERIFY(QDir().rmdir(root.filePath("deleted")));
    QVERIFY(QDir().rename(root.filePath("renamed"), root.filePath("elsewhere")));
    QTRY_COMPARE(calls.load(), 2);
}

void FolderMonitorTest::startRulesAndNoDescriptorLeak() {
    QTemporaryDir root;
    const QString folder = root.filePath("later");
    const int descriptorsBefore = openDescriptorCount();
    std::atomic<int> calls = 0;
    auto monitor = std::make_unique<FolderMonitor>(folder);
    monitor->setFolderDidChange([&calls] { ++calls; });

    // A missing folder leaves the monitor idle; a later start tries again.
    monitor->startMonitoring();
    QVERIFY(!monitor->isMonitoring());
    QVERIFY(QDir().mkpath(folder));
    monitor->startMonitoring();
    QVERIFY(monitor->isMonitoring());
    // A second start adds no second watch: each event still arrives once.
    const int descriptorsWatching = openDescriptorCount();
    monitor->startMonitoring();
    QCOMPARE(openDescriptorCount(), descriptorsWatching);
    writeFile(folder + "/file", "");
    QTRY_COMPARE(calls.load(), 1);

    // Replacing the monitor, as the controllers do, leaves nothing open.
    for (int i = 0; i < 50; ++i) {
        monitor = std::make_unique<FolderMonitor>(folder);
        monitor->startMonitoring();
    }
    monitor.reset();
    QCOMPARE(openDescriptorCount(), descriptorsBefore);
}

QTEST_GUILESS_MAIN(FolderMonitorTest)
#include "FolderMonitorTest.moc"
