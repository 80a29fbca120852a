// Archives made by other tools read and extract to what went in; damaged or
// lying archives end quickly with the short or failed result, never a hang.

#include "ZipTestSupport.h"
#include "zip/Archive.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace corvina::zip;
using namespace corvina::zip::test;
namespace fs = std::filesystem;

namespace {

const char* const pythonStreamWriter = R"(
import sys, zipfile
out = zipfile.ZipFile(sys.stdout.buffer, 'w', zipfile.ZIP_DEFLATED)
for name in sys.argv[1:]:
    with open(name, 'rb') as f:
        data = f.read()
    with out.open(name, 'w') as entry:
        entry.write(data)
out.close()
)";

const char* const pythonZip64Writer = R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as out:
    for name in sys.argv[2:]:
        with open(name, 'rb') as f:
            data = f.read()
        with out.open(name, 'w', force_zip64=True) as entry:
            entry.write(data)
)";

QByteArray bytesOf(std::span<const uint8_t> bytes) {
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
}

/// Reads a whole entry through readEntry.
QByteArray readWhole(Archive& archive, const Entry& entry, uint32_t* crc = nullptr) {
    QByteArray all;
    const uint32_t value =
        archive.readEntry(entry, defaultChunkSize, false, nullptr,
                          [&](std::span<const uint8_t> chunk) { all += bytesOf(chunk); });
    if (crc != nullptr) {
        *crc = value;
    }
    return all;
}

std::vector<Entry> entriesOf(Archive& archive) {
    std::vector<Entry> entries;
    for (const Entry& entry : archive.entrySequence()) {
        entries.push_back(entry);
    }
    return entries;
}

} // namespace

class ReadForeign : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void foreignArchivesExtractToTheirSource_data();
    void foreignArchivesExtractToTheirSource();
    void endRecordSearch_data();
    void endRecordSearch();
    void lyingSizesEndWithShortResult_data();
    void lyingSizesEndWithShortResult();
    void walkEndsAtEncryptedOrMissingRecord();
    void compressionMethodOnlyMattersForFiles();
    void damagedDeflateDataFails();

private:
    fs::path archivePath(const char* name) const {
        return fs::path(m_dir.path().toStdString()) / name;
    }
    QTemporaryDir m_dir;
    fs::path m_source;
};

