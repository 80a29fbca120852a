#pragma once
// Helpers of the engine and tool tests: files, exact folder snapshots,
// outside programs, openssl, scratch mounts.

#include "engine/Cipher.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>

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

/// Everything a restore must bring back of one item.
struct Item {
    char type = '?'; // f file, d folder, l link, o other
    mode_t mode = 0;
    time_t mtime = 0;   // 0 for folders
    QByteArray content; // file content or link target
    friend bool operator==(const Item&, const Item&) = default;
};

inline QDebug operator<<(QDebug debug, const Item& item) {
    return debug << item.type << Qt::oct << item.mode << Qt::dec << item.mtime
                 << item.content.left(40);
}

/// Every item below `root` by relative path.
inline QMap<QString, Item> snapshot(const QString& root) {
    QMap<QString, Item> items;
    const std::function<void(const QString&)> walk = [&](const QString& prefix) {
        for (const QString& name : QDir(root + prefix)
                                       .entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                                  QDir::NoDotAndDotDot)) {
            const QString relative = prefix + QLatin1Char('/') + name;
            const QByteArray path = QFile::encodeName(root + relative);
            struct stat status {};
            lstat(path.constData(), &status);
            Item item{'o', static_cast<mode_t>(status.st_mode & 07777), status.st_mtime, {}};
            if (S_ISDIR(status.st_mode)) {
                item = Item{'d', item.mode, 0, {}};
                walk(relative);
            } else if (S_ISLNK(status.st_mode)) {
                char target[4096];
                const ssize_t size = readlink(path.constData(), target, sizeof target);
                item = Item{'l', 0, item.mtime, QByteArray(target, size < 0 ? 0 : size)};
            } else if (S_ISREG(status.st_mode)) {
                item.type = 'f';
                item.content = readAll(root + relative);
            }
            items.insert(relative.mid(1), item);
        }
    };
    walk(QString());
    return items;
}

/// A snapshot with the times left out.
inline QMap<QString, Item> withoutTimes(QMap<QString, Item> items) {
    for (Item& item : items) {
        item.mtime = 0;
    }
    return items;
}

/// The system's Python: version managers put slow shims first on PATH.
inline QString python() {
    return QFileInfo::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3";
}

/// strace's options that start the traced tool without leak checking:
/// LeakSanitizer stops the world through ptrace, which a traced process can't.
inline QStringList straceWithoutLeakCheck() {
    return {"-E", "ASAN_OPTIONS=detect_leaks=0:abort_on_error=1"};
}

/// Runs a program; its standard output, or nothing when it fails.
inline std::optional<QByteArray> runProgram(const QString& program, const QStringList& arguments,
                                            const QString& workingDirectory = {}) {
    QProcess process;
    process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qWarning().noquote() << program << arguments << process.readAllStandardError();
        return std::nullopt;
    }
    return process.readAllStandardOutput();
}

inline QByteArray keyHex(const QString& password) {
    const ArchiveKey key = deriveArchiveKey(password);
    return QByteArray(reinterpret_cast<const char*>(key.data()), ArchiveKey::size()).toHex();
}

/// openssl enc with the archive key and IV, from one file into another.
inline bool openssl(bool decrypt, const QString& in, const QString& out, const QString& password) {
    return runProgram("openssl",
                      {"enc", decrypt ? "-d" : "-e", "-aes-256-cbc", "-K", keyHex(password), "-iv",
                       QByteArray(archiveIv).toHex(), "-in", in, "-out", out})
        .has_value();
}

/// A file system mounted on an existing folder while the object lives.
class ScopedMount {
public:
    ScopedMount(const QString& folder, const char* type, const char* options = nullptr)
        : m_folder(QFile::encodeName(folder))
        , m_mounted(mount(type, m_folder.constData(), type, 0, options) == 0) {}
    ~ScopedMount() {
        if (m_mounted) {
            umount2(m_folder.constData(), MNT_DETACH);
        }
    }
    [[nodiscard]] bool isMounted() const { return m_mounted; }

private:
    QByteArray m_folder;
    bool m_mounted;
};

/// A file system made in an image file and mounted on `folder` through a
/// loop device while the object lives: "ext4" by the kernel, "exfat" through
/// FUSE, as a USB stick is. When the machine refuses, failure() says why.
class ImageMount {
public:
    ImageMount(const QString& folder, const QString& type)
        : m_folder(folder) {
        const QString image = folder + QStringLiteral(".img");
        QDir().mkpath(folder);
        if (!QFile(image).open(QIODevice::WriteOnly) || !QFile::resize(image, 32 << 20)) {
            m_failure = QStringLiteral("cannot make an image file");
        } else if (!runProgram(QStringLiteral("mkfs.") + type, type == QLatin1String("ext4")
                                                                   ? QStringList{"-q", "-F", image}
                                                                   : QStringList{image})) {
            m_failure = QStringLiteral("mkfs.%1 failed or is missing").arg(type);
        } else if (const auto device = runProgram("losetup", {"-f", "--show", image}); !device) {
            m_failure = QStringLiteral("no loop device (losetup needs root and /dev/loop*)");
        } else {
            m_device = QString::fromUtf8(device->trimmed());
            const bool mounted =
                type == QLatin1String("exfat")
                    ? runProgram("mount.exfat-fuse", {m_device, folder}).has_value()
                    : runProgram("mount", {"-t", type, m_device, folder}).has_value();
            m_failure = mounted ? QString() : QStringLiteral("mounting %1 was refused").arg(type);
            m_mounted = mounted;
        }
    }
    ~ImageMount() {
        if (m_mounted) {
            runProgram("umount", {m_folder});
        }
        if (!m_device.isEmpty()) {
            runProgram("losetup", {"-d", m_device});
        }
    }
    ImageMount(const ImageMount&) = delete;
    ImageMount& operator=(const ImageMount&) = delete;

    [[nodiscard]] const QString& failure() const { return m_failure; }

private:
    QString m_folder;
    QString m_device;
    QString m_failure;
    bool m_mounted = false;
};

} // namespace corvina::testing
