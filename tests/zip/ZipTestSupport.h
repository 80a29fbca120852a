#pragma once

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace corvina::zip::test {

inline QByteArray readAll(const std::filesystem::path& path) {
    QFile file(QString::fromStdString(path.string()));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.readAll();
}

inline void writeFile(const std::filesystem::path& path, const QByteArray& bytes) {
    std::filesystem::create_directories(path.parent_path());
    QFile file(QString::fromStdString(path.string()));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(bytes);
    }
}

/// Bytes that differ from chunk to chunk, so misplaced chunks show.
inline QByteArray patternBytes(qsizetype size, int seed = 1) {
    QByteArray bytes(size, Qt::Uninitialized);
    uint32_t state = 2463534242u + static_cast<uint32_t>(seed);
    for (qsizetype i = 0; i < size; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        bytes[i] = static_cast<char>(state % 7 == 0 ? 'a' : state & 0xFF);
    }
    return bytes;
}

inline void setModificationTime(const std::filesystem::path& path, time_t seconds) {
    const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

struct ProcessResult {
    int exitCode = -1;
    QByteArray output;
};

/// Runs a tool to its end; standard error is merged into the output.
inline ProcessResult run(const QString& program, const QStringList& arguments,
                         const QByteArray& input = {}, const QStringList& environment = {}) {
    QProcess process;
    if (!environment.isEmpty()) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString& item : environment) {
            env.insert(item.section(QLatin1Char('='), 0, 0), item.section(QLatin1Char('='), 1));
        }
        process.setProcessEnvironment(env);
    }
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted()) {
        return {};
    }
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(600000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAll()};
}

inline QString qpath(const std::filesystem::path& path) {
    return QString::fromStdString(path.string());
}

} // namespace corvina::zip::test
