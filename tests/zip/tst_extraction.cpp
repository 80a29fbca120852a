// Extracted items come back with their data, permissions and times; nothing
// is overwritten, and neither a link target nor an entry path can lead out of
// the extraction root.

#include "ZipTestSupport.h"
#include "zip/Archive.h"
#include "zip/ExtractionRoot.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace corvina::zip;
using namespace corvina::zip::test;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

struct stat statOf(const fs::path& path) {
    struct stat st {};
    lstat(path.c_str(), &st);
    return st;
}

Entry entryNamed(Archive& archive, const QString& path) {
    const auto entry = archive.entry(path);
    if (!entry) {
        qFatal("entry %s missing", qPrintable(path));
    }
    return *entry;
}

} // namespace

class Extraction : public QObject {
    Q_OBJECT

private:
    fs::path path(const std::string& name) const {
        return fs::path(m_dir.path().toStdString()) / name;
    }
    QTemporaryDir m_dir;
    fs::path m_zip;

private Q_SLOTS:
    void initTestCase() {
        const fs::path data = path("Data");
        writeFile(data / "setuid.sh", "#!/bin/sh\n");
        writeFile(data / "leer.txt", {});
        writeFile(data / "gross.bin", patternBytes(3 << 20, 7));
        writeFile(data / "Ordner" / "innen.txt", "innen");
        fs::create_directories(data / "sticky");
        fs::create_symlink("Ordner/innen.txt", data / "verweis");
        chmod((data / "setuid.sh").c_str(), 04750);
        chmod((data / "sticky").c_str(), 01770);
        setModificationTime(data / "setuid.sh", 1'500'000'001);
        setModificationTime(data / "gross.bin", 1'400'000'000);
        setModificationTime(data / "verweis", 1'300'000'000);
        setModificationTime(data / "sticky", 1'200'000'000);
        m_zip = path("data.zip");
        packItem(data, m_zip, true, CompressionMethod::none);
    }

    void itemsComeBackWithTheirAttributes_data() {
        QTest::addColumn<bool>("throughRoot");
        QTest::newRow("to a path") << false;
        QTest::newRow("beneath an extraction root") << true;
    }

    void itemsComeBackWithTheirAttributes() {
        QFETCH(bool, throughRoot);
        const fs::path out = path(throughRoot ? "out-root" : "out-path");
        fs::create_directories(out);
        Archive archive(m_zip, AccessMode::read);
        ExtractionRoot root(out);
        for (const Entry& entry : archive.entrySequence()) {
            const QString relative = entry.entryPath();
            if (throughRoot) {
                root.extractEntry(archive, entry, relative, defaultChunkSize, false, false);
            } else {
                archive.extractEntry(entry, out / relative.toStdString());
            }
        }
        const fs::path data = path("Data");
        QCOMPARE(readAll(out / "Data" / "gross.bin"), readAll(data / "gross.bin"));
        QVERIFY(fs::is_regular_file(out / "Data" / "leer.txt"));
        QCOMPARE(fs::file_size(out / "Data" / "leer.txt"), 0u);
        QCOMPARE(fs::read_symlink(out / "Data" / "verweis"), fs::path("Ordner/innen.txt"));

        QCOMPARE(statOf(out / "Data" / "setuid.sh").st_mode & 07777, 04750u);
        QCOMPARE(statOf(out / "Data" / "sticky").st_mode & 07777, 01770u);
        // Two-second grain: the odd second is lost.
        QCOMPARE(statOf(out / "Data" / "setuid.sh").st_mtime, time_t{1'500'000'000});
        QCOMPARE(statOf(out / "Data" / "gross.bin").st_mtime, time_t{1'400'000'000});
        QCOMPARE(statOf(out / "Data" / "verweis").st_mtime, time_t{1'300'000'000});
        QCOMPARE(statOf(out / "Data" / "sticky").st_mtime, time_t{1'200'000'000});
        QCOMPARE(statOf(out / "Data").st_mtime, statOf(data).st_mtime / 2 * 2);
    }

    void existingDestinationIsNeverOverwritten() {
        Archive archive(m_zip, AccessMode::read);
        const fs::path out = path("existing");
        writeFile(out / "Data" / "setuid.sh", "mine");
        writeFile(out / "Data" / "verweis", "mine too");
        for (const QString& name : {u"Data/setuid.sh"_s, u"Data/verweis"_s}) {
            const Entry entry = entryNamed(archive, name);
            const auto direct =
                errorFrom([&] { archive.extractEntry(entry, out / name.toStdString()); });
            QVERIFY(direct && direct->is(FileError::fileWriteFileExists));
            const auto beneathRoot =
                errorFrom([&] { ExtractionRoot(out).extractEntry(archive, entry, name); });
            QVERIFY(beneathRoot && beneathRoot->is(FileError::fileWriteFileExists));
        }
        QCOMPARE(readAll(out / "Data" / "setuid.sh"), QByteArray("mine"));
        QCOMPARE(readAll(out / "Data" / "verweis"), QByteArray("mine too"));
    }

    void wrongChecksumStillExtracts() {
        CraftedEntry crafted{"falsch.txt", "Inhalt"};
        crafted.editCentral = [](CentralDirectoryStructure& c) { c.crc32 = 0xDEADBEEF; };
        crafted.editLocal = [](LocalFileHeader& l) { l.crc32 = 0xDEADBEEF; };
        const fs::path zip = path("wrongcrc.zip");
        writeFile(zip, craftArchive({crafted}));
        Archive archive(zip, AccessMode::read);
        const Entry entry = *archive.entrySequence().begin();
        const uint32_t crc = archive.extractEntry(entry, path("wrongcrc-out.txt"));
        QVERIFY(crc != entry.entryChecksum());
        QCOMPARE(readAll(path("wrongcrc-out.txt")), QByteArray("Inhalt"));
    }

    void linkTargetsMustStayInside_data() {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("contained");
        QTest::newRow("sibling") << QByteArray("nachbar.txt") << true;
        // b may be a link, to "." say, making b/.. the root's parent.
        QTest::newRow("down and up again") << QByteArray("a/b/../c") << false;
        QTest::newRow("doubled slashes") << QByteArray("a//b") << true;
        QTest::newRow("climbs out") << QByteArray("../draussen") << false;
        QTest::newRow("climbs out through a folder") << QByteArray("a/../../draussen") << false;
        // The root is links/x; its sibling links/xEvil shares the name's start.
        QTest::newRow("x") << QByteArray("../xEvil/f") << false;
        QTest::newRow("absolute elsewhere") << QByteArray("/etc/passwd") << false;
    }

    void linkTargetsMustStayInside() {
        QFETCH(QByteArray, target);
        QFETCH(bool, contained);
        const fs::path zip = path("link-" + std::string(QTest::currentDataTag()) + ".zip");
        writeFile(zip, craftArchive({{"link", target, EntryType::symlink, 0777}}));
        Archive archive(zip, AccessMode::read);
        const Entry entry = *archive.entrySequence().begin();
        const fs::path folder = path("links") / QTest::currentDataTag();
        const auto error = errorFrom([&] { archive.extractEntry(entry, folder / "link"); });
        QCOMPARE(error.has_value(), !contained);
        QCOMPARE(fs::is_symlink(folder / "link"), contained);
        QVERIFY(contained || error->is(ArchiveError::uncontainedSymlink));
        // Allowed on request.
        archive.extractEntry(entry, folder / "allowed", defaultChunkSize, false, true);
        QCOMPARE(fs::read_symlink(folder / "allowed").string(), target.toStdString());
    }

    void rootRefusesPathsLeavingIt_data() {
        QTest::addColumn<QString>("relative");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("nested, made on the way") << "neu/tief/datei.txt" << true;
        QTest::newRow("dot parts and doubled slashes") << "./neu//zwei.txt" << true;
        QTest::newRow("absolute") << "/tmp/corvina-escape.txt" << false;
        QTest::newRow("dot-dot") << "../escape.txt" << false;
        QTest::newRow("dot-dot inside") << "neu/../../escape.txt" << false;
        QTest::newRow("through a link to a folder outside") << "nach-draussen/escape.txt" << false;
        QTest::newRow("through a link to a folder inside") << "nach-innen/escape.txt" << false;
    }

    void rootRefusesPathsLeavingIt() {
        QFETCH(QString, relative);
        QFETCH(bool, allowed);
        const fs::path rootPath = path("root");
        const fs::path outside = path("outside");
        if (!fs::exists(rootPath)) {
            fs::create_directories(rootPath / "innen");
            fs::create_directories(outside);
            fs::create_symlink(outside, rootPath / "nach-draussen");
            fs::create_symlink("innen", rootPath / "nach-innen");
        }
        Archive archive(m_zip, AccessMode::read);
        const Entry file = entryNamed(archive, u"Data/Ordner/innen.txt"_s);
        const Entry folder = entryNamed(archive, u"Data/Ordner/"_s);
        ExtractionRoot root(rootPath);
        const auto attempt = [&](const std::function<void()>& step) {
            const auto error = errorFrom(step);
            QCOMPARE(error.has_value(), !allowed);
            QVERIFY(allowed || error->is(ArchiveError::uncontainedEntryPath));
        };
        attempt([&] { root.extractEntry(archive, file, relative); });
        attempt([&] { root.extractEntry(archive, folder, relative + u".d"_s); });
        attempt([&] { root.createDirectories(relative + u".dir"_s); });
        attempt([&] { root.createSymbolicLink(relative + u".lnk"_s, "/etc/passwd"); });
        if (allowed) { // links are made as they are, whatever their target
            QCOMPARE(fs::read_symlink(rootPath / (relative + u".lnk"_s).toStdString()),
                     fs::path("/etc/passwd"));
        }
        QVERIFY(fs::is_empty(outside));
        QVERIFY(!fs::exists(path("escape.txt")));
        QVERIFY(fs::is_empty(rootPath / "innen"));
    }
};

QTEST_GUILESS_MAIN(Extraction)
#include "tst_extraction.moc"
