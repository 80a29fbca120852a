#pragma once

#include "zip/Error.h"
#include "zip/Records.h"

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace corvina::zip::test {

inline QString qpath(const std::filesystem::path& path) {
    return QString::fromStdString(path.string());
}

inline QByteArray readAll(const std::filesystem::path& path) {
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void writeFile(const std::filesystem::path& path, const QByteArray& bytes) {
    std::filesystem::create_directories(path.parent_path());
    QFile file(qpath(path));
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
inline ProcessResult run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit) {
        return {-1, process.readAll()};
    }
    return {process.exitCode(), process.readAll()};
}

/// The error `step` throws, or nothing when it succeeds.
inline std::optional<Error> errorFrom(const std::function<void()>& step) {
    try {
        step();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

/// One stored entry of a hand-made archive; the hooks may bend its records.
struct CraftedEntry {
    std::string path;
    QByteArray data;
    EntryType type = EntryType::file;
    uint16_t permissions = 0644;
    std::function<void(LocalFileHeader&)> editLocal = {};
    std::function<void(CentralDirectoryStructure&)> editCentral = {};
};

/// Builds archive bytes from stored entries, the way this layer writes them,
/// after the hooks had their say.
inline QByteArray craftArchive(const std::vector<CraftedEntry>& entries) {
    std::vector<uint8_t> out;
    std::vector<uint8_t> directory;
    EndRecords end;
    for (const CraftedEntry& e : entries) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(e.data.constData());
        const auto size = static_cast<uint64_t>(e.data.size());
        const auto crc = static_cast<uint32_t>(crc32_z(0, bytes, size));
        LocalFileHeader local =
            LocalFileHeader::make(e.path, CompressionMethod::none, 0, 0x21, crc, size, size);
        CentralDirectoryStructure central = CentralDirectoryStructure::make(
            local, externalFileAttributes(e.type, e.permissions), out.size());
        if (e.editLocal) {
            e.editLocal(local);
        }
        if (e.editCentral) {
            e.editCentral(central);
        }
        const auto localBytes = local.encode();
        out.insert(out.end(), localBytes.begin(), localBytes.end());
        out.insert(out.end(), bytes, bytes + size);
        central.encodeInto(directory);
        end = end.afterAppend(central.recordSize(), 0, 0);
    }
    end.endOfCentralDirectoryRecord.offsetToStartOfCentralDirectory =
        static_cast<uint32_t>(out.size());
    out.insert(out.end(), directory.begin(), directory.end());
    const auto endBytes = end.endOfCentralDirectoryRecord.encode();
    out.insert(out.end(), endBytes.begin(), endBytes.end());
    return {reinterpret_cast<const char*>(out.data()), static_cast<qsizetype>(out.size())};
}

} // namespace corvina::zip::test
