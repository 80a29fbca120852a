// The comment beside a backup: raw UTF-8 in one extended attribute, limited
// to 4000 user-perceived characters, with its log lines and failures.
#include "engine/DiagnosticLog.h"
#include "engine/FinderComment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>
#include <sys/xattr.h>

using namespace corvina;
using Case = FinderCommentError::Case;

namespace {

QString repeated(const QString& cluster, int count) {
    return cluster.repeated(count);
}

std::optional<QByteArray> rawAttribute(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    const ssize_t size = getxattr(name.constData(), finderCommentAttributeName, nullptr, 0);
    if (size < 0) {
        return std::nullopt;
    }
    QByteArray value(size, '\0');
    if (getxattr(name.constData(), finderCommentAttributeName, value.data(),
                 static_cast<size_t>(size)) != size) {
        return std::nullopt;
    }
    return value;
}

QString makeFile(const QString& folder) {
    const QString path = folder + QStringLiteral("/Backup_2024-01-01_00-00-00.halvorn");
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    return path;
}

const QString thumbsUp = QStringLiteral("\U0001F44D\U0001F3FD"); // 2 code points
const QString family =
    QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467"); // 5 code points

} // namespace

class FinderCommentKeepsUserPerceivedCharacters : public QObject {
    Q_OBJECT

    QStringList m_log;

private Q_SLOTS:
    void init() {
        m_log.clear();
        setDiagnosticLogSink([this](const QString& line) { m_log << line; });
    }
    void cleanup() { setDiagnosticLogSink({}); }

    void commentIsStoredAsCountedByGraphemes_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("truncated");
        QTest::addColumn<bool>("large");

