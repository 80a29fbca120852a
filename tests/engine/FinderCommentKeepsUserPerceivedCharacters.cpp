// The comment beside a backup: raw UTF-8 in one extended attribute, or in
// an AppleDouble file where the attribute can't go, at most 4000
// user-perceived characters.
#include "TestTrees.h"

#include "engine/AppleDouble.h"
#include "engine/DiagnosticLog.h"
#include "engine/FinderComment.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/xattr.h>

using namespace corvina;
using namespace corvina::testing;
using namespace Qt::StringLiterals;

namespace {

QString makeFile(const QString& folder) {
    const QString path = folder + u"/Backup.halvorn"_s;
    QFile(path).open(QIODevice::WriteOnly);
    return path;
}

QByteArray rawValue(const QString& path) {
    QByteArray value(70000, '\0');
    const ssize_t size = getxattr(QFile::encodeName(path).constData(), finderCommentAttributeName,
                                  value.data(), static_cast<size_t>(value.size()));
    return size < 0 ? QByteArray("<none>") : value.left(size);
}

const QString thumbsUp = u"\U0001F44D\U0001F3FD"_s;
const QString family = u"\U0001F468\u200D\U0001F469\u200D\U0001F467"_s;

} // namespace

class FinderCommentKeepsUserPerceivedCharacters : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commentIsCutAtGraphemes_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("stored");
        QTest::newRow("line ends kept") << u"Grüße\n"_s << u"Grüße\n"_s;
        // Far more bytes and code units than characters; ext4 holds about
        // 4 KiB per attribute, so these rows use tmpfs.
        QTest::newRow("4000 emoji whole") << thumbsUp.repeated(4000) << thumbsUp.repeated(4000);
        QTest::newRow("4001 emoji cut") << thumbsUp.repeated(4001) << thumbsUp.repeated(4000);
        QTest::newRow("families count as one") << family.repeated(3000) << family.repeated(3000);
        QTest::newRow("combining marks stay with their base")
            << u"e\u0301"_s.repeated(4001) << u"e\u0301"_s.repeated(4000);
    }
    void commentIsCutAtGraphemes() {
        QFETCH(QString, comment);
        QFETCH(QString, stored);
        QTemporaryDir folder(u"/dev/shm/comment-XXXXXX"_s);
        const QString file = makeFile(folder.path());
        QStringList log;
        setDiagnosticLogSink([&log](const QString& line) { log << line; });
        const EncryptionResult result = addFinderComment(comment, file);
        setDiagnosticLogSink({});

        QCOMPARE(rawValue(file), stored.toUtf8());
        QCOMPARE(readFinderComment(file), std::optional<QString>(stored));
        if (comment == stored) {
            QVERIFY(result.isSuccess());
            QCOMPARE(log, QStringList{u"Комментарий успешно добавлен к файлу."_s});
            return;
        }
        QCOMPARE(result, EncryptionResult::failure(FinderCommentError::commentTooLong(stored)));
        QCOMPARE(result.error().userText(),
                 u"Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt."_s);
        QCOMPARE(log, QStringList{QStringLiteral("Комментарий был успешно добавлен, но обрезан до "
                                                 "4000 символов: ") +
                                  stored});
    }

    // Where the file system can't hold the attribute (none at all, or none
    // of this size: ext4 keeps one block, the kernel at most 64 KiB), the
    // comment goes into the AppleDouble file beside the file; an edit that
    // fits moves it back.
    void commentTravelsWithTheFile_data() {
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<QString>("comment");
        QTest::addColumn<bool>("inAttribute");
        const QString large = family.repeated(4000); // 72 KB
        QTest::newRow("ext4, short") << u"ext4"_s << u"Vor dem Update"_s << true;
        QTest::newRow("ext4, 6 KB") << u"ext4"_s << u"ü"_s.repeated(3000) << false;
        QTest::newRow("ext4, 72 KB") << u"ext4"_s << large << false;
        QTest::newRow("tmpfs, 72 KB") << u"tmpfs"_s << large << false;
        QTest::newRow("exFAT stick") << u"exfat"_s << u"Vor dem Update"_s << false;
        QTest::newRow("ramfs") << u"ramfs"_s << u"Grüße"_s << false;
    }
    void commentTravelsWithTheFile() {
        QFETCH(QString, fileSystem);
        QFETCH(QString, comment);
        QFETCH(bool, inAttribute);
        QTemporaryDir work;
        const QString folder = work.filePath(u"mnt"_s);
        QDir().mkpath(folder);
        std::optional<ImageMount> image;
        std::optional<ScopedMount> memory;
        if (fileSystem == u"ext4" || fileSystem == u"exfat") {
            image.emplace(folder, fileSystem);
            if (!image->failure().isEmpty()) {
                QSKIP(qPrintable(image->failure()));
            }
        } else if (!memory.emplace(folder, qPrintable(fileSystem)).isMounted()) {
            QSKIP("cannot mount a scratch file system here (needs CAP_SYS_ADMIN)");
        }
        const QString file = makeFile(folder);
        const QByteArray name = "com.apple.metadata:kMDItemFinderComment";

        QCOMPARE(addFinderComment(comment, file), EncryptionResult::success());
        QCOMPARE(readFinderComment(file), comment);
        QCOMPARE(rawValue(file) == comment.toUtf8(), inAttribute);
        const auto sidecar = AppleDouble::parse(readAll(appleDoublePath(file)));
        QCOMPARE(sidecar && sidecar->attribute(name) == comment.toUtf8(), !inAttribute);

        QCOMPARE(addFinderComment(u"kurz"_s, file), EncryptionResult::success());
        QCOMPARE(readFinderComment(file), u"kurz"_s);
        const bool hasAttributes = fileSystem != u"exfat" && fileSystem != u"ramfs";
        QCOMPARE(QFileInfo::exists(appleDoublePath(file)), !hasAttributes);
    }

    // The bytes macOS reads on a FAT or exFAT volume: header, Finder info
    // entry holding the attribute table, the empty resource fork at the end
    // of one 4 KiB block.
    void appleDoubleIsLaidOutAsOnMacVolumes() {
        AppleDouble contents;
        contents.setAttribute("com.apple.metadata:kMDItemFinderComment", "Hallo");
        const QByteArray bytes = contents.serialized();
        QCOMPARE(bytes.size(), 4096);
        const QByteArray header =
            QByteArray::fromHex("00051607 00020000 4d6163204f532058 2020202020202020 0002"
                                "00000009 00000032 00000eb0 00000002 00000ee2 0000011e");
        QCOMPARE(bytes.left(header.size()), header);
        const QByteArray attributes =
            QByteArray::fromHex("0000 41545452 00000000 00000ee2 000000ac 00000005 "
                                "000000000000000000000000 0000 0001"
                                "000000ac 00000005 0000 28") +
            "com.apple.metadata:kMDItemFinderComment" + QByteArray(2, '\0') + "Hallo";
        QCOMPARE(bytes.mid(0x52, attributes.size()), attributes);
        QVERIFY(bytes.mid(0xee2).startsWith(
            QByteArray::fromHex("00000100 00000100 00000000 0000001e")));
        QCOMPARE(AppleDouble::parse(bytes)->attributes, contents.attributes);
    }

    void valuesThatReadAsNothing_data() {
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("no attribute") << QByteArray();
        QTest::newRow("empty value") << QByteArray("");
        QTest::newRow("binary property list") << QByteArray("bplist00\xd4\x01\xff\xfe", 12);
        QTest::newRow("truncated sequence") << QByteArray("ab\xe2\x82");
    }
    void valuesThatReadAsNothing() {
        QFETCH(QByteArray, value);
        QTemporaryDir folder;
        const QString file = makeFile(folder.path());
        if (!value.isNull()) {
            setxattr(QFile::encodeName(file).constData(), finderCommentAttributeName,
                     value.constData(), static_cast<size_t>(value.size()), 0);
        }
        QCOMPARE(readFinderComment(file), std::nullopt);
    }

    void unwritableTextsFail() {
        QTemporaryDir folder;
        const QString file = makeFile(folder.path());
        const QString unpaired = u"ab"_s + QChar(0xD800);
        QCOMPARE(addFinderComment(unpaired, file),
                 EncryptionResult::failure(FinderCommentError::Case::invalidEncoding));
        QCOMPARE(rawValue(file), QByteArray("<none>"));
        QCOMPARE(addFinderComment(u"x"_s, folder.filePath(u"missing"_s)),
                 EncryptionResult::failure(FinderCommentError::Case::failedToAddComment));
    }
};

QTEST_GUILESS_MAIN(FinderCommentKeepsUserPerceivedCharacters)
#include "FinderCommentKeepsUserPerceivedCharacters.moc"
