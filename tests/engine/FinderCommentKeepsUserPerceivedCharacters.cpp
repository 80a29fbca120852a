// The comment beside a backup: raw UTF-8 in one extended attribute, at most
// 4000 user-perceived characters.
#include "engine/DiagnosticLog.h"
#include "engine/FinderComment.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/xattr.h>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

QString makeFile(const QTemporaryDir& folder) {
    const QString path = folder.filePath(u"Backup.halvorn"_s);
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
        const QString file = makeFile(folder);
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
