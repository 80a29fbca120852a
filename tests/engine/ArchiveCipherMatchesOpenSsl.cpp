// The cipher gives the bytes of standard PBKDF2 and AES-256-CBC, also when it
// follows a file that is still being written.
#include "TestTrees.h"

#include "engine/Cipher.h"
#include "engine/FileOperations.h"
#include "engine/StreamingCipher.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>

using namespace corvina;
using namespace corvina::testing;
using namespace Qt::StringLiterals;

namespace {

QByteArray randomBytes(qsizetype size) {
    QByteArray bytes(size, '\0');
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

} // namespace

class ArchiveCipherMatchesOpenSsl : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyIsPbkdf2OfPasswordAndInternalKey_data() {
        QTest::addColumn<QString>("password");
        QTest::newRow("empty") << QString();
        QTest::newRow("composed umlaut") << u"Gr\u00fc\u00dfe"_s;
        QTest::newRow("decomposed umlaut") << u"Gru\u0308\u00dfe"_s;
    }
    void keyIsPbkdf2OfPasswordAndInternalKey() {
        QFETCH(QString, password);
        // Python's hashlib is the reference; no normalisation is applied.
        const auto expected = runProgram(
            python(), {u"-c"_s,
                       QStringLiteral("import hashlib, sys; print(hashlib.pbkdf2_hmac('sha256', "
                                      "sys.argv[1].encode() + b'PlainWordsMakeTheArchiveKey5678?', "
                                      "b'SingleGrit', 10000, 32).hex(), end='')"),
                       password});
        QCOMPARE(keyHex(password), expected.value_or("python failed"));
    }

    // A writer appends pieces of random size and announces them late; the
    // follower's output is what openssl makes of the finished file.
    void followingEncryptorMatchesOneShot_data() {
        QTest::addColumn<int>("size");
        QTest::newRow("empty") << 0;
        QTest::newRow("15 bytes") << 15;
        QTest::newRow("one block, padded by another") << 16;
        QTest::newRow("several chunks") << 3 * 1048576 + 1234;
    }
    void followingEncryptorMatchesOneShot() {
        QFETCH(int, size);
        QTemporaryDir work;
        const std::string plainPath = work.filePath(u"plain"_s).toStdString();
        const std::string cipherPath = work.filePath(u"cipher"_s).toStdString();
        const QByteArray plain = randomBytes(size);
        const ArchiveKey key = deriveArchiveKey(u"pw"_s);
        FileDescriptor writer = openFile(plainPath, O_WRONLY | O_CREAT, 0600);
        FileDescriptor output = openFile(cipherPath, O_WRONLY | O_CREAT, 0600);
        FollowingEncryptor encryptor(key,
                                     std::span(reinterpret_cast<const uint8_t*>(archiveIv), 16),
                                     plainPath, output.get(), cipherPath);
        QRandomGenerator generator(17);
        for (qsizetype written = 0; written < plain.size();) {
            const qsizetype piece =
                std::min<qsizetype>(plain.size() - written, 1 + generator.bounded(300000));
            writeAll(writer.get(), plain.constData() + written, static_cast<std::size_t>(piece),
                     plainPath);
            written += piece;
            encryptor.advance(static_cast<uint64_t>(written - generator.bounded(piece + 1)));
        }
        const uint64_t reported = encryptor.finish(static_cast<uint64_t>(size)).ciphertextBytes;
        QVERIFY(openssl(false, work.filePath(u"plain"_s), work.filePath(u"expected"_s), u"pw"_s));
        QCOMPARE(readAll(work.filePath(u"cipher"_s)), readAll(work.filePath(u"expected"_s)));
        // The whole-buffer path gives the same bytes and reads them back.
        const QByteArray iv(archiveIv, 16);
        QCOMPARE(aesEncrypt(plain, key, iv), readAll(work.filePath(u"expected"_s)));
        QCOMPARE(aesDecrypt(readAll(work.filePath(u"cipher"_s)), key, iv), plain);
        QCOMPARE(reported, static_cast<uint64_t>(QFileInfo(work.filePath(u"cipher"_s)).size()));
        // Announcing more than the file holds is an error, not a hang.
        FollowingEncryptor overclaimed(key,
                                       std::span(reinterpret_cast<const uint8_t*>(archiveIv), 16),
                                       plainPath, output.get(), cipherPath);
        QVERIFY_THROWS_EXCEPTION(SystemError, overclaimed.finish(static_cast<uint64_t>(size) + 1));
    }
};

QTEST_GUILESS_MAIN(ArchiveCipherMatchesOpenSsl)
#include "ArchiveCipherMatchesOpenSsl.moc"
