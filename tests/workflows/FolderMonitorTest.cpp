#include "WorkflowTestSupport.h"

#include "workflows/FolderMonitor.h"

#include <QProcess>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

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

bool runProgram(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

/// A TCP port of 127.0.0.1 that nothing listens on just now.
QString freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(fd);
    return bound ? QString::number(ntohs(address.sin_port)) : QString();
}

/// A folder shared by a local sshd (started here on a free port, with keys
/// of its own) and mounted through sshfs: a network share whose backing
/// folder another machine would write. failure() says why there is none.
class SshfsShare {
public:
    explicit SshfsShare(const QString& root)
        : backing(root + "/backing")
        , mount(root + "/mnt") {
        QDir().mkpath(backing);
        QDir().mkpath(mount);
        QDir().mkpath("/run/sshd");
        const QString keys = root + "/keys";
        QDir().mkpath(keys);
        for (const char* key : {"/host", "/user"}) {
            if (!runProgram("ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-f", keys + key})) {
                m_failure = "ssh-keygen is missing";
                return;
            }
        }
        QFile::copy(keys + "/user.pub", keys + "/authorized");
        const QString port = freePort();
        m_sshd.start("/usr/sbin/sshd",
                     {"-D", "-p", port, "-h", keys + "/host", "-o", "ListenAddress=127.0.0.1", "-o",
                      "AuthorizedKeysFile=" + keys + "/authorized", "-o", "StrictModes=no", "-o",
                      "PidFile=none"});
        if (!m_sshd.waitForStarted()) {
            m_failure = "openssh-server is missing";
            return;
        }
        for (int attempt = 0; attempt < 20 && !m_mounted; ++attempt) {
            QThread::msleep(100);
            m_mounted = runProgram("sshfs", {"-p", port, "-o",
                                             "IdentityFile=" + keys +
                                                 "/user,StrictHostKeyChecking=no,dir_cache=no,"
                                                 "UserKnownHostsFile=/dev/null,BatchMode=yes",
                                             "root@127.0.0.1:" + backing, mount});
        }
        if (!m_mounted) {
            m_failure = "sshfs could not mount (missing, no /dev/fuse, or sshd refused root)";
        }
    }
    ~SshfsShare() {
        if (m_mounted) {
            runProgram("umount", {"-l", mount});
        }
        m_sshd.kill();
        m_sshd.waitForFinished();
    }
    [[nodiscard]] const QString& failure() const { return m_failure; }

    const QString backing;
    const QString mount;

private:
    QProcess m_sshd;
    QString m_failure;
    bool m_mounted = false;
};

} // namespace

Q_DECLARE_METATYPE(Change)

class FolderMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reportsChangesOfTheEntryListOnly_data();
    void reportsChangesOfTheEntryListOnly();
    void reportsDeletionAndRenameOfTheFolderItself();
    void startRulesAndNoDescriptorLeak();
    void followsAShareWrittenBehindItsBack();
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

// What another machine does to a network share (here: the backing folder of
// an sshfs mount) never reaches inotify; the monitor sees it by listing the
// folder anew, well within 10 s.
void FolderMonitorTest::followsAShareWrittenBehindItsBack() {
    QTemporaryDir root;
    SshfsShare share(root.path());
    if (!share.failure().isEmpty()) {
        QSKIP(qPrintable(share.failure()));
    }
    std::atomic<int> calls = 0;
    FolderMonitor monitor(share.mount);
    monitor.setFolderDidChange([&calls] { ++calls; });
    monitor.startMonitoring();
    QVERIFY(monitor.isMonitoring());
    writeFile(share.backing + "/Backup_2026-11-25_03-00-00.halvorn", "x");
    QTRY_VERIFY_WITH_TIMEOUT(calls == 1, 10000);
    QFile::remove(share.backing + "/Backup_2026-11-25_03-00-00.halvorn");
    QTRY_VERIFY_WITH_TIMEOUT(calls == 2, 10000);
}
