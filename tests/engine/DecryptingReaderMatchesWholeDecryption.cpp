// Reading a backup's plaintext window by window gives the bytes of one
// decryption of the whole file, at any offset and through a stdio stream,
// and fails where that decryption fails, with its error.
#include "engine/Cipher.h"
#include "engine/DecryptingReader.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <fcntl.h>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype window = static_cast<qsizetype>(decryptionWindowSize);
const QByteArray iv(archiveIv);

QByteArray randomBytes(qsizetype size, quint32 seed) {
    QByteArray bytes(size, '\0');
    QRandomGenerator generator(seed);
    for (char& byte : bytes) {
        byte = static_cast<char>(generator.generate());
    }
    return bytes;
}

std::unique_ptr<DecryptingReader> readerOf(const QString& path, const QByteArray& ciphertext,
                                           const ArchiveKey& key) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(ciphertext) != ciphertext.size()) {
        return nullptr;
    }
    file.close();
    return std::make_unique<DecryptingReader>(
        openFile(path.toStdString(), O_RDONLY), path.toStdString(),
        static_cast<uint64_t>(ciphertext.size()), key,
        std::span(reinterpret_cast<const uint8_t*>(iv.constData()), aesBlockSize));
}

} // namespace

class DecryptingReaderMatchesWholeDecryption : public QObject {
    Q_OBJECT

    const ArchiveKey m_key = deriveArchiveKey(u"pw"_s);

private Q_SLOTS:
    void everyReadMatches_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::newRow("empty: one block of padding") << qsizetype(0);
        QTest::newRow("shorter than a block") << qsizetype(5);
        QTest::newRow("one whole block") << qsizetype(16);
        QTest::newRow("window less one") << window - 1;
        QTest::newRow("exactly one window") << window;
        QTest::newRow("padding block opens a window") << 2 * window;
        QTest::newRow("several windows, odd end") << 3 * window + 4099;
        QTest::newRow("several windows, whole blocks") << 4 * window + 160;
    }
    void everyReadMatches() {
        QFETCH(qsizetype, size);
        QTemporaryDir work;
        const QByteArray plain = randomBytes(size, static_cast<quint32>(size));
        const auto reader = readerOf(work.filePath(u"b"_s), aesEncrypt(plain, m_key, iv), m_key);
        QVERIFY(reader);
        QCOMPARE(reader->size(), quint64(size));

        // Whole, then at random offsets and lengths, many across a window's
        // edge, and past the end.
        QByteArray got(size + 100, '\0');
        QCOMPARE(reader->read(0, reinterpret_cast<uint8_t*>(got.data()), got.size()),
                 std::size_t(size));
        QCOMPARE(got.left(size), plain);
        QRandomGenerator generator(1);
        for (int i = 0; i < 200; ++i) {
            const qsizetype edge = window * generator.bounded(size / window + 1);
            const qsizetype offset =
                std::clamp<qsizetype>(edge + generator.bounded(-300, 300), 0, size + 10);
            const qsizetype length = generator.bounded(i % 4 == 0 ? 3 * window : 700);
            const qsizetype expected = std::clamp<qsizetype>(size - offset, 0, length);
            QByteArray part(length, '\0');
            QCOMPARE(reader->read(static_cast<uint64_t>(offset),
                                  reinterpret_cast<uint8_t*>(part.data()), part.size()),
                     std::size_t(expected));
            QCOMPARE(part.left(expected), plain.mid(offset, expected));
        }

        // Two streams of their own positions, as the ZIP layer reads.
        std::FILE* first = reader->openStream();
        std::FILE* second = reader->openStream();
        QCOMPARE(fseeko(first, 0, SEEK_END), 0);
        QCOMPARE(ftello(first), off_t(size));
        QCOMPARE(fseeko(first, size / 3, SEEK_SET), 0);
        QByteArray streamed(size, '\0');
        QCOMPARE(std::fread(streamed.data(), 1, size, second), std::size_t(size));
        QCOMPARE(std::fgetc(second), EOF);
        QCOMPARE(std::fread(got.data(), 1, size - size / 3, first), std::size_t(size - size / 3));
        QCOMPARE(fseeko(first, -1, SEEK_SET), -1);
        std::fclose(first);
        std::fclose(second);
        QCOMPARE(streamed, plain);
        QCOMPARE(got.left(size - size / 3), plain.mid(size / 3));
    }

    void failsWithTheErrorOfWholeDecryption_data() {
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("cut"); // bytes cut off the end
        const int full = static_cast<int>(3 * window + 16);
        QTest::newRow("wrong password") << u"falsch"_s << 0;
        QTest::newRow("cut inside the last block") << u"pw"_s << 5;
        QTest::newRow("cut at a block") << u"pw"_s << 16;
        QTest::newRow("one block and a bit left") << u"pw"_s << full - 20;
        QTest::newRow("nothing left") << u"pw"_s << full;
    }
    void failsWithTheErrorOfWholeDecryption() {
        QFETCH(QString, password);
        QFETCH(int, cut);
        QTemporaryDir work;
        QByteArray ciphertext = aesEncrypt(randomBytes(3 * window + 5, 3), m_key, iv);
        QCOMPARE(ciphertext.size(), 3 * window + 16);
        ciphertext.chop(cut);
        const ArchiveKey key = deriveArchiveKey(password);
        std::optional<unsigned long> whole;
        try {
            (void)aesDecrypt(ciphertext, key, iv);
        } catch (const CipherError& error) {
            whole = error.code();
        }
        std::optional<unsigned long> windowed;
        try {
            (void)readerOf(work.filePath(u"b"_s), ciphertext, key);
        } catch (const CipherError& error) {
            QCOMPARE(error.domain(), aesDecryptionErrorDomain);
            windowed = error.code();
        }
        // "cut at a block" may unpad by chance; then both accept it.
        QCOMPARE(windowed, whole);
        QVERIFY(whole || cut == 16);
    }
};

QTEST_GUILESS_MAIN(DecryptingReaderMatchesWholeDecryption)
#include "DecryptingReaderMatchesWholeDecryption.moc"
