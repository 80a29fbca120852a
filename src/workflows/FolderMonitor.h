#pragma once

#include <QString>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace corvina {

/// Watches the entries of one directory (not its subfolders) and calls
/// `folderDidChange` on its own worker thread once per change: an entry
/// created, deleted or renamed, or the directory itself deleted or renamed.
/// A change of a file's content does not count. On a network or FUSE file
/// system, where inotify sees only what this machine does, the folder is
/// also listed every few seconds and a different list counts as a change.
///
/// There is no stop operation: the owner stops watching by destroying the
/// monitor, which joins the worker and closes the descriptors, so no callback
/// runs after the destructor has returned. A deleted or renamed directory
/// keeps its old watch; the owner makes a new monitor for a new location.
class FolderMonitor {
public:
    explicit FolderMonitor(QString path);
    ~FolderMonitor();

    FolderMonitor(const FolderMonitor&) = delete;
    FolderMonitor& operator=(const FolderMonitor&) = delete;

    /// The owner's callback; an empty one swallows the events. It runs on the
    /// worker thread: a callback that touches state of the main thread must
    /// hand over to it.
    void setFolderDidChange(std::function<void()> callback);

    /// Starts watching. Does nothing while watching. When the directory can't
    /// be watched, writes a diagnostic line and stays idle; a later call tries
    /// again.
    void startMonitoring();

    [[nodiscard]] bool isMonitoring() const { return m_monitoredFolderFileDescriptor != -1; }
    [[nodiscard]] const QString& path() const { return m_path; }

private:
    void run();
    void notify();

    QString m_path;
    int m_monitoredFolderFileDescriptor = -1;
    int m_stopFileDescriptor = -1;
    /// Set for a folder on a network or FUSE file system.
    bool m_listsFolder = false;
    /// The folder's entries as last listed, for a folder that is listed.
    std::vector<std::string> m_listed;
    std::thread m_worker;
    std::mutex m_callbackMutex;
    std::function<void()> m_folderDidChange;
};

} // namespace corvina
