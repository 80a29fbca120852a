// createEncryptedArchive: a backup is one-shot AES-256-CBC over a ZIP of the
// data folder, and each failure leaves only what it should.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>

using namespace corvina;
using namespace corvina::testing;
using Case = FinderCommentError::Case;

namespace {

const QString backupPattern =
    QStringLiteral("Backup_\\d{4}(-\\d\\d){2}_\\d\\d(-\\d\\d){2}\\.halvorn");
const QString zipPattern = QStringLiteral("\\.Backup_\\d{4}(-\\d\\d){2}_\\d\\d(-\\d\\d){2}\\.zip");

QStringList names(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                      QDir::NoDotAndDotDot,
                                  QDir::Name | QDir::IgnoreCase);
}

/// The names of a folder matched one by one against patterns.
bool namesMatch(const QString& folder, const QStringList& patterns) {
    const QStringList found = names(folder);
    if (found.size() != patterns.size()) {
        qWarning() << found;
        return false;
    }
    for (qsizetype i = 0; i < found.size(); ++i) {
        if (!QRegularExpression(QRegularExpression::anchoredPattern(patterns[i]))
                 .match(found[i])
                 .hasMatch()) {
            qWarning() << found;
            return false;
        }
    }
    return true;
}

CreatedBackup create(const QString& source, const QString& destination,
                     const QString& comment = {}) {
    return EncryptionService::shared()
        .createBackup(source, destination, QStringLiteral("pw"), comment)
        .result();
}

} // namespace

class BackupCreationWritesStandardFiles : public QObject {
    Q_OBJECT

    QStringList m_log;

private Q_SLOTS:
    void init() {
        m_log.clear();
        setDiagnosticLogSink([this](const QString& line) { m_log << line; });
    }
    void cleanup() { setDiagnosticLogSink({}); }

    void backupIsOneShotCipherOfItsZip() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/.hidden"), "versteckt");
        writeFile(data + QStringLiteral("/db/large.sqlite"), QByteArray(3 * 1048576 + 7, 'q'));
        QFile::link(QStringLiteral("nowhere"), data + QStringLiteral("/dangling"));
        const auto before = snapshot(data);
        const QString destination = work.filePath(QStringLiteral("neu/Sicherungen"));

        const CreatedBackup created = create(data, destination, QStringLiteral("Vor dem Update"));
        QCOMPARE(created.result, EncryptionResult::success());
        QCOMPARE(snapshot(data), before);
        QVERIFY(namesMatch(destination, {backupPattern}));
        QCOMPARE(readFinderComment(created.backupFile), QStringLiteral("Vor dem Update"));

        const QString zip = work.filePath(QStringLiteral("plain.zip"));
        QVERIFY(openssl(true, created.backupFile, zip, QStringLiteral("pw")));
        QVERIFY(readAll(zip).startsWith("PK\x03\x04"));
        QCOMPARE(readAll(created.backupFile),
                 aesEncrypt(readAll(zip), deriveArchiveKey(QStringLiteral("pw")),
                            QByteArray(archiveIv)));

