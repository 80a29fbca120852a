#include "zip/Error.h"

#include <cstring>
#include <utility>

namespace corvina::zip {

namespace {

const char* archiveCaseName(int code) {
    static const char* const names[] = {"unreadableArchive",
                                        "unwritableArchive",
                                        "invalidEntryPath",
                                        "invalidCompressionMethod",
                                        "invalidCRC32",
                                        "cancelledOperation",
                                        "invalidBufferSize",
                                        "invalidEntrySize",
                                        "invalidLocalHeaderDataOffset",
                                        "invalidLocalHeaderSize",
                                        "invalidCentralDirectoryOffset",
                                        "invalidCentralDirectorySize",
                                        "invalidCentralDirectoryEntryCount",
                                        "missingEndOfCentralDirectoryRecord",
                                        "uncontainedSymlink",
                                        "uncontainedEntryPath"};
    return names[code];
}

QString quoted(const std::filesystem::path& path) {
    return QStringLiteral("“") + QString::fromStdString(path.string()) + QStringLiteral("”");
}

} // namespace

Error::Error(Domain domain, int code, std::filesystem::path path, int errnum)
    : m_domain(domain)
    , m_code(code)
    , m_path(std::move(path))
    , m_errno(errnum)
    , m_what(localizedDescription().toStdString()) {}

Error::Error(ArchiveError code, std::filesystem::path path, int errnum)
    : Error(Domain::archive, static_cast<int>(code), std::move(path), errnum) {}

Error::Error(DataError code, std::filesystem::path path, int errnum)
    : Error(Domain::data, static_cast<int>(code), std::move(path), errnum) {}

Error::Error(CompressionError code)
    : Error(Domain::compression, static_cast<int>(code), {}, 0) {}

Error::Error(EntryError code, std::filesystem::path path)
    : Error(Domain::entry, static_cast<int>(code), std::move(path), 0) {}

Error::Error(FileError code, std::filesystem::path path, int errnum)
    : Error(Domain::file, static_cast<int>(code), std::move(path), errnum) {}

Error Error::posix(int errnum, const std::filesystem::path& path) {
    return Error(FileError::posix, path, errnum);
}

QString Error::caseName() const {
    switch (m_domain) {
    case Domain::archive:
        return QStringLiteral("ArchiveError.") + QLatin1String(archiveCaseName(m_code));
    case Domain::data:
        return m_code == static_cast<int>(DataError::unreadableFile)
                   ? QStringLiteral("DataError.unreadableFile")
                   : QStringLiteral("DataError.unwritableFile");
    case Domain::compression:
        return m_code == static_cast<int>(CompressionError::invalidStream)
                   ? QStringLiteral("CompressionError.invalidStream")
                   : QStringLiteral("CompressionError.corruptedData");
    case Domain::entry:
        return m_code == static_cast<int>(EntryError::missingPermissionsAttributeError)
                   ? QStringLiteral("EntryError.missingPermissionsAttributeError")
                   : QStringLiteral("EntryError.missingModificationDateAttributeError");
    case Domain::file:
        switch (static_cast<FileError>(m_code)) {
        case FileError::fileReadNoSuchFile:
            return QStringLiteral("CocoaError.fileReadNoSuchFile");
        case FileError::fileWriteFileExists:
            return QStringLiteral("CocoaError.fileWriteFileExists");
        case FileError::fileReadNoPermission:
            return QStringLiteral("CocoaError.fileReadNoPermission");
        case FileError::fileReadTooLarge:
            return QStringLiteral("CocoaError.fileReadTooLarge");
        case FileError::posix:
            return QStringLiteral("POSIXError(%1)").arg(m_errno);
        }
    }
    return {};
}

QString Error::localizedDescription() const {
    const QString name = quoted(m_path);
    const QString parent = quoted(m_path.parent_path());
    if (m_domain == Domain::file) {
        switch (static_cast<FileError>(m_code)) {
        case FileError::fileReadNoSuchFile:
            return QStringLiteral("The file %1 couldn’t be opened because there is no such file.")
                .arg(name);
        case FileError::fileWriteFileExists:
            return QStringLiteral("The file %1 couldn’t be saved in the folder %2 because a file "
                                  "with the same name already exists.")
                .arg(name, parent);
        case FileError::fileReadNoPermission:
            return QStringLiteral("The file %1 couldn’t be opened because you don’t have "
                                  "permission to view it.")
                .arg(name);
        case FileError::fileReadTooLarge:
            return QStringLiteral("The file %1 couldn’t be opened because it is too large.")
                .arg(name);
        case FileError::posix:
            return QStringLiteral("The operation on %1 couldn’t be completed. %2")
                .arg(name, QString::fromLocal8Bit(std::strerror(m_errno)));
        }
    }
    QString text = QStringLiteral("The operation couldn’t be completed. (%1)").arg(caseName());
    if (!m_path.empty()) {
        text += QStringLiteral(" File: %1.").arg(name);
    }
    if (m_errno != 0) {
        text += QStringLiteral(" %1").arg(QString::fromLocal8Bit(std::strerror(m_errno)));
    }
    return text;
}

} // namespace corvina::zip
