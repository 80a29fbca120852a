#include "workflows/FolderMonitor.h"

#include "engine/DiagnosticLog.h"

#include <QFile>

#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace corvina {

namespace {

// Entries created, deleted or renamed, and the directory's own deletion or
// rename. IN_MODIFY and IN_ATTRIB are left out on purpose: a file's content or
// metadata changing is no change of the folder's list.
constexpr uint32_t watchedEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

} // namespace

FolderMonitor::FolderMonitor(QString path)
    : m_path(std::move(path)) {}

FolderMonitor::~FolderMonitor() {
    if (m_worker.joinable()) {
        const uint64_t one = 1;
        // The worker polls this descriptor too; one write wakes it for good.
        while (::write(m_stopFileDescriptor, &one, sizeof one) < 0 && errno == EINTR) {
        }
        m_worker.join();
    }
    if (m_monitoredFolderFileDescriptor != -1) {
        ::close(m_monitoredFolderFileDescriptor);
    }
    if (m_stopFileDescriptor != -1) {
        ::close(m_stopFileDescriptor);
    }
}

void FolderMonitor::setFolderDidChange(std::function<void()> callback) {
    std::lock_guard lock(m_callbackMutex);
    m_folderDidChange = std::move(callback);
}

void FolderMonitor::startMonitoring() {
    if (isMonitoring()) {
        return;
    }
    const int inotifyFd = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (inotifyFd == -1) {
        diagnosticLog(QStringLiteral("Failed to open directory: ") + m_path);
        return;
    }
    const QByteArray nativePath = QFile::encodeName(m_path);
    if (::inotify_add_watch(inotifyFd, nativePath.constData(), watchedEvents | IN_ONLYDIR) == -1) {
        ::close(inotifyFd);
        diagnosticLog(QStringLiteral("Failed to open directory: ") + m_path);
        return;
    }
    const int stopFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (stopFd == -1) {
        ::close(inotifyFd);
        diagnosticLog(QStringLiteral("Failed to open directory: ") + m_path);
        return;
    }
    m_monitoredFolderFileDescriptor = inotifyFd;
    m_stopFileDescriptor = stopFd;
    m_worker = std::thread([this] { run(); });
}

void FolderMonitor::notify() {
    std::function<void()> callback;
    {
        std::lock_guard lock(m_callbackMutex);
        callback = m_folderDidChange;
    }
    if (callback) {
        callback();
    }
}

void FolderMonitor::run() {
    alignas(inotify_event) char buffer[16 * 1024];
    pollfd fds[2] = {{m_monitoredFolderFileDescriptor, POLLIN, 0},
                     {m_stopFileDescriptor, POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if (fds[1].revents != 0) {
            return;
        }
        if (fds[0].revents == 0) {
            continue;
        }
        const ssize_t length = ::read(m_monitoredFolderFileDescriptor, buffer, sizeof buffer);
        if (length <= 0) {
            if (length < 0 && (errno == EINTR || errno == EAGAIN)) {
                continue;
            }
            return;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            // A lost queue of events is one change the owner must look at anew.
            if ((event->mask & (watchedEvents | IN_Q_OVERFLOW)) != 0) {
                notify();
            }
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
}

} // namespace corvina
