#pragma once
// A network share for tests: a folder served by a local sshd and mounted
// through sshfs.

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace corvina::testing {

namespace sshfs_detail {

inline bool runProgram(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

/// A TCP port of 127.0.0.1 that nothing listens on just now.
inline QString freePort() {
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

} // namespace sshfs_detail

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
            if (!sshfs_detail::runProgram("ssh-keygen",
                                          {"-q", "-t", "ed25519", "-N", "", "-f", keys + key})) {
                m_failure = "ssh-keygen is missing";
                return;
            }
        }
        QFile::copy(keys + "/user.pub", keys + "/authorized");
        const QString port = sshfs_detail::freePort();
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
            m_mounted = sshfs_detail::runProgram("sshfs",
                                                 {"-p", port, "-o",
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
            sshfs_detail::runProgram("umount", {"-l", mount});
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

} // namespace corvina::testing
