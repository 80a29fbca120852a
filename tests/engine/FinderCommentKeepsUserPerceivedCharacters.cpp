// The comment beside a backup: raw UTF-8 in one extended attribute, at most
// 4000 user-perceived characters.
#include "engine/DiagnosticLog.h"
#include "engine/FinderComment.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/xattr.h>

using namespace corvina;

namespace {

QString makeFile(const QTemporaryDir& folder) {
    const QString path = folder.filePath(QStringLiteral("Backup.halvorn"));
    QFile(path).open(QIODevice::WriteOnly);
    return path;
}

QByteArray rawValue(const QString& path) {
    QByteArray value(70000, '\0');
    const ssize_t size = getxattr(QFile::encodeName(path).constData(), finderCommentAttributeName,
                                  value.data(), static_cast<size_t>(value.size()));
    return size < 0 ? QByteArray("<none>") : value.left(size);
}

const QString thumbsUp = QStringLiteral("\U0001F44D\U0001F3FD");
const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467");

} // namespace

class FinderCommentKeepsUserPerceivedCharacters : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commentIsCutAtGraphemes_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("stored");
        const QString a4000 = QStringLiteral("a").repeated(4000);
        QTest::newRow("line ends kept") << QStringLiteral("Grüße\n") << QStringLiteral("Grüße\n");
        QTest::newRow("exactly 4000") << a4000 << a4000;
        QTest::newRow("4001 cut") << a4000 + QStringLiteral("b") << a4000;
        // Far more bytes and code units than characters; ext4 holds about
        // 4 KiB per attribute, so these rows use tmpfs.
        QTest::newRow("4000 emoji whole") << thumbsUp.repeated(4000) << thumbsUp.repeated(4000);
        QTest::newRow("4001 emoji cut") << thumbsUp.repeated(4001) << thumbsUp.repeated(4000);
        QTest::newRow("families count as one") << family.repeated(3000) << family.repeated(3000);
        QTest::newRow("combining marks stay with their base")
            << QStringLiteral("e\u0301").repeated(4001) << QStringLiteral("e\u0301").repeated(4000);
    }
    void commentIsCutAtGraphemes() {
        QFETCH(QString, comment);
        QFETCH(QString, stored);
        QTemporaryDir folder(QStringLiteral("/dev/shm/comment-XXXXXX"));
        const QString file = makeFile(folder);
        QStringList log;
        setDiagnosticLogSink([&log](const QString& line) { log << line; });
        const EncryptionResult result = addFinderComment(comment, file);
        setDiagnosticLogSink({});

        QCOMPARE(rawValue(file), stored.toUtf8());
        QCOMPARE(readFinderComment(file), std::optional<QString>(stored));
        if (comment == stored) {
            QVERIFY(result.isSuccess());
            QCOMPARE(log, QStringList{QStringLiteral("Комментарий успешно добавлен к файлу.")});
            return;
        }
        QCOMPARE(result, EncryptionResult::failure(FinderCommentError::commentTooLong(stored)));
        QCOMPARE(result.error().userText(),
                 QStringLiteral("Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt."));
        QCOMPARE(log, QStringList{QStringLiteral("Комментарий был успешно добавлен, но обрезан до "
                                                 "4000 символов: ") +
                                  stored});
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
        const QString file = makeFile(folder);
        if (!value.isNull()) {
            setxattr(QFile::encodeName(file).constData(), finderCommentAttributeName,
                     value.constData(), static_cast<size_t>(value.size()), 0);
        }
        QCOMPARE(readFinderComment(file), std::nullopt);
    }

    void unwritableTextsFail() {
        QTemporaryDir folder;
        const QString file = makeFile(folder);
        const QString unpaired = QStringLiteral("ab") + QChar(0xD800);
        QCOMPARE(addFinderComment(unpaired, file),
                 EncryptionResult::failure(FinderCommentError::Case::invalidEncoding));
        QCOMPARE(rawValue(file), QByteArray("<none>"));
        QCOMPARE(addFinderComment(QStringLiteral("x"), folder.filePath(QStringLiteral("missing"))),
                 EncryptionResult::failure(FinderCommentError::Case::failedToAddComment));
    }
};

QTEST_GUILESS_MAIN(FinderCommentKeepsUserPerceivedCharacters)
#include "FinderCommentKeepsUserPerceivedCharacters.moc"
