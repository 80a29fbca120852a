// Archives made by other tools read and extract to what went in; damaged or
// lying archives end quickly with the short or failed result, never a hang.

#include "ZipTestSupport.h"
#include "zip/Archive.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace corvina::zip;
using namespace corvina::zip::test;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

// Writes the files named after the archive with ZIP64 extra fields, or,
// for the archive "-", to standard output, which cannot seek back: data
// descriptors then.
const char* const pythonWriter = R"(
import sys, zipfile
out = sys.argv[1]
with zipfile.ZipFile(out if out != '-' else sys.stdout.buffer, 'w', zipfile.ZIP_DEFLATED) as z:
    for name in sys.argv[2:]:
        with open(name, 'rb') as f, z.open(name, 'w', force_zip64=out != '-') as entry:
            entry.write(f.read())
)";

/// Reads a whole entry through readEntry.
QByteArray readWhole(Archive& archive, const Entry& entry, uint32_t* crc = nullptr) {
    QByteArray all;
    const uint32_t value = archive.readEntry(
        entry, defaultChunkSize, false, nullptr, [&](std::span<const uint8_t> chunk) {
            all.append(reinterpret_cast<const char*>(chunk.data()), qsizetype(chunk.size()));
        });
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

private:
    fs::path archivePath(const char* name) const {
        return fs::path(m_dir.path().toStdString()) / name;
    }
    QTemporaryDir m_dir;
    fs::path m_source;

private Q_SLOTS:
    void initTestCase() {
        const fs::path root = m_dir.path().toStdString();
        m_source = root / "Data";
        writeFile(m_source / "text.txt", QByteArray("Corvina ").repeated(5000));
        writeFile(m_source / "random.bin", patternBytes(70'000, 9));
        writeFile(m_source / "empty.txt", {});
        writeFile(m_source / "Ordner" / "innen.txt", "innen");
        fs::create_symlink("text.txt", m_source / "verweis");
        QVERIFY(QDir::setCurrent(QString::fromStdString(root.string())));
    }

    void foreignArchivesExtractToTheirSource_data() {
        // Run by sh in the test folder: $0 is the Python writer, $1 the archive.
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("descriptors");
        QTest::addColumn<bool>("zip64");
        const QString files = "Data/text.txt Data/random.bin Data/empty.txt Data/Ordner/innen.txt";
        QTest::newRow("Info-ZIP deflate, links kept")
            << "zip -q -r -y \"$1\" Data" << false << false;
        QTest::newRow("Info-ZIP stored") << "zip -q -r -0 -y \"$1\" Data" << false << false;
        QTest::newRow("Python stream, data descriptors")
            << "python3 -c \"$0\" - " + files + " | cat > \"$1\"" << true << false;
        QTest::newRow("Python ZIP64 extra fields")
            << "python3 -c \"$0\" \"$1\" " + files << false << true;
        // Central records of every size: an entry read after a comment is
        // found only where the comment's length is counted.
        QTest::newRow("Python, a comment on each entry")
            << "python3 -c \"import sys, zipfile\n"
               "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
               "    for i, name in enumerate(sys.argv[2:]):\n"
               "        z.write(name)\n"
               "        z.getinfo(name).comment = b'Kommentar ' * i * 7\" \"$1\" " +
                   files
            << false << false;
        QTest::newRow("bsdtar deflate") << "bsdtar --format zip -cf \"$1\" Data" << true << false;
        QTest::newRow("bsdtar stored")
            << "bsdtar --format zip --options zip:compression=store -cf \"$1\" Data" << true
            << false;
    }

    void foreignArchivesExtractToTheirSource() {
        QFETCH(QString, command);
        QFETCH(bool, descriptors);
        QFETCH(bool, zip64);
        const std::string tag = QTest::currentDataTag();
        const fs::path zip = archivePath((tag + ".zip").c_str());
        const ProcessResult made =
            run(u"sh"_s, {u"-c"_s, command, QString::fromLatin1(pythonWriter), qpath(zip)});
        QVERIFY2(made.exitCode == 0, made.output.constData());
        Archive archive(zip, AccessMode::read);
        const fs::path out = archivePath((tag + " out").c_str());
        int files = 0;
        for (const Entry& entry : archive.entrySequence()) {
            const std::string path = entry.entryPath().toStdString();
            QVERIFY2(path.rfind("Data", 0) == 0, path.c_str());
            const uint32_t crc =
                archive.extractEntry(entry, out / path, defaultChunkSize, false, true);
            switch (entry.entryType()) {
            case EntryType::file:
                ++files;
                QCOMPARE(entry.usesDataDescriptorFlag() && entry.dataDescriptor, descriptors);
                QCOMPARE(entry.isZip64Entry(), zip64);
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

    void endRecordSearch_data() {
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

    void endRecordSearch() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, entries);
        const fs::path zip = archivePath("end-record.zip");
        fs::remove(zip);
        writeFile(zip, bytes);
        int found = -1;
        const auto error = errorFrom([&] {
            Archive archive(zip, AccessMode::read);
            found = int(entriesOf(archive).size());
        });
        QCOMPARE(found, entries);
        QVERIFY(!error || error->is(ArchiveError::missingEndOfCentralDirectoryRecord));
    }

    void lyingSizesEndWithShortResult_data() {
        QTest::addColumn<int>("method");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("fails");
        QTest::newRow("stored file of 2^60 bytes") << 0 << int(EntryType::file) << false;
        QTest::newRow("deflated file of 2^60 bytes") << 8 << int(EntryType::file) << true;
        QTest::newRow("link target of 4 GiB") << 0 << int(EntryType::symlink) << false;
    }

    void lyingSizesEndWithShortResult() {
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
        QByteArray delivered;
        const auto error = errorFrom([&] { delivered = readWhole(archive, entries[0]); });
        QCOMPARE(error.has_value(), fails);
        if (error) {
            QVERIFY(error->is(CompressionError::corruptedData));
        } else { // everything from the data to the end of the file, then the end
            QCOMPARE(delivered.size(), bytes.size() - qsizetype(entries[0].entryDataOffset()));
            QVERIFY(delivered.startsWith(data));
        }
    }

    void walkEndsAtEncryptedOrMissingRecord() {
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
            QCOMPARE(entries[0].entryPath(), u"eins.txt"_s);
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

    void compressionMethodOnlyMattersForFiles() {
        const auto method12 = [](LocalFileHeader& local) { local.compressionMethod = 12; };
        const QByteArray bytes =
            craftArchive({{"file", "inhalt", EntryType::file, 0644, method12},
                          {"link", "ziel", EntryType::symlink, 0777, method12}});
        const fs::path zip = archivePath("method12.zip");
        writeFile(zip, bytes);
        Archive archive(zip, AccessMode::read);
        const auto entries = entriesOf(archive);
        QCOMPARE(entries.size(), std::size_t{2});
        const auto error = errorFrom([&] { readWhole(archive, entries[0]); });
        QVERIFY(error && error->is(ArchiveError::invalidCompressionMethod));
        uint32_t crc = 0;
        QCOMPARE(readWhole(archive, entries[1], &crc), QByteArray("ziel"));
        QCOMPARE(crc, entries[1].entryChecksum());
    }
};

QTEST_GUILESS_MAIN(ReadForeign)
#include "tst_readforeign.moc"
