#include "workflows/CompanionApplication.h"

#include <QDir>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace corvina {

namespace {

// /proc/<pid>/environ can be large; nothing we look for lies beyond this.
constexpr qint64 maxEnvironmentBytes = 1 << 20;
constexpr qint64 maxCgroupBytes = 64 * 1024;

// Undoes systemd's unit-name escaping ("\xNN" for a byte).
QString unescapeUnitName(const QString& escaped) {
    QByteArray bytes;
    const QByteArray raw = escaped.toUtf8();
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\\' && i + 3 < raw.size() && raw[i + 1] == 'x') {
            bool ok = false;
            const int value = raw.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                bytes.append(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        bytes.append(raw[i]);
    }
    return QString::fromUtf8(bytes);
}

QByteArray readProcFile(const QString& path, qint64 limit) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.read(limit);
}

// The cgroup v2 path of a process ("0::/user.slice/..."), or empty.
QString cgroupPathOf(const QString& processDir) {
    const QByteArray content = readProcFile(processDir + QStringLiteral("/cgroup"), maxCgroupBytes);
    for (const QByteArray& line : content.split('\n')) {
        if (line.startsWith("0::")) {
            return QString::fromUtf8(line.mid(3));
        }
    }
    return {};
}

QString flatpakIdOf(const QString& processDir) {
    const QByteArray environment =
        readProcFile(processDir + QStringLiteral("/environ"), maxEnvironmentBytes);
    static const QByteArray key = QByteArrayLiteral("FLATPAK_ID=");
    for (const QByteArray& entry : environment.split('\0')) {
        if (entry.startsWith(key)) {
            return QString::fromUtf8(entry.mid(key.size()));
        }
    }
    return {};
}

// Field 22 of /proc/<pid>/stat; the command name before it may hold spaces and
// parentheses, so fields are counted after the last ')'.
quint64 startTimeOf(const QString& processDir) {
    const QByteArray stat = readProcFile(processDir + QStringLiteral("/stat"), 4096);
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0) {
        return 0;
    }
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    // fields[0] is field 3 (state), so field 22 is fields[19].
    return fields.size() > 19 ? fields[19].toULongLong() : 0;
}

QString processDirOf(pid_t pid) {
    return QStringLiteral("/proc/") + QString::number(pid);
}

// The application ID that a systemd unit name carries, following the desktop
// convention: "app[-<launcher>]-<ID>-<n>.scope" or
// "app[-<launcher>]-<ID>[@<n>].service", dashes inside <ID> escaped as "\x2d".
// Nothing for other unit names.
std::optional<QString> applicationIdFromUnitName(const QString& unitName) {
    static const QString prefix = QStringLiteral("app-");
    if (!unitName.startsWith(prefix)) {
        return std::nullopt;
    }
    QString body;
    if (unitName.endsWith(QStringLiteral(".scope"))) {
        body = unitName.mid(prefix.size(), unitName.size() - prefix.size() - 6);
        // The scope's last dash-separated part is its instance, not the ID.
        const qsizetype lastDash = body.lastIndexOf(QLatin1Char('-'));
        if (lastDash <= 0) {
            return std::nullopt;
        }
        body.truncate(lastDash);
    } else if (unitName.endsWith(QStringLiteral(".service"))) {
        body = unitName.mid(prefix.size(), unitName.size() - prefix.size() - 8);
        const qsizetype at = body.indexOf(QLatin1Char('@'));
        if (at != -1) {
            body.truncate(at);
        }
    } else {
        return std::nullopt;
    }
    // Dashes in the ID are escaped, so the ID is what follows the last dash
    // (the launcher, if any, comes before it).
    const QString id = unescapeUnitName(body.section(QLatin1Char('-'), -1));
    if (id.isEmpty()) {
        return std::nullopt;
    }
    return id;
}

} // namespace

QString RunningApplication::description() const {
    return QStringLiteral("<RunningApplication pid=%1 identifier=%2 unit=%3>")
        .arg(pid)
        .arg(bundleIdentifier, unitCgroup.isEmpty() ? QStringLiteral("-") : unitCgroup);
}

QList<RunningApplication> runningApplications(const QString& procRoot) {
    QList<pid_t> pids;
    const QStringList names = QDir(procRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        bool ok = false;
        const int pid = name.toInt(&ok);
        if (ok && pid > 0) {
            pids.append(pid);
        }
    }
    std::sort(pids.begin(), pids.end());

    const uid_t me = ::getuid();
    const pid_t self = ::getpid();
    QList<RunningApplication> applications;
    for (const pid_t pid : pids) {
        if (pid == self) {
            continue;
        }
        const QString processDir = procRoot + QLatin1Char('/') + QString::number(pid);
        struct stat info {};
        if (::stat(QFile::encodeName(processDir).constData(), &info) != 0 || info.st_uid != me) {
            continue;
        }
        RunningApplication application;
        application.pid = pid;
        application.startTime = startTimeOf(processDir);
        QString unitId;
        QString unitCgroup;
        const QString cgroup = cgroupPathOf(processDir);
        const QStringList components = cgroup.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        for (qsizetype i = components.size() - 1; i >= 0 && unitId.isEmpty(); --i) {
            if (const std::optional<QString> id = applicationIdFromUnitName(components[i])) {
                unitId = *id;
                unitCgroup = components.mid(0, i + 1).join(QLatin1Char('/'));
            }
        }
        // A Flatpak application started without a unit of its own stays in its
        // launcher's unit (a terminal, say): its own ID wins, and that unit,
        // which is not the application's, is never killed with it.
        const QString flatpakId = flatpakIdOf(processDir);
        application.bundleIdentifier = flatpakId.isEmpty() ? unitId : flatpakId;
        if (application.bundleIdentifier == unitId) {
            application.unitCgroup = unitCgroup;
        }
        if (!application.bundleIdentifier.isEmpty()) {
            applications.append(application);
        }
    }
    return applications;
}

std::optional<RunningApplication> findRunningApplication(const QString& identifier) {
    for (const RunningApplication& application : runningApplications()) {
        if (application.bundleIdentifier == identifier) {
            return application;
        }
    }
    return std::nullopt;
}

void forceTerminate(const RunningApplication& application) {
    const QString ownCgroup = cgroupPathOf(processDirOf(::getpid())).mid(1);
    const bool unitHoldsUs = ownCgroup == application.unitCgroup ||
                             ownCgroup.startsWith(application.unitCgroup + QLatin1Char('/'));
    if (!application.unitCgroup.isEmpty() && !unitHoldsUs) {
        QFile kill(QStringLiteral("/sys/fs/cgroup/") + application.unitCgroup +
                   QStringLiteral("/cgroup.kill"));
        if (kill.open(QIODevice::WriteOnly) && kill.write("1") == 1 && kill.flush()) {
            return;
        }
    }
    if (startTimeOf(processDirOf(application.pid)) == application.startTime) {
        ::kill(application.pid, SIGKILL);
    }
}

} // namespace corvina
