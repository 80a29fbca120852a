#include "workflows/FolderMonitor.h"

#include "engine/DiagnosticLog.h"

#include <QFile>

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <poll.h>
#include <unistd.h>

namespace corvina {

namespace {

// Entries created, deleted or renamed, and the directory's own deletion or
// rename. IN_MODIFY and IN_ATTRIB are left out on purpose: a file's content or
// metadata changing is no change of the folder's list.
constexpr uint32_t watchedEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

/// How often a folder that inotify can't fully see is listed anew.
constexpr int listingIntervalMilliseconds = 3000;

/// Whether other machines can change the folder without this kernel knowing:
/// network file systems and FUSE (sshfs, for one), where inotify reports
/// only what this machine does.
bool isSharedFileSystem(const QByteArray& path) {
    struct statfs info {};
    if (::statfs(path.constData(), &info) != 0) {
        return false;
    }
    switch (static_cast<uint32_t>(info.f_type)) {
    case 0x6969:     // NFS
    case 0xFE534D42: // SMB2
    case 0xFF534D42: // CIFS
    case 0x65735546: // FUSE
    case 0x517B:     // SMB
        return true;
    default:
        return false;
    }
}

/// The folder's entry names, sorted; empty when it can't be read.
std::vector<std::string> entryNames(const QByteArray& path) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(path.constData());
    if (dir == nullptr) {
        return names;
    }
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

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
    m_listsFolder = isSharedFileSystem(nativePath);
    if (m_listsFolder) {
        // Listed before the call returns: a change right after counts.
        m_listed = entryNames(nativePath);
    }
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
    const QByteArray nativePath = QFile::encodeName(m_path);
    for (;;) {
        const int ready = ::poll(fds, 2, m_listsFolder ? listingIntervalMilliseconds : -1);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if (ready == 0) {
            // What another machine changed shows only in a new listing.
            std::vector<std::string> names = entryNames(nativePath);
            if (names != m_listed) {
                m_listed = std::move(names);
                notify();
            }
            continue;
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
