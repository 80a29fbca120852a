// createEncryptedArchive: a backup is standard AES-256-CBC over a standard
// ZIP that other tools accept, written beside its comment, and each failure
// leaves behind only what it should.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>

using namespace corvina;
using namespace corvina::testing;
using Case = FinderCommentError::Case;

namespace {

const QRegularExpression
    backupName(QStringLiteral("^Backup_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d\\.halvorn$"));
const QRegularExpression
    temporaryName(QStringLiteral("^\\.Backup_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d\\.zip$"));

QStringList folderNames(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

/// A small tree with the kinds of items a data folder holds.
void makeTree(const QString& data) {
    writeFile(data + QStringLiteral("/notes.txt"), "Pflegeplan\n");
    writeFile(data + QStringLiteral("/empty.bin"), {});
    writeFile(data + QStringLiteral("/.hidden"), "versteckt");
    writeFile(data + QStringLiteral("/Ordner mit Leerzeichen/Grüße.txt"), "Umlaute");
    QDir().mkpath(data + QStringLiteral("/leer"));
    QByteArray large(3 * 1024 * 1024 + 7, '\0');
    for (qsizetype i = 0; i < large.size(); ++i) {
        large[i] = static_cast<char>((i * 7919) >> 3);
    }
    writeFile(data + QStringLiteral("/db/large.sqlite"), large);
    QFile::link(QStringLiteral("notes.txt"), data + QStringLiteral("/link"));
    QFile::link(QStringLiteral("nowhere"), data + QStringLiteral("/dangling"));
}

EncryptionResult create(const QString& source, const QString& destination,
                        const QString& password = QStringLiteral("pw"),
                        const QString& comment = {}) {
    return EncryptionService::shared()
        .createEncryptedArchive(source, destination, password, comment)
        .result();
}

QString onlyBackup(const QString& folder) {
    const QStringList names = folderNames(folder).filter(backupName);
    return names.size() == 1 ? folder + QLatin1Char('/') + names.first() : QString();
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

    void backupIsStandardCipherOverStandardZip() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        const QString destination = work.filePath(QStringLiteral("Sicherungen/neu"));
        makeTree(data);
        const auto before = snapshot(data);

        QCOMPARE(
            create(data, destination, QStringLiteral("Passwort"), QStringLiteral("Vor dem Update")),
            EncryptionResult::success());
        QCOMPARE(snapshot(data), before);

        // Only the backup is left: the temporary ZIP and any unnamed file are gone.
        const QStringList names = folderNames(destination);
        QCOMPARE(names.size(), 1);
        QVERIFY2(backupName.match(names.first()).hasMatch(), qPrintable(names.first()));
        const QString backup = destination + QLatin1Char('/') + names.first();
        QCOMPARE(readFinderComment(backup),
                 std::optional<QString>(QStringLiteral("Vor dem Update")));

        const auto plain = opensslDecrypt(backup, QStringLiteral("Passwort"));
        QVERIFY(plain.has_value());
        QVERIFY(plain->startsWith("PK\x03\x04"));
        // Streaming gave exactly the one-shot ciphertext, padding included.
        const QByteArray cipher = readAll(backup);
        QCOMPARE(cipher.size(), (plain->size() / 16 + 1) * 16);
        QCOMPARE(cipher, aesEncrypt(*plain, deriveArchiveKey(QStringLiteral("Passwort")),
                                    QByteArray(archiveIv)));

        const QString zip = work.filePath(QStringLiteral("plain.zip"));
        QVERIFY(writeFile(zip, *plain));
        QVERIFY(runProgram(QStringLiteral("unzip"), {QStringLiteral("-tq"), zip}));
        QVERIFY(runProgram(python(),
                           {QStringLiteral("-c"),
                            QStringLiteral("import sys, zipfile; z = zipfile.ZipFile(sys.argv[1]); "
                                           "bad = z.testzip(); sys.exit(1 if bad else 0)"),
                            zip}));
        const auto listing = runProgram(QStringLiteral("bsdtar"), {QStringLiteral("-tf"), zip});
        QVERIFY(listing.has_value());
        const QStringList entries = QString::fromUtf8(*listing).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(entries.last(), QStringLiteral("Data/"));
        QVERIFY(entries.contains(QStringLiteral("Data/Ordner mit Leerzeichen/Grüße.txt")));
        QVERIFY(entries.contains(QStringLiteral("Data/dangling")));
        for (const QString& entry : entries) {
            QVERIFY2(entry.startsWith(QStringLiteral("Data/")), qPrintable(entry));
        }

        const QString temporaryZip = destination + QStringLiteral("/.Backup_") +
                                     names.first().mid(7, 19) + QStringLiteral(".zip");
        const QStringList expectedLog{
            QStringLiteral("Директория назначения успешно создана."),
            QStringLiteral("Архив успешно создан: ") + temporaryZip,
            QStringLiteral("Шифрование завершено. Затраченное время: "),
            QStringLiteral("Зашифрованный архив сохранён: ") + backup,
            QStringLiteral("Комментарий успешно добавлен к файлу."),
            QStringLiteral("Временный ZIP-файл удалён."),
        };
        QCOMPARE(m_log.size(), expectedLog.size());
        for (int i = 0; i < expectedLog.size(); ++i) {
            QVERIFY2(m_log[i].startsWith(expectedLog[i]), qPrintable(m_log[i]));
        }
        QVERIFY(m_log[2].endsWith(QStringLiteral(" секунд.")));
    }

    void commentRules_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<std::optional<QString>>("stored");
        QTest::addColumn<bool>("tooLong");
        QTest::newRow("empty") << QString() << std::optional<QString>() << false;
        QTest::newRow("spaces and tabs")
            << QStringLiteral(" \t \u00a0") << std::optional<QString>() << false;
        QTest::newRow("line end only")
            << QStringLiteral("\n") << std::optional<QString>(QStringLiteral("\n")) << false;
        QTest::newRow("kept untrimmed")
            << QStringLiteral("  Text  ") << std::optional<QString>(QStringLiteral("  Text  "))
            << false;
        QTest::newRow("4001 characters")
            << QStringLiteral("x").repeated(4001)
            << std::optional<QString>(QStringLiteral("x").repeated(4000)) << true;
    }
    void commentRules() {
        QFETCH(QString, comment);
        QFETCH(std::optional<QString>, stored);
        QFETCH(bool, tooLong);
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/a"), "a");

        const EncryptionResult result =
            create(data, work.filePath(QStringLiteral("out")), QStringLiteral("pw"), comment);
        const QString backup = onlyBackup(work.filePath(QStringLiteral("out")));
        QVERIFY(!backup.isEmpty());
        QCOMPARE(readFinderComment(backup), stored);
        const QStringList temporary =
            folderNames(work.filePath(QStringLiteral("out"))).filter(temporaryName);
        if (tooLong) {
            QCOMPARE(result,
                     EncryptionResult::failure(FinderCommentError::commentTooLong(*stored)));
            QCOMPARE(m_log.last(), QStringLiteral("Комментарий слишком длинный и был обрезан."));
            // The clean-up is skipped: the plain ZIP stays beside the backup,
            // readable by its owner only.
            QCOMPARE(temporary.size(), 1);
            QCOMPARE(
                QFileInfo(work.filePath(QStringLiteral("out/")) + temporary.first()).permissions(),
                QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        } else {
            QCOMPARE(result, EncryptionResult::success());
            QVERIFY(temporary.isEmpty());
        }
    }

    void missingSourceTouchesNothing() {
        QTemporaryDir work;
        const QString destination = work.filePath(QStringLiteral("out"));
        QCOMPARE(create(work.filePath(QStringLiteral("Data")), destination),
                 EncryptionResult::failure(Case::directoryNotFound));
        QVERIFY(!QFileInfo::exists(destination));
        QCOMPARE(m_log, QStringList{QStringLiteral("Ошибка: исходная директория не существует. ") +
                                    work.filePath(QStringLiteral("Data"))});
    }

    void destinationThatIsAFileFails() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/a"), "a");
        const QString destination = work.filePath(QStringLiteral("out"));
        writeFile(destination, "keine Mappe");
        const auto before = snapshot(work.path());
        QCOMPARE(create(data, destination), EncryptionResult::failure(Case::archiveCreationFailed));
        QCOMPARE(snapshot(work.path()), before);
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().startsWith(
            QStringLiteral("Ошибка при создании директории назначения: ")));
    }

    // A socket is packed as a file but cannot be opened, even by root: the
    // pack fails, the partial temporary ZIP stays, and no backup appears.
    void unopenableItemLeavesOnlyTheTemporaryZip() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/a"), "a");
        const int server = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray socketPath = QFile::encodeName(data + QStringLiteral("/socket"));
        QVERIFY(static_cast<std::size_t>(socketPath.size()) < sizeof address.sun_path);
        std::memcpy(address.sun_path, socketPath.constData(),
                    static_cast<std::size_t>(socketPath.size()));
        QCOMPARE(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const auto before = snapshot(data);

        const QString destination = work.filePath(QStringLiteral("out"));
        QCOMPARE(create(data, destination), EncryptionResult::failure(Case::archiveCreationFailed));
        close(server);
        QCOMPARE(snapshot(data), before);
        const QStringList names = folderNames(destination);
        QCOMPARE(names.size(), 1);
        QVERIFY2(temporaryName.match(names.first()).hasMatch(), qPrintable(names.first()));
        QVERIFY(
            m_log.last().startsWith(QStringLiteral("Ошибка при создании зашифрованного архива: ")));
    }

    void fullDiskFailsWithoutBackup() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        QByteArray noise(3 * 1024 * 1024, '\0');
        for (qsizetype i = 0; i < noise.size(); ++i) {
            noise[i] = static_cast<char>(i * 2654435761u >> 13);
        }
        writeFile(data + QStringLiteral("/big"), noise);
        const QString destination = work.filePath(QStringLiteral("small"));
        QDir().mkpath(destination);
        // Room for the plain ZIP but not also for its ciphertext.
        ScopedMount disk(destination, "tmpfs", "size=4m");
        if (!disk.isMounted()) {
            QSKIP("cannot mount a tmpfs here (needs CAP_SYS_ADMIN)");
        }
        QCOMPARE(create(data, destination), EncryptionResult::failure(Case::archiveCreationFailed));
        QVERIFY(folderNames(destination).filter(backupName).isEmpty());
    }

    void fileSystemWithoutAttributesKeepsBackupWithoutComment() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/a"), "a");
        const QString destination = work.filePath(QStringLiteral("ramfs"));
        QDir().mkpath(destination);
        ScopedMount disk(destination, "ramfs");
        if (!disk.isMounted()) {
            QSKIP("cannot mount a ramfs here (needs CAP_SYS_ADMIN)");
        }
        QCOMPARE(create(data, destination, QStringLiteral("pw"), QStringLiteral("Kommentar")),
                 EncryptionResult::failure(Case::failedToAddComment));
        QVERIFY(!onlyBackup(destination).isEmpty());
        QCOMPARE(folderNames(destination).filter(temporaryName).size(), 1);
        QCOMPARE(m_log.last(), QStringLiteral("Не удалось добавить комментарий к файлу."));
    }

    // Two runs in the same second share the name: the second replaces the
    // first as a whole, and the old comment stays when no new one is given.
    void backupOfSameSecondReplacesTheOldOne() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/a"), "neu");
        const QString destination = work.filePath(QStringLiteral("out"));
        const QDateTime now = QDateTime::currentDateTime();
        for (int second = 0; second < 4; ++second) {
            const QString name =
                destination + QStringLiteral("/Backup_") +
                now.addSecs(second).toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss")) +
                QStringLiteral(".halvorn");
            QVERIFY(writeFile(name, "alt"));
            QVERIFY(addFinderComment(QStringLiteral("alter Kommentar"), name).isSuccess());
        }
        QCOMPARE(create(data, destination), EncryptionResult::success());
        int replaced = 0;
        for (const QString& name : folderNames(destination)) {
            const QString path = destination + QLatin1Char('/') + name;
            QCOMPARE(readFinderComment(path),
                     std::optional<QString>(QStringLiteral("alter Kommentar")));
            if (readAll(path) != "alt") {
                ++replaced;
                QVERIFY(opensslDecrypt(path, QStringLiteral("pw")).has_value());
            }
        }
        QCOMPARE(replaced, 1);
        QCOMPARE(folderNames(destination).size(), 4);
    }
};

QTEST_GUILESS_MAIN(BackupCreationWritesStandardFiles)
#include "BackupCreationWritesStandardFiles.moc"