void ReadForeign::initTestCase() {
    const fs::path root = m_dir.path().toStdString();
    m_source = root / "Data";
    writeFile(m_source / "text.txt", QByteArray("Corvina ").repeated(5000));
    writeFile(m_source / "random.bin", patternBytes(70'000, 9));
    writeFile(m_source / "empty.txt", {});
    writeFile(m_source / "Ordner" / "innen.txt", "innen");
    fs::create_symlink("text.txt", m_source / "verweis");
    QVERIFY(QDir::setCurrent(QString::fromStdString(root.string())));
}

void ReadForeign::foreignArchivesExtractToTheirSource_data() {
    QTest::addColumn<QString>("maker");
    QTest::addColumn<QStringList>("arguments");
    const QStringList files = {"Data/text.txt", "Data/random.bin", "Data/empty.txt",
                               "Data/Ordner/innen.txt"};
    QTest::newRow("Info-ZIP deflate, links kept")
        << "zip" << QStringList{"-q", "-r", "-y", "infozip.zip", "Data"};
    QTest::newRow("Info-ZIP stored")
        << "zip" << QStringList{"-q", "-r", "-0", "-y", "stored.zip", "Data"};
    QTest::newRow("Python stream, data descriptors") << "python-stream" << files;
    QTest::newRow("Python ZIP64 extra fields")
        << "python3" << (QStringList{"-c", pythonZip64Writer, "zip64.zip"} + files);
    QTest::newRow("bsdtar deflate")
        << "bsdtar" << QStringList{"--format", "zip", "-cf", "bsdtar.zip", "Data"};
    QTest::newRow("bsdtar stored")
        << "bsdtar" << QStringList{"--format", "zip",         "--options", "zip:compression=store",
                                   "-cf",      "bsdtar0.zip", "Data"};
}

void ReadForeign::foreignArchivesExtractToTheirSource() {
    QFETCH(QString, maker);
    QFETCH(QStringList, arguments);
    fs::path zip;
    if (maker == QLatin1String("python-stream")) {
        // Written to a pipe, so Python cannot seek back and uses descriptors.
        const QStringList shell = {QStringLiteral("-c"),
                                   QStringLiteral("python3 -c \"$0\" \"$@\" | cat > stream.zip"),
                                   QString::fromLatin1(pythonStreamWriter)};
        const ProcessResult made = run(QStringLiteral("sh"), shell + arguments);
        QVERIFY2(made.exitCode == 0, made.output.constData());
        zip = archivePath("stream.zip");
    } else {
        const ProcessResult made = run(maker, arguments);
        QVERIFY2(made.exitCode == 0, made.output.constData());
        for (const QString& argument : arguments) {
            if (argument.endsWith(QLatin1String(".zip"))) {
                zip = archivePath(argument.toLatin1().constData());
            }
        }
    }
    Archive archive(zip, AccessMode::read);
    const fs::path out = archivePath((QTest::currentDataTag() + std::string(" out")).c_str());
    int files = 0;
    for (const Entry& entry : archive.entrySequence()) {
        const std::string path = entry.entryPath().toStdString();
        QVERIFY2(path.rfind("Data", 0) == 0, path.c_str());
        const uint32_t crc = archive.extractEntry(entry, out / path, defaultChunkSize, false, true);
        switch (entry.entryType()) {
        case EntryType::file:
            ++files;
            if (maker == QLatin1String("python-stream")) {
                QVERIFY(entry.usesDataDescriptorFlag() && entry.dataDescriptor);
            }
            if (arguments.contains(QStringLiteral("zip64.zip"))) {
                QVERIFY(entry.isZip64Entry());
            }
            QCOMPARE(readAll(out / path), readAll(path));
            QCOMPARE(crc, entry.entryChecksum());
            QCOMPARE(entry.entryUncompressedSize(), uint64_t(fs::file_size(path)));
            break;
        case EntryType::symlink:
            QCOMPARE(fs::read_symlink(out / path), fs::read_symlink(path));
            break;
        case EntryType::directory:
            QVERIFY(fs::is_directory(out / path));
            break;
        }
    }
    QCOMPARE(files, 4);
}

void ReadForeign::endRecordSearch_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("entries"); // -1: opening fails
    const QByteArray empty = QByteArray::fromHex("504b0506") + QByteArray(18, '\0');
    const QByteArray one = craftArchive({{"a.txt", "abc"}});
    QByteArray lyingComment = one;
    lyingComment[lyingComment.size() - 2] = 5; // comment of 5 bytes, none there
    QByteArray strayInComment = one;
    strayInComment[strayInComment.size() - 2] = 30;
    strayInComment += QByteArray::fromHex("504b0506") + QByteArray(26, 'x');

    QTest::newRow("empty end record of 22 bytes") << empty << 0;
    QTest::newRow("21 bytes") << empty.left(21) << -1;
    QTest::newRow("0 bytes") << QByteArray() << -1;
    QTest::newRow("one entry") << one << 1;
    QTest::newRow("trailing bytes after the end record") << one + QByteArray(70'000, 'z') << 1;
    QTest::newRow("comment length past the end") << lyingComment << -1;
    QTest::newRow("stray signature in the comment, no second try") << strayInComment << -1;
    QTest::newRow("3 MiB without a record") << QByteArray(3 << 20, '\0') << -1;
    // The backward scan reads 64 KiB blocks; these put the signature on and
    // across a block edge.
    QTest::newRow("signature at a block edge") << one + QByteArray(65'536, 'z') << 1;
    QTest::newRow("signature across a block edge") << one + QByteArray(65'538, 'z') << 1;
}

void ReadForeign::endRecordSearch() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, entries);
    const fs::path zip = archivePath("end-record.zip");
    fs::remove(zip);
    writeFile(zip, bytes);
    try {
        Archive archive(zip, AccessMode::read);
        QCOMPARE(int(entriesOf(archive).size()), entries);
    } catch (const Error& error) {
        QVERIFY2(entries == -1, qPrintable(error.localizedDescription()));
        QVERIFY(error.is(ArchiveError::missingEndOfCentralDirectoryRecord));
    }
}

void ReadForeign::lyingSizesEndWithShortResult_data() {
    QTest::addColumn<int>("method");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("fails");
    QTest::newRow("stored file of 2^60 bytes") << 0 << int(EntryType::file) << false;
    QTest::newRow("deflated file of 2^60 bytes") << 8 << int(EntryType::file) << true;
    QTest::newRow("link target of 4 GiB") << 0 << int(EntryType::symlink) << false;
}

void ReadForeign::lyingSizesEndWithShortResult() {
    QFETCH(int, method);
    QFETCH(int, type);
    QFETCH(bool, fails);
    const QByteArray data = patternBytes(1024, 3);
    CraftedEntry entry{"liar", data, static_cast<EntryType>(type)};
    entry.editLocal = [&](LocalFileHeader& local) {
        local.compressionMethod = uint16_t(method);
        local.compressedSize = 0xFFFFFFF0;
    };
    entry.editCentral = [](CentralDirectoryStructure& central) {
        ZIP64ExtendedInformation info;
        info.dataSize = 16;
        info.uncompressedSize = uint64_t{1} << 60;
        info.compressedSize = uint64_t{1} << 60;
        central.extraFieldData = info.encode();
        central.extraFieldLength = 20;
        central.uncompressedSize = 0xFFFFFFFF;
        central.compressedSize = 0xFFFFFFFF;
    };
    const QByteArray bytes = craftArchive({entry});
    const fs::path zip = archivePath("liar.zip");
    fs::remove(zip);
    writeFile(zip, bytes);
    Archive archive(zip, AccessMode::read);
    const std::vector<Entry> entries = entriesOf(archive);
    QCOMPARE(entries.size(), std::size_t{1});
    QCOMPARE(entries[0].entryUncompressedSize(), uint64_t{1} << 60);
    try {
        const QByteArray delivered = readWhole(archive, entries[0]);
        QVERIFY(!fails);
        // Everything from the data to the end of the file, then the end.
        QCOMPARE(delivered.size(), bytes.size() - qsizetype(entries[0].entryDataOffset()));
        QVERIFY(delivered.startsWith(data));
    } catch (const Error& error) {
        QVERIFY2(fails, qPrintable(error.localizedDescription()));
        QVERIFY(error.is(CompressionError::corruptedData));
    }
}

void ReadForeign::walkEndsAtEncryptedOrMissingRecord() {
    CraftedEntry encrypted{"zwei.txt", "2"};
    encrypted.editCentral = [](CentralDirectoryStructure& c) { c.generalPurposeBitFlag |= 1; };
    QByteArray bytes = craftArchive({{"eins.txt", "1"}, encrypted, {"drei.txt", "3"}});
    const fs::path zip = archivePath("walk.zip");
    fs::remove(zip);
    writeFile(zip, bytes);
    {
        Archive archive(zip, AccessMode::read);
        const auto entries = entriesOf(archive);
        QCOMPARE(entries.size(), std::size_t{1});
        QCOMPARE(entries[0].entryPath(), QStringLiteral("eins.txt"));
    }
    // A count beyond the real records: the walk ends at the first gap.
    bytes = craftArchive({{"eins.txt", "1"}, {"zwei.txt", "2"}});
    bytes[bytes.size() - 12] = 9;
    bytes[bytes.size() - 14] = 9;
    fs::remove(zip);
    writeFile(zip, bytes);
    Archive archive(zip, AccessMode::read);
    QCOMPARE(entriesOf(archive).size(), std::size_t{2});
}

void ReadForeign::compressionMethodOnlyMattersForFiles() {
    const auto method12 = [](LocalFileHeader& local) { local.compressionMethod = 12; };
    const QByteArray bytes = craftArchive({{"file", "inhalt", EntryType::file, 0644, method12},
                                           {"link", "ziel", EntryType::symlink, 0777, method12}});
    const fs::path zip = archivePath("method12.zip");
    writeFile(zip, bytes);
    Archive archive(zip, AccessMode::read);
    const auto entries = entriesOf(archive);
    QCOMPARE(entries.size(), std::size_t{2});
    try {
        readWhole(archive, entries[0]);
        QFAIL("method 12 on a file must fail");
    } catch (const Error& error) {
        QVERIFY(error.is(ArchiveError::invalidCompressionMethod));
    }
    uint32_t crc = 0;
    QCOMPARE(readWhole(archive, entries[1], &crc), QByteArray("ziel"));
    QCOMPARE(crc, entries[1].entryChecksum());
}

void ReadForeign::damagedDeflateDataFails() {
    CraftedEntry entry{"kaputt", QByteArray(64, '\xff')};
    entry.editLocal = [](LocalFileHeader& local) { local.compressionMethod = 8; };
    const fs::path zip = archivePath("damaged.zip");
    writeFile(zip, craftArchive({entry}));
    Archive archive(zip, AccessMode::read);
    const auto entries = entriesOf(archive);
    QCOMPARE(entries.size(), std::size_t{1});
    try {
        archive.extractEntry(entries[0], archivePath("damaged-out"));
        QFAIL("damaged deflate data must fail");
    } catch (const Error& error) {
        QVERIFY(error.is(CompressionError::corruptedData));
    }
}

QTEST_GUILESS_MAIN(ReadForeign)
#include "tst_readforeign.moc"
