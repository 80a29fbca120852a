// Packing a tree in one pass must give the very bytes that appending its
// items one by one gives, and archives that other tools accept.

#include "ZipTestSupport.h"
#include "zip/Archive.h"
#include "zip/ArchiveWriter.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>

using namespace corvina::zip;
using namespace corvina::zip::test;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// The tree a real data folder might hold: sizes around the chunk size and
/// the write buffer, empty and nested folders, links of every kind, hidden
/// files, spaces and umlauts, odd modes and dates.
void buildTree(const fs::path& data) {
    fs::create_directories(data);
    writeFile(data / "empty.bin", {});
    writeFile(data / "small.txt", "Hallo Corvina\n");
    writeFile(data / "exact.bin", patternBytes(16384, 2));
    writeFile(data / "multi.bin", patternBytes(3 * 16384 + 17, 3));
    writeFile(data / "large.bin", patternBytes(5 * 1024 * 1024 + 3, 4));
    writeFile(data / ".hidden", "versteckt");
    writeFile(data / "mit Leerzeichen.txt", "spaces");
    writeFile(data / "Grüße" / "Äpfel und Öl.txt", "umlaut");
    writeFile(data / "a" / "b" / "c" / "deep.txt", patternBytes(100, 5));
    fs::create_directories(data / "leer");
    fs::create_directories(data / "a" / "leer2");
    fs::create_symlink("small.txt", data / "link-to-file");
    fs::create_symlink("a/b", data / "link-to-folder");
    fs::create_symlink("does/not/exist", data / "dangling");
    fs::create_symlink("/etc/hostname", data / "absolute-link");
    chmod((data / "small.txt").c_str(), 04755);
    chmod((data / "leer").c_str(), 01777);
    chmod((data / "exact.bin").c_str(), 0600);
    setModificationTime(data / "small.txt", 1'000'000'000);
    setModificationTime(data / "exact.bin", 100);           // before 1980
    setModificationTime(data / "multi.bin", 4'200'000'000); // after 2099
    setModificationTime(data / "dangling", 1'234'567'890);
}

/// A sink that can't take anything back, as the cipher can't.
struct Collector : ArchiveSink {
    QByteArray bytes;
    std::function<void()> onTake;
    void take(ByteBuffer& buffer) override {
        bytes.append(reinterpret_cast<const char*>(buffer.data()), qsizetype(buffer.size()));
        buffer.clear();
        if (onTake) {
            std::exchange(onTake, {})();
        }
    }
    void rewrite(uint64_t, std::span<const uint8_t>) override { throw std::logic_error("rewrite"); }
    void truncate(uint64_t) override { throw std::logic_error("truncate"); }
};

/// unzip, Python, bsdtar and 7z test the archive; this reader finds every
/// entry's checksum and size agreeing with its data, and the files of
/// `data` (when given) as they are.
void acceptedByEveryReader(const fs::path& zip, const fs::path& data) {
    const QString path = qpath(zip);
    for (const QStringList& check :
         {QStringList{"unzip", "-t", path}, QStringList{"python3", "-m", "zipfile", "-t", path},
          QStringList{"bsdtar", "-xOf", path}, QStringList{"7z", "t", path}}) {
        const ProcessResult result = run(check.first(), check.mid(1));
        QVERIFY2(result.exitCode == 0, (check.join(' ').toUtf8() + result.output).constData());
    }
    Archive archive(zip, AccessMode::read);
    for (const Entry& entry : archive.entrySequence()) {
        QByteArray content;
        const uint32_t crc = archive.readEntry(
            entry, defaultChunkSize, false, nullptr, [&](std::span<const uint8_t> chunk) {
                content.append(reinterpret_cast<const char*>(chunk.data()),
                               qsizetype(chunk.size()));
            });
        QCOMPARE(crc, entry.entryChecksum());
        QCOMPARE(uint64_t(content.size()), entry.entryUncompressedSize());
        const fs::path original = data.parent_path() / entry.entryPath().toStdString();
        if (!data.empty() && entry.entryPath().endsWith(u".bin"_s)) {
            QVERIFY(content == readAll(original));
        }
    }
}

void packStepByStep(const fs::path& source, const fs::path& destination, bool keepParentFolder,
                    CompressionMethod method) {
    Archive archive(destination, AccessMode::create);
    const std::string name = source.filename().string();
    std::vector<std::string> subpaths = directorySubpaths(source);
    if (keepParentFolder) {
        subpaths.emplace_back();
    }
    const fs::path base = keepParentFolder ? source.parent_path() : source;
    for (const std::string& subpath : subpaths) {
        const std::string entryPath = keepParentFolder ? name + "/" + subpath : subpath;
        archive.appendItem(entryPath, base / entryPath, method);
    }
}

} // namespace

class PackMatchesAppend : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void sameBytesAsAppendItem_data() {
        QTest::addColumn<bool>("keepParentFolder");
        QTest::addColumn<int>("method");
        QTest::newRow("stored, parent kept") << true << int(CompressionMethod::none);
        QTest::newRow("stored, parent dropped") << false << int(CompressionMethod::none);
        QTest::newRow("deflate, parent kept") << true << int(CompressionMethod::deflate);
    }

    void sameBytesAsAppendItem() {
        QFETCH(bool, keepParentFolder);
        QFETCH(int, method);
        const fs::path root = m_dir.path().toStdString();
        const fs::path data = root / "Data";
        if (!fs::exists(data)) {
            buildTree(data);
        }
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(' ', '_');
        const fs::path fast = root / ("fast-" + tag.toStdString() + ".zip");
        const fs::path plain = root / ("plain-" + tag.toStdString() + ".zip");
        const auto compression = static_cast<CompressionMethod>(method);

        packItem(data, fast, keepParentFolder, compression);
        packStepByStep(data, plain, keepParentFolder, compression);

        const QByteArray fastBytes = readAll(fast);
        if (compression == CompressionMethod::none) {
            QVERIFY(fastBytes.size() > 5 * 1024 * 1024);
        }
        QVERIFY(fastBytes == readAll(plain));

        struct stat st {};
        QCOMPARE(lstat(fast.c_str(), &st), 0);
        QCOMPARE(st.st_mode & 0777, 0600u);

        // Both sides walk the tree alike; the names must come through all the same.
        Archive archive(fast, AccessMode::read);
        const QString prefix = keepParentFolder ? u"Data/"_s : QString();
        QVERIFY(archive.entry(prefix + u"Grüße/Äpfel und Öl.txt"_s));
        QVERIFY(archive.entry(prefix + u"a/leer2/"_s));
    }

    // Written to a file or through a sink that can't rewrite (a cipher; its
    // large stored entries carry data descriptors), the archive is one that
    // Info-ZIP, Python, libarchive and 7-Zip accept and this reader restores.
    void otherToolsAcceptTheArchive_data() {
        QTest::addColumn<bool>("throughSink");
        QTest::newRow("archive file") << false;
        QTest::newRow("through a sink") << true;
    }

    void otherToolsAcceptTheArchive() {
        QFETCH(bool, throughSink);
        const fs::path root = m_dir.path().toStdString();
        const fs::path data = root / "Data";
        const fs::path zip = root / (throughSink ? "tools-sink.zip" : "tools.zip");
        if (throughSink) {
            Collector collector;
            QVERIFY(packItem(data, zip, collector, true, CompressionMethod::none).empty());
            QVERIFY(!fs::exists(zip));
            writeFile(zip, collector.bytes);
        } else {
            QVERIFY(packItem(data, zip, true, CompressionMethod::none).empty());
        }
        acceptedByEveryReader(zip, data);

        // Info-ZIP restores what we stored: content, links and the modification
        // time, which is stored in UTC.
        const fs::path out = root / (throughSink ? "unzipped-sink" : "unzipped");
        const QString path = qpath(zip);
        const ProcessResult extract =
            run(u"env"_s, {"TZ=UTC", "unzip", "-q", path, "-d", qpath(out)});
        QVERIFY2(extract.exitCode == 0, extract.output.constData());
        QCOMPARE(readAll(out / "Data" / "large.bin"), readAll(data / "large.bin"));
        QCOMPARE(fs::read_symlink(out / "Data" / "dangling"), fs::path("does/not/exist"));
        struct stat st {};
        QCOMPARE(lstat((out / "Data" / "small.txt").c_str(), &st), 0);
        QCOMPARE(st.st_mtime, time_t{1'000'000'000});
    }

    // A large file in use (just written) that changes once its data is on
    // the way is stored whole as it was before: the pack goes on.
    void fileChangingWhileReadIsStoredAsOneVersion() {
        const fs::path root = m_dir.path().toStdString();
        const fs::path big = root / "Changing" / "big";
        const QByteArray before = patternBytes(6 * 1024 * 1024, 9);
        writeFile(big, before);
        Collector tampered;
        tampered.onTake = [&] { writeFile(big, patternBytes(7 * 1024 * 1024, 10)); };
        const fs::path zip = root / "changing.zip";
        QVERIFY(packItem(root / "Changing", zip, tampered, true, CompressionMethod::none).empty());
        QVERIFY(readAll(big) != before);
        writeFile(zip, tampered.bytes);
        acceptedByEveryReader(zip, {});
        Archive archive(zip, AccessMode::read);
        const auto entry = archive.entry(u"Changing/big"_s);
        QVERIFY(entry);
        QByteArray stored;
        archive.readEntry(
            *entry, defaultChunkSize, false, nullptr, [&](std::span<const uint8_t> chunk) {
                stored.append(reinterpret_cast<const char*>(chunk.data()), qsizetype(chunk.size()));
            });
        QVERIFY(stored == before);
    }

    void zip64EndRecordsFromEntryCount() {
        // 65,541 entries: the count crosses 65,535 and the end records take the
        // ZIP64 form, which this reader and Python's read back.
        const fs::path root = m_dir.path().toStdString();
        const fs::path data = root / "Many";
        constexpr int folders = 20;
        constexpr int filesPerFolder = 3276; // 20 * 3276 + 20 folders + "Many/" = 65,541
        for (int f = 0; f < folders; ++f) {
            // Appended rather than "f" + a temporary: GCC 12 at -O3 takes
            // that insertion at the front for an overlapping copy (-Wrestrict).
            std::string folder = "f";
            folder += std::to_string(f);
            for (int i = 0; i < filesPerFolder; ++i) { // a few with content
                writeFile(data / folder / std::to_string(i), i % 1000 == 0 ? "x" : "");
            }
        }
        const fs::path fast = root / "many-fast.zip";
        packItem(data, fast, true, CompressionMethod::none);

        Archive archive(fast, AccessMode::read);
        QVERIFY(archive.zip64EndOfCentralDirectory());
        QCOMPARE(archive.endOfCentralDirectoryRecord().totalNumberOfEntriesInCentralDirectory,
                 uint16_t{0xFFFF});
        QCOMPARE(
            archive.zip64EndOfCentralDirectory()->record.totalNumberOfEntriesInCentralDirectory,
            uint64_t{65'541});
        std::size_t count = 0;
        for (const Entry& entry : archive.entrySequence()) {
            count += entry.isZip64Entry() ? 0 : 1; // only the end records take the ZIP64 form
        }
        QCOMPARE(count, std::size_t{65'541});
        const ProcessResult python = run(
            u"python3"_s, {u"-c"_s,
                           QStringLiteral("import zipfile,sys; z=zipfile.ZipFile(sys.argv[1]); "
                                          "assert z.testzip() is None; print(len(z.infolist()))"),
                           qpath(fast)});
        QVERIFY2(python.exitCode == 0, python.output.constData());
        QCOMPARE(python.output.trimmed(), QByteArray("65541"));
        fs::remove_all(data);
    }

    void refusesExistingDestinationAndMissingSource() {
        const fs::path root = m_dir.path().toStdString();
        const fs::path existing = root / "existing.zip";
        writeFile(existing, "keep me");
        auto error =
            errorFrom([&] { packItem(root / "Data", existing, true, CompressionMethod::none); });
        QVERIFY(error && error->is(FileError::fileWriteFileExists));
        QVERIFY(error->localizedDescription().contains(u"existing.zip"_s));
        error = errorFrom([&] { Archive(existing, AccessMode::create); });
        QVERIFY(error && error->is(FileError::fileWriteFileExists));
        QCOMPARE(readAll(existing), QByteArray("keep me"));

        error = errorFrom([&] { packItem(root / "Nowhere", root / "new.zip", true, {}); });
        QVERIFY(error && error->is(FileError::fileReadNoSuchFile));
        QCOMPARE(error->localizedDescription(),
                 u"The file “%1” couldn’t be opened because there is no such file."_s.arg(
                     qpath(root / "Nowhere")));
        QVERIFY(!fs::exists(root / "new.zip"));
    }
};

QTEST_GUILESS_MAIN(PackMatchesAppend)
#include "tst_packmatchesappend.moc"
