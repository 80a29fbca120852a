#include "WorkflowTestSupport.h"

#include "workflows/FolderMonitor.h"

#include <atomic>
#include <memory>

using namespace corvina;
using namespace corvina::testing;

namespace {

int openDescriptorCount() {
    return int(QDir("/proc/self/fd")
                   .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                   .size());
}

} // namespace

class FolderMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reportsDeletionAndRenameOfTheFolderItself();
    void startRulesAndNoDescriptorLeak();
};

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
