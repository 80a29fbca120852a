// Record parsing and the derived entry values: what a reader concludes from
// the bytes of foreign and damaged records.

#include "ZipTestSupport.h"
#include "zip/Archive.h"
#include "zip/Crc32.h"

#include <QTemporaryDir>
#include <QtTest>

#include <numeric>
#include <random>

#include <zlib.h>

using namespace corvina::zip;
using namespace corvina::zip::test;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;
using Field = ZIP64ExtendedInformation::Field;

namespace {

/// Bytes from hex written in groups; fromHex skips the spaces.
std::vector<uint8_t> bytesOf(const QByteArray& hex) {
    const QByteArray raw = QByteArray::fromHex(hex);
    return {raw.begin(), raw.end()};
}

Entry entryOf(uint16_t versionMadeBy, uint32_t attributes, const std::string& path) {
    Entry entry{};
    CentralDirectoryStructure& c = entry.centralDirectoryStructure;
    c.versionMadeBy = versionMadeBy;
    c.externalFileAttributes = attributes;
    c.fileNameData.assign(path.begin(), path.end());
    c.fileNameLength = uint16_t(path.size());
    return entry;
}

/// Serves the bytes after a record's fixed part as a file would: short at
/// the end.
DataProvider restAfterFixedPart(std::vector<uint8_t> bytes) {
    return [bytes, served = CentralDirectoryStructure::fixedSize](
               std::size_t count) mutable -> std::optional<std::vector<uint8_t>> {
        const std::size_t n = std::min(count, bytes.size() - served);
        std::vector<uint8_t> out(bytes.begin() + long(served), bytes.begin() + long(served + n));
        served += n;
        return out;
    };
}

} // namespace

