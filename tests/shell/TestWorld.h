#pragma once

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <memory>

namespace corvina::test {

/// The world around the window for the end-to-end test: the companion's data
/// folder and a storage folder under the test's private HOME, the archive
/// password in the test keyring, and a stand-in for the running companion
/// application.
class TestWorld : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool companionRunning READ isCompanionRunning NOTIFY companionRunningChanged)

public:
    ~TestWorld() override;

    /// Empties HOME, fills the data folder with `files` (relative path →
    /// content), makes the storage folder, stores it in the settings and
    /// stores the archive password.
    Q_INVOKABLE void prepare(const QVariantMap& files, const QString& archivePassword);
    Q_INVOKABLE [[nodiscard]] static QString dataFolder();
    Q_INVOKABLE [[nodiscard]] static QString storageFolder();
    /// The data folder's files as relative path → content; empty when gone.
    Q_INVOKABLE [[nodiscard]] static QVariantMap dataFiles();
    Q_INVOKABLE static void writeDataFile(const QString& relativePath, const QString& content);
    Q_INVOKABLE static void removeDataFile(const QString& relativePath);
    /// The backup files in the storage folder, by name.
    Q_INVOKABLE [[nodiscard]] static QStringList backups();
    /// Every name in the storage folder, hidden ones too.
    Q_INVOKABLE [[nodiscard]] static QStringList storageFiles();
    /// Puts a small tmpfs over the storage folder and fills it up; false
    /// where this machine can't mount.
    Q_INVOKABLE [[nodiscard]] static bool fillStorageFolder();
    Q_INVOKABLE static void releaseStorageFolder();
    Q_INVOKABLE static void removeFolder(const QString& path);
    /// Makes a backup of the data folder under `password`, past the window.
    Q_INVOKABLE static void makeBackup(const QString& password);
    /// The comment kept with a backup; undefined in QML when it has none.
    Q_INVOKABLE [[nodiscard]] static QVariant commentOf(const QString& backupName);

    /// Starts a process that passes for the companion application.
    Q_INVOKABLE void startCompanion();
    [[nodiscard]] bool isCompanionRunning() const;

Q_SIGNALS:
    void companionRunningChanged();

private:
    std::unique_ptr<QProcess> m_companion;
};

} // namespace corvina::test
