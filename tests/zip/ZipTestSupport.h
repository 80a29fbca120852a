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

#include "zip/Records.h"

#include <zlib.h>

#include <functional>
#include <vector>

namespace corvina::zip::test {

/// One entry of a hand-made archive; the hooks may bend its records.
struct CraftedEntry {
    CraftedEntry(std::string path, QByteArray data, EntryType type = EntryType::file,
                 uint16_t permissions = 0644, std::function<void(LocalFileHeader&)> editLocal = {},
                 std::function<void(CentralDirectoryStructure&)> editCentral = {})
        : path(std::move(path))
        , data(std::move(data))
        , type(type)
        , permissions(permissions)
        , editLocal(std::move(editLocal))
        , editCentral(std::move(editCentral)) {}

    std::string path;
    QByteArray data;
    EntryType type = EntryType::file;
    uint16_t permissions = 0644;
    std::function<void(LocalFileHeader&)> editLocal;
    std::function<void(CentralDirectoryStructure&)> editCentral;
};

inline uint32_t continueCrc(const uint8_t* bytes, qsizetype size) {
    return static_cast<uint32_t>(crc32_z(0,
                                         size == 0 ? reinterpret_cast<const uint8_t*>("") : bytes,
                                         static_cast<std::size_t>(size)));
}

/// Builds archive bytes from stored entries, the way this layer writes them,
/// after the hooks had their say.
inline QByteArray craftArchive(const std::vector<CraftedEntry>& entries) {
    std::vector<uint8_t> out;
    std::vector<uint8_t> directory;
    EndRecords end;
    for (const CraftedEntry& e : entries) {
        const auto offset = static_cast<uint64_t>(out.size());
        const auto* bytes = reinterpret_cast<const uint8_t*>(e.data.constData());
        const auto size = static_cast<uint64_t>(e.data.size());
        LocalFileHeader local =
            LocalFileHeader::make(e.path, CompressionMethod::none, 0, 0x21,
                                  continueCrc(bytes, e.data.size()), size, size);
        CentralDirectoryStructure central = CentralDirectoryStructure::make(
            local, externalFileAttributes(e.type, e.permissions), offset);
        if (e.editLocal) {
            e.editLocal(local);
        }
        if (e.editCentral) {
            e.editCentral(central);
        }
        const auto localBytes = local.encode();
        out.insert(out.end(), localBytes.begin(), localBytes.end());
        out.insert(out.end(), bytes, bytes + e.data.size());
        central.encodeInto(directory);
        end = end.afterAppend(central.recordSize(), 0, 0);
    }
    end.endOfCentralDirectoryRecord.offsetToStartOfCentralDirectory =
        static_cast<uint32_t>(out.size());
    out.insert(out.end(), directory.begin(), directory.end());
    const auto endBytes = end.endOfCentralDirectoryRecord.encode();
    out.insert(out.end(), endBytes.begin(), endBytes.end());
    return QByteArray(reinterpret_cast<const char*>(out.data()),
                      static_cast<qsizetype>(out.size()));
}

} // namespace corvina::zip::test