        const QString a4000 = repeated(QStringLiteral("a"), 4000);
        QTest::newRow("umlauts and line ends")
            << QStringLiteral("Grüße\nzweite Zeile\n") << QStringLiteral("Grüße\nzweite Zeile\n")
            << false << false;
        QTest::newRow("exactly 4000") << a4000 << a4000 << false << false;
        QTest::newRow("4001 cut to 4000") << a4000 + QStringLiteral("b") << a4000 << true << false;
        // Thousands of multi-code-point clusters: far more than 4000 bytes and
        // code units, yet 4000 characters. ext4 keeps at most one block per
        // attribute, so these run on tmpfs.
        QTest::newRow("4000 emoji whole")
            << repeated(thumbsUp, 4000) << repeated(thumbsUp, 4000) << false << true;
        QTest::newRow("4001 emoji cut")
            << repeated(thumbsUp, 4001) << repeated(thumbsUp, 4000) << true << true;
        QTest::newRow("families count as one")
            << repeated(family, 3000) << repeated(family, 3000) << false << true;
        QTest::newRow("combining marks count with their base")
            << repeated(QStringLiteral("e\u0301"), 3999) + QStringLiteral("xy")
            << repeated(QStringLiteral("e\u0301"), 3999) + QStringLiteral("x") << true << true;
    }
    void commentIsStoredAsCountedByGraphemes() {
        QFETCH(QString, comment);
        QFETCH(QString, stored);
        QFETCH(bool, truncated);
        QFETCH(bool, large);

        QTemporaryDir folder(large ? QStringLiteral("/dev/shm/comment-XXXXXX")
                                   : QDir::tempPath() + QStringLiteral("/comment-XXXXXX"));
        QVERIFY(folder.isValid());
        const QString file = makeFile(folder.path());

        const EncryptionResult result = addFinderComment(comment, file);
        QCOMPARE(rawAttribute(file), std::optional<QByteArray>(stored.toUtf8()));
        QCOMPARE(readFinderComment(file), std::optional<QString>(stored));
        if (truncated) {
            QCOMPARE(result, EncryptionResult::failure(FinderCommentError::commentTooLong(stored)));
            QCOMPARE(result.error().userText(),
                     QStringLiteral("Der Kommentar ist zu lang und wurde auf 4000 Zeichen "
                                    "verkürzt."));
            QCOMPARE(
                result.error().logLine(),
                QStringLiteral("Комментарий слишком длинный и был обрезан до: 4000 символов."));
            QCOMPARE(m_log, QStringList{QStringLiteral("Комментарий был успешно добавлен, но "
                                                       "обрезан до 4000 символов: ") +
                                        stored});
        } else {
            QVERIFY(result.isSuccess());
            QCOMPARE(m_log, QStringList{QStringLiteral("Комментарий успешно добавлен к файлу.")});
        }
    }

    void emptyCommentWritesEmptyValueThatReadsAsNothing() {
        QTemporaryDir folder;
        const QString file = makeFile(folder.path());
        QVERIFY(addFinderComment(QStringLiteral("alt"), file).isSuccess());
        QVERIFY(addFinderComment(QString(), file).isSuccess());
        QCOMPARE(rawAttribute(file), std::optional<QByteArray>(QByteArray("")));
        QCOMPARE(readFinderComment(file), std::nullopt);
    }

    void unpairedSurrogateIsInvalidEncoding() {
        QTemporaryDir folder;
        const QString file = makeFile(folder.path());
        const QString broken = QStringLiteral("ab") + QChar(0xD800) + QStringLiteral("c");
        QCOMPARE(addFinderComment(broken, file), EncryptionResult::failure(Case::invalidEncoding));
        QCOMPARE(rawAttribute(file), std::nullopt);
        QVERIFY(m_log.isEmpty());
    }

    void foreignValuesRead_data() {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<std::optional<QString>>("expected");
        QTest::newRow("raw UTF-8") << QByteArray("Vor dem Update \xc3\xbc")
                                   << std::optional<QString>(QStringLiteral("Vor dem Update ü"));
        QTest::newRow("binary property list")
            << QByteArray("bplist00\xd4\x01\x02\x03\xff\xfe", 14) << std::optional<QString>();
        QTest::newRow("truncated sequence") << QByteArray("ab\xe2\x82") << std::optional<QString>();
    }
    void foreignValuesRead() {
        QFETCH(QByteArray, value);
        QFETCH(std::optional<QString>, expected);
        QTemporaryDir folder;
        const QString file = makeFile(folder.path());
        QCOMPARE(setxattr(QFile::encodeName(file).constData(), finderCommentAttributeName,
                          value.constData(), static_cast<size_t>(value.size()), 0),
                 0);
        QCOMPARE(readFinderComment(file), expected);
        QVERIFY(m_log.isEmpty());
    }

    void missingAttributeOrFileReadsAsNothing() {
        QTemporaryDir folder;
        QCOMPARE(readFinderComment(makeFile(folder.path())), std::nullopt);
        QCOMPARE(readFinderComment(folder.filePath(QStringLiteral("missing"))), std::nullopt);
    }

    void refusedAttributeIsFailedToAddCommentWithoutLogLine_data() {
        QTest::addColumn<bool>("withoutUserAttributes");
        QTest::newRow("missing file") << false;
        QTest::newRow("file system without user attributes") << true;
    }
    void refusedAttributeIsFailedToAddCommentWithoutLogLine() {
        QFETCH(bool, withoutUserAttributes);
        QTemporaryDir folder;
        QString file = folder.filePath(QStringLiteral("missing"));
        if (withoutUserAttributes) {
            // ramfs has no extended attributes at all.
            if (mount("ramfs", folder.path().toUtf8().constData(), "ramfs", 0, nullptr) != 0) {
                QSKIP("cannot mount a ramfs here (needs CAP_SYS_ADMIN)");
            }
            file = makeFile(folder.path());
        }
        const EncryptionResult result = addFinderComment(QStringLiteral("Kommentar"), file);
        if (withoutUserAttributes) {
            umount2(folder.path().toUtf8().constData(), MNT_DETACH);
        }
        QCOMPARE(result, EncryptionResult::failure(Case::failedToAddComment));
        QCOMPARE(result.error().userText(),
                 QStringLiteral("Der Kommentar konnte nicht hinzugefügt werden."));
        QVERIFY(m_log.isEmpty());
    }

    void tooLongCasesCompareTheirText() {
        QCOMPARE(FinderCommentError::commentTooLong(QStringLiteral("a")),
                 FinderCommentError::commentTooLong(QStringLiteral("a")));
        QVERIFY(FinderCommentError::commentTooLong(QStringLiteral("a")) !=
                FinderCommentError::commentTooLong(QStringLiteral("b")));
        QVERIFY(FinderCommentError(Case::decryptionFailed) !=
                FinderCommentError(Case::archiveCreationFailed));
    }
};

QTEST_GUILESS_MAIN(FinderCommentKeepsUserPerceivedCharacters)
#include "FinderCommentKeepsUserPerceivedCharacters.moc"
