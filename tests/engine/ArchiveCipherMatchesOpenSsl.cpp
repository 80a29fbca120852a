// The cipher gives the bytes of standard PBKDF2 and AES-256-CBC, also when it
// encrypts an archive piece by piece while it is being packed.
#include "TestTrees.h"

#include "engine/Cipher.h"
#include "engine/EncryptingSink.h"
#include "engine/FileOperations.h"

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

    // The packer hands over pieces of random size; the sink's output is what
    // openssl makes of them put together.
    void encryptingSinkMatchesOneShot_data() {
        QTest::addColumn<int>("size");
        QTest::newRow("empty") << 0;
        QTest::newRow("15 bytes") << 15;
        QTest::newRow("one block, padded by another") << 16;
        QTest::newRow("several buffers") << 9 * 1048576 + 1234;
    }
    void encryptingSinkMatchesOneShot() {
        QFETCH(int, size);
        QTemporaryDir work;
        const std::string cipherPath = work.filePath(u"cipher"_s).toStdString();
        const QByteArray plain = randomBytes(size);
        const ArchiveKey key = deriveArchiveKey(u"pw"_s);
        const std::span iv(reinterpret_cast<const uint8_t*>(archiveIv), 16);
        FileDescriptor output = openFile(cipherPath, O_WRONLY | O_CREAT, 0600);
        EncryptingSink sink(key, iv, output.get(), cipherPath);
        QRandomGenerator generator(17);
        for (qsizetype given = 0; given < plain.size();) {
            const qsizetype piece =
                std::min<qsizetype>(plain.size() - given, 1 + generator.bounded(3000000));
            zip::ByteBuffer buffer(plain.begin() + given, plain.begin() + given + piece);
            sink.take(buffer);
            QVERIFY(buffer.empty());
            given += piece;
        }
        const uint64_t reported = sink.finish().ciphertextBytes;
        writeFile(work.filePath(u"plain"_s), plain);
        QVERIFY(openssl(false, work.filePath(u"plain"_s), work.filePath(u"expected"_s), u"pw"_s));
        QCOMPARE(readAll(work.filePath(u"cipher"_s)), readAll(work.filePath(u"expected"_s)));
        // The whole-buffer path gives the same bytes and reads them back.
        const QByteArray ivBytes(archiveIv, 16);
        QCOMPARE(aesEncrypt(plain, key, ivBytes), readAll(work.filePath(u"expected"_s)));
        QCOMPARE(aesDecrypt(readAll(work.filePath(u"cipher"_s)), key, ivBytes), plain);
        QCOMPARE(reported, static_cast<uint64_t>(QFileInfo(work.filePath(u"cipher"_s)).size()));
    }

    // A disk that refuses the ciphertext stops the packer with the error,
    // never leaves it waiting.
    void encryptingSinkReportsAFullDisk() {
        FileDescriptor full = openFile("/dev/full", O_WRONLY);
        EncryptingSink sink(deriveArchiveKey(u"pw"_s),
                            std::span(reinterpret_cast<const uint8_t*>(archiveIv), 16), full.get(),
                            "/dev/full");
        const auto feed = [&] {
            for (int i = 0; i < 8; ++i) {
                zip::ByteBuffer buffer(1048576, 'x');
                sink.take(buffer);
            }
            sink.finish();
        };
        QVERIFY_THROWS_EXCEPTION(SystemError, feed());
    }
};

QTEST_GUILESS_MAIN(ArchiveCipherMatchesOpenSsl)
#include "ArchiveCipherMatchesOpenSsl.moc"
