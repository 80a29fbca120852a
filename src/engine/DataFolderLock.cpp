#include "engine/DataFolderLock.h"

#include "engine/DiagnosticLog.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace corvina {

namespace {

// How often a waiting run looks again: a lock is held for seconds to
// minutes, so a fifth of a second costs nothing and is never noticed.
constexpr std::chrono::milliseconds retryInterval{200};

} // namespace

QString DataFolderLock::lockFilePath(const QString& dataFolder) {
    const QFileInfo folder(QFileInfo(dataFolder).absoluteFilePath());
    return folder.absolutePath() + QStringLiteral("/.") + folder.fileName() +
           QStringLiteral(".lock");
}

std::optional<DataFolderLock> DataFolderLock::tryAcquire(const QString& dataFolder) {
    const QString path = lockFilePath(dataFolder);
    // O_CLOEXEC: the companion application or any child started while the
    // lock is held must not inherit it and keep it after this process ends.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        diagnosticLog(QStringLiteral("Ошибка: файл блокировки недоступен: ") + path +
                      QStringLiteral(" ") + QString::fromLocal8Bit(std::strerror(errno)));
        return DataFolderLock(-1);
    }
    int status = 0;
    do {
        status = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (status != 0 && errno == EINTR);
    if (status != 0) {
        ::close(fd);
        return std::nullopt;
    }
    return DataFolderLock(fd);
}

std::optional<DataFolderLock> DataFolderLock::acquire(const QString& dataFolder,
                                                      std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (std::optional<DataFolderLock> lock = tryAcquire(dataFolder)) {
            return lock;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return std::nullopt;
        }
        QThread::msleep(static_cast<unsigned long>(retryInterval.count()));
    }
}

DataFolderLock::DataFolderLock(DataFolderLock&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)) {}

DataFolderLock& DataFolderLock::operator=(DataFolderLock&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

DataFolderLock::~DataFolderLock() {
    // Closing the only descriptor of the open file releases the lock.
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

QString dataFolderBusyText() {
    return QStringLiteral("Eine andere Aktion mit den Daten läuft gerade. Bitte versuche es "
                          "erneut, wenn sie beendet ist.");
}

} // namespace corvina
