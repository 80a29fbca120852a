#pragma once
// Helpers shared by the engine and tool tests: building small data trees,
// taking exact snapshots of folders, running outside programs, mounting
// scratch file systems.

#include "engine/Cipher.h"

#include <QByteArray>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <functional>
#include <optional>

namespace corvina::testing {

inline QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// Sets the modification time of an item without following a link.
inline void setModificationTime(const QString& path, time_t seconds) {
    const struct timeval times[2] = {{seconds, 0}, {seconds, 0}};
    lutimes(QFile::encodeName(path).constData(), times);
}

/// One item of a snapshot: everything a restore must bring back.
struct Item {
    char type = '?'; // f file, d directory, l link, o other
    mode_t mode = 0;
    time_t mtime = 0;
    QByteArray content; // file content or link target
    friend bool operator==(const Item&, const Item&) = default;
};

inline QDebug operator<<(QDebug debug, const Item& item) {
    return debug << item.type << Qt::oct << item.mode << Qt::dec << item.mtime
                 << item.content.left(40);
}

/// Every item below `root` (not `root` itself) by relative path.
inline QMap<QString, Item> snapshot(const QString& root) {
    QMap<QString, Item> items;
    const std::function<void(const QString&)> walk = [&](const QString& relative) {
        const QDir dir(relative.isEmpty() ? root : root + QLatin1Char('/') + relative);
        const QStringList names =
            dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString& name : names) {
            const QString rel = relative.isEmpty() ? name : relative + QLatin1Char('/') + name;
            const QString path = root + QLatin1Char('/') + rel;
            struct stat status {};
            lstat(QFile::encodeName(path).constData(), &status);
            Item item;
            item.mode = status.st_mode & 07777;
            item.mtime = status.st_mtime;
            if (S_ISDIR(status.st_mode)) {
                item.type = 'd';
                item.mtime = 0;
                items.insert(rel, item);
                walk(rel);
                continue;
            }
            if (S_ISLNK(status.st_mode)) {
                item.type = 'l';
                item.mode = 0;
                char buffer[4096];
                const ssize_t size =
                    readlink(QFile::encodeName(path).constData(), buffer, sizeof buffer);
                item.content = QByteArray(buffer, size < 0 ? 0 : size);
            } else if (S_ISREG(status.st_mode)) {
                item.type = 'f';
                item.content = readAll(path);
            } else {
                item.type = 'o';
            }
            items.insert(rel, item);
        }
    };
    walk(QString());
    return items;
}

/// The system's Python: version managers put slow shims first on PATH.
inline QString python() {
    return QFileInfo::exists(QStringLiteral("/usr/bin/python3"))
               ? QStringLiteral("/usr/bin/python3")
               : QStringLiteral("python3");
}

/// Runs a program; its standard output, or nothing when it fails.
inline std::optional<QByteArray> runProgram(const QString& program, const QStringList& arguments,
                                            const QByteArray& input = {},
                                            const QString& workingDirectory = {}) {
    QProcess process;
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qWarning().noquote() << program << arguments.join(u' ')
                             << "failed:" << process.readAllStandardError();
        return std::nullopt;
    }
    return process.readAllStandardOutput();
}

inline QString keyHex(const QString& password) {
    const ArchiveKey key = deriveArchiveKey(password);
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char*>(key.data()), ArchiveKey::size()).toHex());
}

inline QStringList opensslArguments(const QString& password, bool decrypt) {
    QStringList arguments{
        QStringLiteral("enc"), QStringLiteral("-aes-256-cbc"),
        QStringLiteral("-K"),  keyHex(password),
        QStringLiteral("-iv"), QString::fromLatin1(QByteArray(archiveIv).toHex())};
    if (decrypt) {
        arguments.insert(1, QStringLiteral("-d"));
    }
    return arguments;
}

/// Decrypts a backup with the openssl command-line tool.
inline std::optional<QByteArray> opensslDecrypt(const QString& backup, const QString& password) {
    return runProgram(QStringLiteral("openssl"), opensslArguments(password, true)
                                                     << QStringLiteral("-in") << backup);
}

/// Encrypts a file as a backup with the openssl command-line tool.
inline bool opensslEncrypt(const QString& zip, const QString& backup, const QString& password) {
    return runProgram(QStringLiteral("openssl"), opensslArguments(password, false)
                                                     << QStringLiteral("-in") << zip
                                                     << QStringLiteral("-out") << backup)
        .has_value();
}

/// A file system mounted on an existing folder for the lifetime of the object.
class ScopedMount {
public:
    ScopedMount(const QString& folder, const char* type, const char* options = nullptr)
        : m_folder(QFile::encodeName(folder)) {
        m_mounted = mount(type, m_folder.constData(), type, 0, options) == 0;
    }
    ~ScopedMount() {
        if (m_mounted) {
            umount2(m_folder.constData(), MNT_DETACH);
        }
    }
    ScopedMount(const ScopedMount&) = delete;
    ScopedMount& operator=(const ScopedMount&) = delete;
    [[nodiscard]] bool isMounted() const { return m_mounted; }

private:
    QByteArray m_folder;
    bool m_mounted = false;
};

} // namespace corvina::testing