class Records : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void zip64ItemScan_data() {
        QTest::addColumn<QByteArray>("extra");
        QTest::addColumn<QList<int>>("fields");
        QTest::addColumn<bool>("found");
        QTest::addColumn<quint64>("uncompressed");
        QTest::addColumn<quint64>("offset");
        const QList<int> sizes = {int(Field::uncompressedSize), int(Field::compressedSize)};
        QTest::newRow("empty") << QByteArray() << sizes << false << 0ull << 0ull;
        QTest::newRow("after another item")
            << QByteArray("5455 0500 01020304aa 0100 0800 0700000000000000")
            << QList<int>{int(Field::relativeOffsetOfLocalHeader)} << true << 0ull << 7ull;
        QTest::newRow("size fits no expected list")
            << QByteArray("0100 0800 0500000000000000") << sizes << false << 0ull << 0ull;
        QTest::newRow("item runs past the end")
            << QByteArray("0100 1000 0500000000000000") << sizes << false << 0ull << 0ull;
    }

    void zip64ItemScan() {
        QFETCH(QByteArray, extra);
        QFETCH(QList<int>, fields);
        QFETCH(bool, found);
        QFETCH(quint64, uncompressed);
        QFETCH(quint64, offset);
        std::vector<Field> wanted;
        for (int f : fields) {
            wanted.push_back(Field(f));
        }
        const auto info = ZIP64ExtendedInformation::scan(bytesOf(extra), wanted);
        QCOMPARE(info.has_value(), found);
        if (info) {
            QCOMPARE(info->uncompressedSize, uncompressed);
            QCOMPARE(info->relativeOffsetOfLocalHeader, offset);
        }
    }

    void dataDescriptorWithOrWithoutSignature_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("zip64");
        QTest::addColumn<bool>("parsed");
        QTest::addColumn<uint>("crc");
        QTest::addColumn<quint64>("uncompressed");
        QTest::newRow("plain, signature") << QByteArray("504b0708 11111111 02000000 03000000")
                                          << false << true << 0x11111111u << 3ull;
        QTest::newRow("plain, no signature, 4 bytes of what follows")
            << QByteArray("11111111 02000000 03000000 504b0304") << false << true << 0x11111111u
            << 3ull;
        QTest::newRow("zip64, signature")
            << QByteArray("504b0708 22222222 0200000000000000 0300000001000000") << true << true
            << 0x22222222u << 0x100000003ull;
        QTest::newRow("wrong length")
            << QByteArray("504b0708 11111111 02000000") << false << false << 0u << 0ull;
    }

    void dataDescriptorWithOrWithoutSignature() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, zip64);
        QFETCH(bool, parsed);
        QFETCH(uint, crc);
        QFETCH(quint64, uncompressed);
        std::optional<ZIP64DataDescriptor> d;
        if (zip64) {
            d = ZIP64DataDescriptor::parse(bytesOf(bytes));
        } else if (const auto plain = DataDescriptor::parse(bytesOf(bytes))) {
            d = ZIP64DataDescriptor{
                {}, 0, plain->crc32, plain->compressedSize, plain->uncompressedSize};
        }
        QCOMPARE(d.has_value(), parsed);
        if (d) {
            QCOMPARE(d->crc32, crc);
            QCOMPARE(d->uncompressedSize, uncompressed);
        }
    }

    void msdosDateIsUtcAndClamped_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("expected"); // UTC, as read back
        QTest::newRow("plain date, odd second rounds down")
            << 1'000'000'001.9 << "2001-09-09T01:46:40";
        QTest::newRow("before 1980 keeps month and day") << 100.0 << "1980-01-01T00:01:40";
        QTest::newRow("summer day before 1980") << 200'000'000.0 << "1980-05-03T19:33:20";
        QTest::newRow("after 2099") << 4'200'000'000.0 << "2099-02-04T02:40:00";
        QTest::newRow("negative, truncated toward zero") << -0.5 << "1980-01-01T00:00:00";
    }

    void msdosDateIsUtcAndClamped() {
        QFETCH(double, seconds);
        QFETCH(QString, expected);
        uint16_t time = 0;
        uint16_t date = 0;
        msdosDateTime(seconds, time, date);
        const QDateTime read =
            QDateTime::fromSecsSinceEpoch(dateFromMsdos(time, date), QTimeZone::utc());
        QCOMPARE(read.toString(u"yyyy-MM-ddTHH:mm:ss"_s), expected);
    }

    void codePage437MatchesPublishedTable() {
        // Python's cp437 codec carries the published mapping.
        const ProcessResult table = run(
            u"python3"_s,
            {u"-c"_s, QStringLiteral(
                          "import sys; "
                          "sys.stdout.buffer.write(bytes(range(256)).decode('cp437').encode())")});
        QCOMPARE(table.exitCode, 0);
        std::vector<uint8_t> all(256);
        std::iota(all.begin(), all.end(), 0);
        QCOMPARE(decodeCodePage437(all), QString::fromUtf8(table.output));

        // The same bytes give another path when bit 11 is clear.
        Entry entry = entryOf(0x0314, 0,
                              "Gr\xc3\xbc\xc3\x9f"
                              "e");
        entry.centralDirectoryStructure.generalPurposeBitFlag = 0x0800;
        QCOMPARE(entry.entryPath(), u"Grüße"_s);
        entry.centralDirectoryStructure.generalPurposeBitFlag = 0;
        QCOMPARE(entry.entryPath(), u"Gr├╝├ƒe"_s);
        entry.centralDirectoryStructure.generalPurposeBitFlag = 0x0800;
        entry.centralDirectoryStructure.fileNameData = {'a', 0xFF, 'b'};
        QCOMPARE(entry.entryPath(), QString());
    }

    void entryTypeAndPermissions_data() {
        QTest::addColumn<int>("versionMadeBy");
        QTest::addColumn<uint>("attributes");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("permissions");
        const auto unix = [](uint mode) { return mode << 16; };
        const int file = int(EntryType::file);
        const int folder = int(EntryType::directory);
        QTest::newRow("Unix file with set-user-ID")
            << 0x0314 << unix(0104755) << "a" << file << 04755;
        QTest::newRow("Unix sticky folder") << 0x0314 << unix(041777) << "d" << folder << 01777;
        QTest::newRow("Unix link")
            << 0x0314 << unix(0120777) << "l" << int(EntryType::symlink) << 0777;
        QTest::newRow("macOS made file") << 0x1314 << unix(0100600) << "f/" << file << 0600;
        QTest::newRow("Unix file without permissions")
            << 0x0315 << unix(0100000) << "f" << file << 0644;
        QTest::newRow("Unix folder without permissions")
            << 0x0315 << unix(040000) << "d/" << folder << 0755;
        QTest::newRow("Unix, no type bits, path rule")
            << 0x0314 << unix(0640) << "d/" << folder << 0640;
        QTest::newRow("MS-DOS folder with archive bit is a file")
            << 0x0014 << 0x30u << "d" << file << 0644;
        QTest::newRow("MS-DOS path with slash") << 0x0014 << 0x20u << "d/" << folder << 0755;
        QTest::newRow("NTFS host, path rule") << 0x0A14 << unix(0120777) << "x" << file << 0644;
    }

    void entryTypeAndPermissions() {
        QFETCH(int, versionMadeBy);
        QFETCH(uint, attributes);
        QFETCH(QString, path);
        QFETCH(int, type);
        QFETCH(int, permissions);
        const Entry entry = entryOf(uint16_t(versionMadeBy), attributes, path.toStdString());
        QCOMPARE(int(entry.entryType()), type);
        QCOMPARE(int(entry.entryPermissions()), permissions);
    }

    void shortVariablePartParsesToNothing() {
        CentralDirectoryStructure c = entryOf(0x0314, 0, "name.txt").centralDirectoryStructure;
        c.fileCommentLength = 4;
        const auto bytes = c.encode(); // 46 + 8, the comment's 4 bytes missing
        const std::span<const uint8_t> fixed(bytes.data(), CentralDirectoryStructure::fixedSize);
        QVERIFY(!CentralDirectoryStructure::parse(fixed, restAfterFixedPart(bytes)));
        QVERIFY(!CentralDirectoryStructure::parse(fixed.first(45), restAfterFixedPart(bytes)));
        QVERIFY(!LocalFileHeader::parse(fixed.first(30), restAfterFixedPart(bytes))); // signature
    }

    void writtenRecordsRoundTrip_data() {
        QTest::addColumn<quint64>("size");
        QTest::addColumn<quint64>("offset");
        QTest::addColumn<int>("localExtra");
        QTest::addColumn<int>("centralExtra");
        QTest::newRow("plain") << 1000ull << 5000ull << 0 << 0;
        QTest::newRow("size one below the ZIP64 limit") << 0xFFFFFFFEull << 0ull << 0 << 0;
        QTest::newRow("size at the ZIP64 limit") << 0xFFFFFFFFull << 0ull << 20 << 20;
        QTest::newRow("offset one below the ZIP64 limit") << 10ull << 0xFFFFFFFEull << 0 << 0;
        QTest::newRow("offset at the ZIP64 limit") << 10ull << 0xFFFFFFFFull << 0 << 12;
        QTest::newRow("offset beyond 4 GiB") << 10ull << 0x100000000ull << 0 << 12;
        QTest::newRow("both") << 0x200000000ull << 0x100000000ull << 20 << 28;
    }

    void writtenRecordsRoundTrip() {
        QFETCH(quint64, size);
        QFETCH(quint64, offset);
        QFETCH(int, localExtra);
        QFETCH(int, centralExtra);
        const auto local =
            LocalFileHeader::make("Data/x", CompressionMethod::none, 1, 0x21, 7, size, size);
        QCOMPARE(int(local.extraFieldLength), localExtra);
        QCOMPARE(local.versionNeededToExtract, uint16_t(localExtra ? 45 : 20));
        const auto central = CentralDirectoryStructure::make(
            local, externalFileAttributes(EntryType::file, 0100644), offset);
        QCOMPARE(int(central.extraFieldLength), centralExtra);
        QCOMPARE(central.externalFileAttributes, 0100644u << 16);

        const auto encoded = central.encode();
        const auto parsed = CentralDirectoryStructure::parse(std::span(encoded).first(46),
                                                             restAfterFixedPart(encoded));
        QVERIFY(parsed);
        QCOMPARE(parsed->effectiveUncompressedSize(), size);
        QCOMPARE(parsed->effectiveCompressedSize(), size);
        QCOMPARE(parsed->effectiveLocalHeaderOffset(), offset);
        QVERIFY(parsed->encode() == encoded);
    }

    void crc32MatchesZlibAtEveryLengthAndAlignment() {
        // The folded path takes whole 16-byte blocks from 64 bytes on and
        // leaves the rest to zlib: every length around those steps, at every
        // alignment, continuing from a running value.
        std::mt19937 random(7);
        std::vector<uint8_t> bytes(4096 + 16);
        for (uint8_t& b : bytes) {
            b = uint8_t(random());
        }
        for (std::size_t offset = 0; offset < 16; ++offset) {
            for (std::size_t length :
                 {0, 1, 15, 16, 63, 64, 65, 79, 80, 127, 128, 129, 200, 4096}) {
                const uint32_t start = random();
                QCOMPARE(fastCrc32(start, {bytes.data() + offset, length}),
                         uint32_t(crc32_z(start, bytes.data() + offset, length)));
            }
        }
    }

    // Each ZIP64 switch of the end records at its limit and one below.
    void endRecordsSwitchToZip64AtEachLimit_data() {
        QTest::addColumn<quint64>("entriesBefore");
        QTest::addColumn<quint64>("directorySize"); // after the append
        QTest::addColumn<quint64>("directoryOffset");
        QTest::addColumn<bool>("zip64");
        QTest::newRow("65,534 entries") << 65'533ull << 100ull << 0ull << false;
        QTest::newRow("65,535 entries") << 65'534ull << 100ull << 0ull << true;
        QTest::newRow("directory of 2^32 - 2 bytes") << 1ull << 0xFFFFFFFEull << 0ull << false;
        QTest::newRow("directory of 2^32 - 1 bytes") << 1ull << 0xFFFFFFFFull << 0ull << true;
        QTest::newRow("directory at 2^32 - 2") << 1ull << 100ull << 0xFFFFFFFEull << false;
        QTest::newRow("directory at 2^32 - 1") << 1ull << 100ull << 0xFFFFFFFFull << true;
    }
    void endRecordsSwitchToZip64AtEachLimit() {
        QFETCH(quint64, entriesBefore);
        QFETCH(quint64, directorySize);
        QFETCH(quint64, directoryOffset);
        QFETCH(bool, zip64);
        constexpr uint64_t recordSize = 50;
        EndRecords before;
        before.endOfCentralDirectoryRecord.totalNumberOfEntriesOnDisk = uint16_t(entriesBefore);
        before.endOfCentralDirectoryRecord.totalNumberOfEntriesInCentralDirectory =
            uint16_t(entriesBefore);
        before.endOfCentralDirectoryRecord.sizeOfCentralDirectory =
            uint32_t(directorySize - recordSize);
        const EndRecords after = before.afterAppend(recordSize, directoryOffset, 1ull << 40);
        QCOMPARE(after.zip64EndOfCentralDirectory.has_value(), zip64);
        QCOMPARE(after.totalNumberOfEntries(), entriesBefore + 1);
        QCOMPARE(after.sizeOfCentralDirectory(), directorySize);
        QCOMPARE(after.offsetToStartOfCentralDirectory(), directoryOffset);
        const auto& plain = after.endOfCentralDirectoryRecord;
        QCOMPARE(plain.totalNumberOfEntriesInCentralDirectory == 0xFFFF,
                 entriesBefore + 1 >= 0xFFFF);
        QCOMPARE(plain.sizeOfCentralDirectory == 0xFFFFFFFF, directorySize >= 0xFFFFFFFF);
    }

    void entryPathMustBeUtf8_data() {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<bool>("valid");
        QTest::newRow("umlauts") << QByteArray("Data/Gr\xc3\xbc\xc3\x9f"
                                               "e")
                                 << true;
        QTest::newRow("Latin-1 byte") << QByteArray("Gr\xfc\xdf"
                                                    "e")
                                      << false;
        QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << false;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << false;
    }

    void entryPathMustBeUtf8() {
        QFETCH(QByteArray, path);
        QFETCH(bool, valid);
        QTemporaryDir dir;
        const fs::path zip = fs::path(dir.path().toStdString()) / "names.zip";
        Archive archive(zip, AccessMode::create);
        const auto error = errorFrom([&] {
            archive.appendEntry(path.toStdString(), EntryType::file, 0, 0, std::nullopt,
                                CompressionMethod::none, defaultChunkSize, nullptr,
                                [](int64_t, int64_t) { return std::vector<uint8_t>(); });
        });
        QCOMPARE(error.has_value(), !valid);
        if (error) {
            QVERIFY(error->is(ArchiveError::invalidEntryPath));
            QCOMPARE(readAll(zip).size(), 22); // nothing written
        }
    }
};

QTEST_GUILESS_MAIN(Records)
#include "tst_records.moc"
