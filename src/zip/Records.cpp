#include "zip/Records.h"

#include "zip/Error.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <sys/stat.h>

namespace corvina::zip {

// ---------------------------------------------------------------- entry

QString Entry::entryPath() const {
    const auto& name = centralDirectoryStructure.fileNameData;
    if ((centralDirectoryStructure.generalPurposeBitFlag & 0x0800) != 0) {
        return decodeUtf8OrEmpty(name);
    }
    return decodeCodePage437(name);
}

EntryType Entry::entryType() const {
    const CentralDirectoryStructure& c = centralDirectoryStructure;
    const QString path = entryPath();
    const EntryType byPath =
        path.endsWith(QLatin1Char('/')) ? EntryType::directory : EntryType::file;
    switch (c.versionMadeBy >> 8) {
    case 3:
    case 19:
        switch ((c.externalFileAttributes >> 16) & S_IFMT) {
        case S_IFREG:
            return EntryType::file;
        case S_IFDIR:
            return EntryType::directory;
        case S_IFLNK:
            return EntryType::symlink;
        default:
            return byPath;
        }
    case 0:
        // Only attribute values 0x10...0x1F count as a directory: a folder
        // with the archive bit set is a file unless its path ends in "/".
        return (byPath == EntryType::directory || (c.externalFileAttributes >> 4) == 1)
                   ? EntryType::directory
                   : EntryType::file;
    default:
        return byPath;
    }
}

uint32_t Entry::entryChecksum() const {
    if (usesDataDescriptorFlag()) {
        if (zip64DataDescriptor) {
            return zip64DataDescriptor->crc32;
        }
        return dataDescriptor ? dataDescriptor->crc32 : 0;
    }
    return centralDirectoryStructure.crc32;
}

uint64_t Entry::entryUncompressedSize() const {
    if (isZip64Entry()) {
        return zip64DataDescriptor ? zip64DataDescriptor->uncompressedSize
                                   : centralDirectoryStructure.effectiveUncompressedSize();
    }
    return dataDescriptor ? dataDescriptor->uncompressedSize
                          : centralDirectoryStructure.uncompressedSize;
}

uint64_t Entry::entryCompressedSize() const {
    if (isZip64Entry()) {
        return zip64DataDescriptor ? zip64DataDescriptor->compressedSize
                                   : centralDirectoryStructure.effectiveCompressedSize();
    }
    return dataDescriptor ? dataDescriptor->compressedSize
                          : centralDirectoryStructure.compressedSize;
}

uint64_t Entry::entryDataOffset() const {
    uint64_t offset = 0;
    const uint64_t headerLength = LocalFileHeader::fixedSize +
                                  uint64_t{localFileHeader.fileNameLength} +
                                  localFileHeader.extraFieldLength;
    if (__builtin_add_overflow(centralDirectoryStructure.effectiveLocalHeaderOffset(), headerLength,
                               &offset) ||
        offset > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        throw Error(ArchiveError::invalidLocalHeaderDataOffset);
    }
    return offset;
}

uint16_t Entry::entryPermissions() const {
    const EntryType type = entryType();
    const uint16_t fallback =
        type == EntryType::directory ? defaultDirectoryPermissions : defaultFilePermissions;
    const int host = centralDirectoryStructure.versionMadeBy >> 8;
    if (host != 3 && host != 19) {
        return fallback;
    }
    const auto permissions =
        static_cast<uint16_t>((centralDirectoryStructure.externalFileAttributes >> 16) & ~S_IFMT);
    return permissions == 0 ? fallback : permissions;
}

int64_t Entry::entryModificationDate() const {
    return dateFromMsdos(centralDirectoryStructure.lastModFileTime,
                         centralDirectoryStructure.lastModFileDate);
}

bool Entry::operator==(const Entry& other) const {
    return entryPath() == other.entryPath() &&
           localFileHeader.crc32 == other.localFileHeader.crc32 &&
           centralDirectoryStructure.effectiveLocalHeaderOffset() ==
               other.centralDirectoryStructure.effectiveLocalHeaderOffset();
}

// ---------------------------------------------------------------- helpers

void msdosDateTime(double secondsSince1970, uint16_t& time, uint16_t& date) {
    // Callers pass times from lstat; anything else is a programming error.
    if (!std::isfinite(secondsSince1970) || secondsSince1970 >= 9.2233720368547758e18 ||
        secondsSince1970 <= -9.2233720368547758e18) {
        std::abort();
    }
    const auto seconds = static_cast<std::time_t>(std::trunc(secondsSince1970));
    std::tm tm{};
    if (gmtime_r(&seconds, &tm) == nullptr) {
        time = 0;
        date = 0;
        return;
    }
    const int year = std::clamp(tm.tm_year + 1900, 1980, 2099);
    date = static_cast<uint16_t>(tm.tm_mday + ((tm.tm_mon + 1) << 5) + ((year - 1980) << 9));
    time = static_cast<uint16_t>(tm.tm_sec / 2 + (tm.tm_min << 5) + (tm.tm_hour << 11));
}

int64_t dateFromMsdos(uint16_t time, uint16_t date) {
    std::tm tm{};
    tm.tm_sec = (time & 31) * 2;
    tm.tm_min = (time >> 5) & 63;
    tm.tm_hour = (time >> 11) & 31;
    tm.tm_mday = date & 31;
    tm.tm_mon = ((date >> 5) & 15) - 1;
    tm.tm_year = ((date >> 9) & 127) + 80;
    return static_cast<int64_t>(timegm(&tm));
}

uint32_t externalFileAttributes(EntryType type, uint16_t permissions) {
    uint32_t typeBits = S_IFREG;
    if (type == EntryType::directory) {
        typeBits = S_IFDIR;
    } else if (type == EntryType::symlink) {
        typeBits = S_IFLNK;
    }
    return ((typeBits | permissions) & 0xFFFF) << 16;
}

QString decodeCodePage437(std::span<const uint8_t> bytes) {
    // Upper half of code page 437 as published (IBM PC character set).
    static constexpr std::array<char16_t, 128> upper = {
        0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, // 80
        0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5, // 88
        0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, // 90
        0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, // 98
        0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA, // A0
        0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, // A8
        0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556, // B0
        0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, // B8
        0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, // C0
        0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567, // C8
        0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, // D0
        0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580, // D8
        0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4, // E0
        0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, // E8
        0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248, // F0
        0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0, // F8
    };
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    for (uint8_t byte : bytes) {
        text.append(QChar(byte < 0x80 ? char16_t{byte} : upper[byte - 0x80]));
    }
    return text;
}

QString decodeUtf8OrEmpty(std::span<const uint8_t> bytes) {
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom |
                                                       QStringConverter::Flag::Stateless);
    QString text =
        decoder.decode(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return decoder.hasError() ? QString() : text;
}

} // namespace corvina::zip