        const QString stamp = QFileInfo(created.backupFile).completeBaseName().mid(7);
        const QStringList expected{
            QStringLiteral("Директория назначения успешно создана."),
            QStringLiteral("Архив успешно создан: %1/.Backup_%2.zip").arg(destination, stamp),
            QStringLiteral("Шифрование завершено. Затраченное время: "),
            QStringLiteral("Зашифрованный архив сохранён: ") + created.backupFile,
            QStringLiteral("Комментарий успешно добавлен к файлу."),
            QStringLiteral("Временный ZIP-файл удалён.")};
        QCOMPARE(m_log.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            QVERIFY2(m_log[i].startsWith(expected[i]), qPrintable(m_log[i]));
        }
    }

    void commentRules_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<std::optional<QString>>("stored");
        QTest::newRow("spaces, tabs, no-break space")
            << QStringLiteral(" \t\u00a0") << std::optional<QString>();
        QTest::newRow("line end only")
            << QStringLiteral("\n") << std::optional<QString>(QStringLiteral("\n"));
        QTest::newRow("stored untrimmed")
            << QStringLiteral(" a ") << std::optional<QString>(QStringLiteral(" a "));
        QTest::newRow("4001 characters")
            << QStringLiteral("x").repeated(4001)
            << std::optional<QString>(QStringLiteral("x").repeated(4000));
    }
    void commentRules() {
        QFETCH(QString, comment);
        QFETCH(std::optional<QString>, stored);
        QTemporaryDir work;
        writeFile(work.filePath(QStringLiteral("Data/a")), "a");
        const CreatedBackup created = create(work.filePath(QStringLiteral("Data")),
                                             work.filePath(QStringLiteral("out")), comment);
        QCOMPARE(readFinderComment(created.backupFile), stored);
        if (comment.size() <= 4000) {
            QCOMPARE(created.result, EncryptionResult::success());
            return;
        }
        QCOMPARE(created.result,
                 EncryptionResult::failure(FinderCommentError::commentTooLong(*stored)));
        QCOMPARE(m_log.last(), QStringLiteral("Комментарий слишком длинный и был обрезан."));
        // The clean-up is skipped: the plain ZIP stays, readable by its owner only.
        QVERIFY(namesMatch(work.filePath(QStringLiteral("out")), {zipPattern, backupPattern}));
        const QString zip = work.filePath(QStringLiteral("out/")) +
                            names(work.filePath(QStringLiteral("out"))).first();
        QCOMPARE(QFileInfo(zip).permissions(),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
    }

    void failureLeavesOnlyWhatItShould_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QStringList>("leftovers");
        const int failed = static_cast<int>(Case::archiveCreationFailed);
        QTest::newRow("missing source")
            << "missing source" << static_cast<int>(Case::directoryNotFound)
            << QStringList{QStringLiteral("<absent>")};
        QTest::newRow("destination is a file")
            << "file" << failed << QStringList{QStringLiteral("<file>")};
        // A socket is packed as a file but opens for nobody, root included.
        QTest::newRow("unopenable item") << "socket" << failed << QStringList{zipPattern};
        QTest::newRow("full disk") << "tmpfs" << failed << QStringList{zipPattern};
        QTest::newRow("no user attributes") << "ramfs" << static_cast<int>(Case::failedToAddComment)
                                            << QStringList{zipPattern, backupPattern};
    }
    void failureLeavesOnlyWhatItShould() {
        QFETCH(QString, kind);
        QFETCH(int, expected);
        QFETCH(QStringList, leftovers);
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        const QString destination = work.filePath(QStringLiteral("out"));
        if (kind != QLatin1String("missing source")) {
            writeFile(data + QStringLiteral("/big"), QByteArray(3 * 1048576, 'b'));
        }
        int server = -1;
        if (kind == QLatin1String("socket")) {
            server = socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{AF_UNIX, {}};
            qstrncpy(address.sun_path,
                     QFile::encodeName(data + QStringLiteral("/socket")).constData(),
                     sizeof address.sun_path);
            QCOMPARE(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        }
        kind == QLatin1String("file") ? writeFile(destination, "keine Mappe")
                                      : QDir().mkpath(destination);
        std::optional<ScopedMount> disk;
        if (kind == QLatin1String("tmpfs") || kind == QLatin1String("ramfs")) {
            // The tmpfs has room for the plain ZIP but not also for its ciphertext.
            disk.emplace(destination, kind.toLatin1().constData(), "size=4m");
            if (!disk->isMounted()) {
                QSKIP("cannot mount a scratch file system here (needs CAP_SYS_ADMIN)");
            }
        }
        const auto before = snapshot(data);

        const CreatedBackup created = create(kind == QLatin1String("missing source")
                                                 ? work.filePath(QStringLiteral("missing"))
                                                 : data,
                                             destination, QStringLiteral("Kommentar"));
        QCOMPARE(created.result, EncryptionResult::failure(static_cast<Case>(expected)));
        QCOMPARE(snapshot(data), before);
        if (leftovers.first() == QLatin1String("<absent>")) {
            QDir().rmdir(destination);
            QVERIFY(!QFileInfo::exists(destination));
        } else if (leftovers.first() == QLatin1String("<file>")) {
            QCOMPARE(readAll(destination), QByteArray("keine Mappe"));
        } else {
            QVERIFY(namesMatch(destination, leftovers));
        }
        if (server >= 0) {
            close(server);
        }
    }

    // Two runs in one second share the name: the second replaces the first
    // whole, and keeps its comment when it brings none, as an overwrite would.
    void backupOfSameSecondReplacesTheOldOne() {
        QTemporaryDir work;
        writeFile(work.filePath(QStringLiteral("Data/a")), "neu");
        const QString destination = work.filePath(QStringLiteral("out"));
        const QDateTime now = QDateTime::currentDateTime();
        for (int second = 0; second < 6; ++second) {
            const QString name =
                QStringLiteral("%1/Backup_%2.halvorn")
                    .arg(destination,
                         now.addSecs(second).toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss")));
            writeFile(name, "alt");
            QVERIFY(addFinderComment(QStringLiteral("alter Kommentar"), name).isSuccess());
        }
        const CreatedBackup created = create(work.filePath(QStringLiteral("Data")), destination);
        QCOMPARE(created.result, EncryptionResult::success());
        QCOMPARE(names(destination).size(), 6);
        QVERIFY(readAll(created.backupFile) != "alt");
        QCOMPARE(readFinderComment(created.backupFile), QStringLiteral("alter Kommentar"));
    }
};

QTEST_GUILESS_MAIN(BackupCreationWritesStandardFiles)
#include "BackupCreationWritesStandardFiles.moc"
