// The cipher must give the bytes of standard PBKDF2 and AES-256-CBC, whether
// it runs over a whole buffer or chunk by chunk while the input is written.
#include "engine/Cipher.h"
#include "engine/FileOperations.h"
#include "engine/StreamingCipher.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

#include <thread>

using namespace corvina;

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed) {
    QByteArray bytes(size, '\0');
    QRandomGenerator generator(seed);
    for (qsizetype i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(generator.bounded(256));
    }
    return bytes;
}

QByteArray keyHex(const ArchiveKey& key) {
    return QByteArray(reinterpret_cast<const char*>(key.data()), ArchiveKey::size()).toHex();
}

QByteArray run(const QString& program, const QStringList& arguments, const QByteArray& input) {
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        qWarning() << program << process.readAllStandardError();
        return "failed";
    }
    return process.readAllStandardOutput();
}

const QByteArray ivBytes(archiveIv, 16);

std::span<const uint8_t> span(const QByteArray& bytes) {
    return {reinterpret_cast<const uint8_t*>(bytes.constData()),
            static_cast<std::size_t>(bytes.size())};
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.readAll();
}

} // namespace

class ArchiveCipherMatchesOpenSsl : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyIsPbkdf2OfPasswordAndInternalKey_data() {
        QTest::addColumn<QString>("password");
        QTest::newRow("empty") << QString();
        QTest::newRow("ascii") << QStringLiteral("bench-password");
        QTest::newRow("composed umlaut") << QStringLiteral("Gr\u00fc\u00dfe");
        QTest::newRow("decomposed umlaut") << QStringLiteral("Gru\u0308\u00dfe");
        QTest::newRow("emoji") << QStringLiteral("\U0001F510 schl\u00fcssel");
    }
    void keyIsPbkdf2OfPasswordAndInternalKey() {
        QFETCH(QString, password);
        // Python's hashlib is the independent reference; no normalisation.
        const QByteArray expected =
            run(QFileInfo::exists(QStringLiteral("/usr/bin/python3"))
                    ? QStringLiteral("/usr/bin/python3")
                    : QStringLiteral("python3"),
                {QStringLiteral("-c"),
                 QStringLiteral("import hashlib,sys; p=sys.stdin.buffer.read(); "
                                "print(hashlib.pbkdf2_hmac('sha256', p + b'%1', b'%2', %3, "
                                "32).hex(), end='')")
                     .arg(QLatin1String(archiveInternalKey), QLatin1String(archiveKeySalt))
                     .arg(archiveKeyIterations)},
                password.toUtf8());
        QCOMPARE(keyHex(deriveArchiveKey(password)), expected);
    }

    void decomposedPasswordGivesAnotherKey() {
        QVERIFY(keyHex(deriveArchiveKey(QStringLiteral("Gr\u00fc\u00dfe"))) !=
                keyHex(deriveArchiveKey(QStringLiteral("Gru\u0308\u00dfe"))));
    }

    void wholeBufferEncryptionMatchesOpenSslEnc_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("cipherSize");
        QTest::newRow("empty") << 0 << 16;
        QTest::newRow("15 bytes") << 15 << 16;
        QTest::newRow("one block") << 16 << 32;
        QTest::newRow("17 bytes") << 17 << 32;
        QTest::newRow("over a chunk") << 1048576 + 5 << 1048592;
    }
    void wholeBufferEncryptionMatchesOpenSslEnc() {
        QFETCH(int, size);
        QFETCH(int, cipherSize);
        const ArchiveKey key = deriveArchiveKey(QStringLiteral("pw"));
        const QByteArray plain = randomBytes(size, 7);
        const QByteArray cipher = aesEncrypt(plain, key, ivBytes);
        QCOMPARE(cipher.size(), cipherSize);
        const QStringList common{QStringLiteral("-aes-256-cbc"), QStringLiteral("-K"),
                                 QString::fromLatin1(keyHex(key)), QStringLiteral("-iv"),
                                 QString::fromLatin1(ivBytes.toHex())};
        QCOMPARE(run(QStringLiteral("openssl"), QStringList{QStringLiteral("enc")} + common, plain),
                 cipher);
        QCOMPARE(run(QStringLiteral("openssl"),
                     QStringList{QStringLiteral("enc"), QStringLiteral("-d")} + common, cipher),
                 plain);
        QCOMPARE(aesDecrypt(cipher, key, ivBytes), plain);
    }

    void undecryptableInputThrowsDecryptionDomain_data() {
        QTest::addColumn<QByteArray>("cipher");
        QTest::addColumn<QString>("password");
        const QByteArray good = aesEncrypt(randomBytes(100, 3), deriveArchiveKey("right"), ivBytes);
        QTest::newRow("wrong password") << good << QStringLiteral("wrong");
        QTest::newRow("not a whole block") << good.left(good.size() - 1) << QStringLiteral("right");
        QTest::newRow("empty") << QByteArray() << QStringLiteral("right");
    }
    void undecryptableInputThrowsDecryptionDomain() {
        QFETCH(QByteArray, cipher);
        QFETCH(QString, password);
        try {
            (void)aesDecrypt(cipher, deriveArchiveKey(password), ivBytes);
            QFAIL("decryption succeeded");
        } catch (const CipherError& error) {
            QCOMPARE(error.domain(), QStringLiteral("Error in AES decryption"));
            QVERIFY(error.code() != 0);
            QVERIFY(error.localizedDescription().contains(error.domain()));
        }
    }

    void chunkedStreamMatchesOneShot_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("maxChunk");
        QTest::newRow("bytes one by one") << 70 << 1;
        QTest::newRow("odd chunks") << 10000 << 37;
        QTest::newRow("block multiple") << 4096 << 512;
    }
    void chunkedStreamMatchesOneShot() {
        QFETCH(int, size);
        QFETCH(int, maxChunk);
        const ArchiveKey key = deriveArchiveKey(QStringLiteral("chunks"));
        const QByteArray plain = randomBytes(size, 11);
        QRandomGenerator generator(5);
        for (const auto direction :
             {AesCbcStream::Direction::encrypt, AesCbcStream::Direction::decrypt}) {
            const QByteArray input = direction == AesCbcStream::Direction::encrypt
                                         ? plain
                                         : aesEncrypt(plain, key, ivBytes);
            AesCbcStream stream(direction, key, span(ivBytes));
            QByteArray output;
            std::vector<uint8_t> buffer(static_cast<std::size_t>(maxChunk) + 16);
            for (qsizetype offset = 0; offset < input.size();) {
                const qsizetype piece =
                    std::min<qsizetype>(input.size() - offset, 1 + generator.bounded(maxChunk));
                const std::size_t produced =
                    stream.update(span(input.mid(offset, piece)), buffer.data());
                output.append(reinterpret_cast<const char*>(buffer.data()),
                              static_cast<qsizetype>(produced));
                offset += piece;
            }
            const std::size_t produced = stream.finish(buffer.data());
            output.append(reinterpret_cast<const char*>(buffer.data()),
                          static_cast<qsizetype>(produced));
            QCOMPARE(output, direction == AesCbcStream::Direction::encrypt
                                 ? aesEncrypt(plain, key, ivBytes)
                                 : plain);
        }
    }

    // A writer appends pieces of random size and announces each; the
    // follower's output equals one-shot encryption of the finished file.
    void followingEncryptorMatchesOneShot_data() {
        QTest::addColumn<int>("size");
        QTest::newRow("empty") << 0;
        QTest::newRow("one block") << 16;
        QTest::newRow("several chunks") << 3 * 1048576 + 1234;
    }
    void followingEncryptorMatchesOneShot() {
        QFETCH(int, size);
        QTemporaryDir folder;
        const QString plainPath = folder.filePath(QStringLiteral("plain"));
        const QString cipherPath = folder.filePath(QStringLiteral("cipher"));
        const QByteArray plain = randomBytes(size, 13);
        const ArchiveKey key = deriveArchiveKey(QStringLiteral("follow"));

        FileDescriptor writer = openFile(plainPath.toStdString(), O_WRONLY | O_CREAT, 0600);
        FileDescriptor output = openFile(cipherPath.toStdString(), O_WRONLY | O_CREAT, 0600);
        FollowingEncryptor encryptor(key, span(ivBytes), plainPath.toStdString(), output.get(),
                                     cipherPath.toStdString());
        QRandomGenerator generator(17);
        qsizetype written = 0;
        while (written < plain.size()) {
            const qsizetype piece =
                std::min<qsizetype>(plain.size() - written, 1 + generator.bounded(300000));
            writeAll(writer.get(), plain.constData() + written, static_cast<std::size_t>(piece),
                     plainPath.toStdString());
            written += piece;
            // Announce only part of what was written now and then: the mark
            // may lag behind the file.
            encryptor.advance(static_cast<uint64_t>(written - generator.bounded(piece + 1)));
        }
        const auto outcome = encryptor.finish(static_cast<uint64_t>(plain.size()));
        QCOMPARE(outcome.ciphertextBytes, static_cast<uint64_t>((size / 16 + 1) * 16));
        QCOMPARE(readFile(cipherPath), aesEncrypt(plain, key, ivBytes));
    }

    void followingEncryptorFailsWhenPromisedBytesAreMissing() {
        QTemporaryDir folder;
        const QString plainPath = folder.filePath(QStringLiteral("plain"));
        QFile file(plainPath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(randomBytes(100, 1));
        file.close();
        FileDescriptor output =
            openFile(folder.filePath(QStringLiteral("c")).toStdString(), O_WRONLY | O_CREAT, 0600);
        FollowingEncryptor encryptor(deriveArchiveKey(QString()), span(ivBytes),
                                     plainPath.toStdString(), output.get(), "c");
        encryptor.advance(50);
        QVERIFY_THROWS_EXCEPTION(SystemError, encryptor.finish(200));
    }

    void abandonedEncryptorStopsWithoutFinish() {
        QTemporaryDir folder;
        FileDescriptor output =
            openFile(folder.filePath(QStringLiteral("c")).toStdString(), O_WRONLY | O_CREAT, 0600);
        // The plaintext never appears; destruction must not wait for it.
        FollowingEncryptor encryptor(deriveArchiveKey(QString()), span(ivBytes),
                                     folder.filePath(QStringLiteral("missing")).toStdString(),
                                     output.get(), "c");
    }

    void streamDecryptionMatchesOneShotAndRejectsWrongKey() {
        QTemporaryDir folder;
        const QByteArray plain = randomBytes(2 * 1048576 + 3, 19);
        const ArchiveKey key = deriveArchiveKey(QStringLiteral("right"));
        const QString cipherPath = folder.filePath(QStringLiteral("cipher"));
        {
            QFile file(cipherPath);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(aesEncrypt(plain, key, ivBytes));
        }
        for (const bool right : {true, false}) {
            FileDescriptor input = openFile(cipherPath.toStdString(), O_RDONLY);
            const QString plainPath = folder.filePath(QStringLiteral("plain%1").arg(right));
            FileDescriptor output = openFile(plainPath.toStdString(), O_WRONLY | O_CREAT, 0600);
            if (right) {
                const DecryptionOutcome outcome =
                    decryptStream(input.get(), cipherPath.toStdString(), output.get(),
                                  plainPath.toStdString(), key, span(ivBytes));
                QCOMPARE(outcome.plaintextBytes, static_cast<uint64_t>(plain.size()));
                QCOMPARE(outcome.headSize, std::size_t{4});
                QCOMPARE(QByteArray(reinterpret_cast<const char*>(outcome.head.data()), 4),
                         plain.left(4));
                QCOMPARE(readFile(plainPath), plain);
            } else {
                QVERIFY_THROWS_EXCEPTION(CipherError,
                                         decryptStream(input.get(), cipherPath.toStdString(),
                                                       output.get(), plainPath.toStdString(),
                                                       deriveArchiveKey(QStringLiteral("x")),
                                                       span(ivBytes)));
            }
        }
    }
};

QTEST_GUILESS_MAIN(ArchiveCipherMatchesOpenSsl)
#include "ArchiveCipherMatchesOpenSsl.moc"
