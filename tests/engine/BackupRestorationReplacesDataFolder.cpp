// restoreEncryptedArchive: a backup comes back exactly, foreign archives
// restore, and every failure before the data folder is emptied leaves it as
// it was, with only the leftovers of its row.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"

#include <QTemporaryDir>
#include <QTest>

using namespace corvina;
using namespace corvina::testing;
using Case = FinderCommentError::Case;

namespace {

const QString craftZip = QStringLiteral(CORVINA_TEST_SCRIPTS "/craft_zip.py");

EncryptionResult restore(const QString& backup, const QString& container,
                         const QString& password = QStringLiteral("pw")) {
    return EncryptionService::shared()
        .restoreEncryptedArchive(backup, container, password)
        .result();
}

/// A backup of a ZIP written by Python's zipfile with the given entries
/// ("path=content", "path->target", "path/"), or of `plain` as it stands.
QString backupOf(const QString& folder, const QStringList& entries, const QByteArray& plain = {}) {
    const QString zip = folder + QStringLiteral("/plain.zip");
    const QString backup = folder + QStringLiteral("/backup.halvorn");
    if (entries.isEmpty()) {
        writeFile(zip, plain);
    } else if (!runProgram(python(),
                           QStringList{craftZip, QStringLiteral("entries"), zip} + entries)) {
        return {};
    }
    return openssl(false, zip, backup, QStringLiteral("pw")) ? backup : QString();
}

QStringList names(const QString& folder) {
    QStringList found =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    found.sort(Qt::CaseSensitive);
    return found;
}

/// Restored files have two-second times; links and folders are made by the
/// restore itself and carry no stored time.
QMap<QString, Item> asRestored(QMap<QString, Item> items) {
    for (Item& item : items) {
        item.mtime = item.type == 'l' ? 0 : item.mtime - item.mtime % 2;
    }
    return items;
}

} // namespace

class BackupRestorationReplacesDataFolder : public QObject {
    Q_OBJECT

    QStringList m_log;

private Q_SLOTS:
    void init() {
        m_log.clear();
        setDiagnosticLogSink([this](const QString& line) { m_log << line; });
    }
    void cleanup() { setDiagnosticLogSink({}); }

    void roundTripBringsTreeBackOverOldData() {
        QTemporaryDir work;
        const QString source = work.filePath(QStringLiteral("source/Data"));
        const auto file = [&](const char* name, const QByteArray& content, mode_t mode,
                              time_t mtime) {
            const QString path = source + QLatin1Char('/') + QString::fromUtf8(name);
            writeFile(path, content);
            chmod(QFile::encodeName(path).constData(), mode);
            const timeval times[2] = {{mtime, 0}, {mtime, 0}};
            utimes(QFile::encodeName(path).constData(), times);
        };
        file("notes.txt", "Pflegeplan\n", 0640, 981173106);
        file("empty.bin", {}, 0600, 1262401385); // odd second
        file(".hidden", "versteckt", 0644, 981173106);
        file("Grüße – März/datei mit Leerzeichen", "Umlaute", 0644, 981173106);
        file("setuid-tool", "#!/bin/sh\n", 04755, 981173106);
        file("sticky", "sticky", 01644, 981173106);
        QDir().mkpath(source + QStringLiteral("/leer"));
        QFile::link(QStringLiteral("notes.txt"), source + QStringLiteral("/link"));
        QFile::link(QStringLiteral("nowhere"), source + QStringLiteral("/dangling"));
        QFile::link(QStringLiteral("../notes.txt"), source + QStringLiteral("/leer/hoch"));
        // A link whose path holds a space or an umlaut is made at the
        // percent-escaped path, in a folder that does not exist: skipped.
        QFile::link(QStringLiteral("x"), source + QStringLiteral("/Grüße – März/verweis"));
        auto expected = asRestored(snapshot(source));
        expected.remove(QStringLiteral("Grüße – März/verweis"));

        const QString container = work.filePath(QStringLiteral("container"));
        writeFile(container + QStringLiteral("/Data/.alt-versteckt"), "alt");
        writeFile(container + QStringLiteral("/Data/altordner/x"), "alt");
        const CreatedBackup created =
            EncryptionService::shared()
                .createBackup(source, work.path(), QStringLiteral("pw"), {})
                .result();
        m_log.clear();
        QCOMPARE(restore(created.backupFile, container), EncryptionResult::success());
        QCOMPARE(asRestored(snapshot(container + QStringLiteral("/Data"))), expected);
        QCOMPARE(names(container), QStringList{QStringLiteral("Data")});
        QCOMPARE(m_log.filter(QStringLiteral("Ошибка создания символической ссылки: ")).size(), 1);
        QVERIFY(m_log.contains(QStringLiteral(
            "Символическая ссылка Data/link восстановлена, указывает на notes.txt.")));
    }

    void logLinesFollowTheSteps() {
        QTemporaryDir work;
        const QString backup =
            backupOf(work.path(), {QStringLiteral("Data/d/"), QStringLiteral("Data/d/a=inhalt")});
        const QString c = work.filePath(QStringLiteral("c"));
        QDir().mkpath(c + QStringLiteral("/Data"));
        QCOMPARE(restore(backup, c), EncryptionResult::success());
        QCOMPARE(
            m_log,
            QStringList(
                {QStringLiteral("Размер зашифрованного архива: 0.000213623046875 МБ"),
                 QStringLiteral("Начало расшифровки данных архива."),
                 QStringLiteral("Расшифровка завершена. Размер расшифрованных данных: "
                                "%1 байт")
                     .arg(QFileInfo(work.filePath(QStringLiteral("plain.zip"))).size()),
                 QStringLiteral("Временный расшифрованный архив сохранен: %1/.decryptedArchive.zip")
                     .arg(c),
                 QStringLiteral("Архив успешно открыт для чтения. Начало распаковки."),
                 QStringLiteral("Обрабатывается файл: Data/d/"),
                 QStringLiteral("Тип записи: директория"),
                 QStringLiteral("Обрабатывается файл: Data/d/a"),
                 QStringLiteral("Тип записи: файл"),
                 QStringLiteral("Файл успешно извлечен: %1/.TempData/d/a").arg(c),
                 QStringLiteral("Распаковка завершена."),
                 QStringLiteral("Очистка директории: %1/Data").arg(c),
                 QStringLiteral("Данные успешно восстановлены в директорию: %1/Data").arg(c),
                 QStringLiteral("Временные файлы удалены.")}));
    }

    void failureLeavesDataFolderUntouched_data() {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<int>("expected");
        QTest::addColumn<bool>("unpacked");
        const int failed = static_cast<int>(Case::archiveCreationFailed);
        const int notZip = static_cast<int>(Case::missingEndOfCentralDirectoryRecord);
        const QStringList good{QStringLiteral("Data/a=1")};
        QTest::newRow("wrong password") << good << QByteArray("password") << failed << false;
        QTest::newRow("truncated backup") << good << QByteArray("truncate") << failed << false;
        QTest::newRow("empty backup") << QStringList() << QByteArray("empty")
                                      << static_cast<int>(Case::encryptedFileNotFound) << false;
        QTest::newRow("missing backup")
            << QStringList() << QByteArray("missing") << failed << false;
        QTest::newRow("plaintext is no ZIP")
            << QStringList() << QByteArray(100, 'z') << notZip << false;
        QTest::newRow("shorter than a signature")
            << QStringList() << QByteArray("PK\x03") << notZip << false;
        QTest::newRow("signature without end record")
            << QStringList() << QByteArray("PK\x03\x04garbage") << failed << true;
        QTest::newRow("dot-dot entry") << QStringList{QStringLiteral("Data/../../outside/evil=x")}
                                       << QByteArray() << failed << true;
        QTest::newRow("absolute entry")
            << QStringList{QStringLiteral("@/outside/evil=x")} << QByteArray() << failed << true;
        QTest::newRow("entry through a link")
            << QStringList{QStringLiteral("Data/l->@/outside"), QStringLiteral("Data/l/evil=x")}
            << QByteArray() << failed << true;
        QTest::newRow("link through a link")
            << QStringList{QStringLiteral("Data/l->@/outside"), QStringLiteral("Data/l/evil->/etc")}
            << QByteArray() << failed << true;
    }
    // An earlier run's plain ZIP survives a failure before the new one is
    // written; after it, the row's leftovers stay and the ZIP is 0600.
    void failureLeavesDataFolderUntouched() {
        QFETCH(QStringList, entries);
        QFETCH(QByteArray, plain);
        QFETCH(int, expected);
        QFETCH(bool, unpacked);
        QTemporaryDir work;
        const QString c = work.filePath(QStringLiteral("container"));
        writeFile(c + QStringLiteral("/Data/.wichtig"), "Daten");
        writeFile(c + QStringLiteral("/.decryptedArchive.zip"), "earlier run");
        QDir().mkpath(work.filePath(QStringLiteral("outside")));
        for (QString& entry : entries) {
            entry.replace(QLatin1Char('@'), work.path());
        }
        const auto dataBefore = snapshot(c + QStringLiteral("/Data"));
        QString backup = work.filePath(QStringLiteral("backup.halvorn"));
        QString password = QStringLiteral("pw");
        if (plain == "empty") {
            writeFile(backup, {});
        } else if (plain != "missing") {
            backup = backupOf(work.path(), entries, plain);
            QVERIFY(!backup.isEmpty());
        }
        if (plain == "password") {
            password = QStringLiteral("falsch");
        } else if (plain == "truncate") {
            QFile::resize(backup, QFileInfo(backup).size() - 5);
        }
        QCOMPARE(restore(backup, c, password),
                 EncryptionResult::failure(static_cast<Case>(expected)));
        QCOMPARE(snapshot(c + QStringLiteral("/Data")), dataBefore);
        QVERIFY(snapshot(work.filePath(QStringLiteral("outside"))).isEmpty());
        QCOMPARE(names(c), unpacked ? QStringList({".TempData", ".decryptedArchive.zip", "Data"})
                                    : QStringList({".decryptedArchive.zip", "Data"}));
        QCOMPARE(readAll(c + QStringLiteral("/.decryptedArchive.zip")) == "earlier run", !unpacked);
        if (unpacked) {
            QCOMPARE(QFileInfo(c + QStringLiteral("/.decryptedArchive.zip")).permissions(),
                     QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        }
    }

    void foreignArchivesRestore_data() {
        QTest::addColumn<QString>("tool");
        QTest::newRow("Info-ZIP zip") << QStringLiteral("zip");
        QTest::newRow("Python zipfile") << QStringLiteral("python");
        QTest::newRow("bsdtar") << QStringLiteral("bsdtar");
    }
    void foreignArchivesRestore() {
        QFETCH(QString, tool);
        QTemporaryDir work;
        const QString source = work.filePath(QStringLiteral("src/Data"));
        writeFile(source + QStringLiteral("/text.txt"), QByteArray("Zeile\n").repeated(5000));
        writeFile(source + QStringLiteral("/Grüße.txt"), "Umlaut");
        writeFile(source + QStringLiteral("/unter/leer.bin"), {});
        QDir().mkpath(source + QStringLiteral("/leerer-ordner"));
        QFile::link(QStringLiteral("../text.txt"), source + QStringLiteral("/unter/hoch"));
        const QString zip = work.filePath(QStringLiteral("plain.zip"));
        const QString parent = work.filePath(QStringLiteral("src"));
        const QStringList arguments =
            tool == QLatin1String("zip")      ? QStringList{"-qry", zip, "Data"}
            : tool == QLatin1String("bsdtar") ? QStringList{"--format", "zip", "-cf", zip, "Data"}
                                              : QStringList{craftZip, "tree", zip, source};
        QVERIFY(runProgram(tool == QLatin1String("python") ? python() : tool, arguments, parent));
        auto expected = snapshot(source);
        if (tool == QLatin1String("zip")) {
            // Info-ZIP leaves flag bit 11 clear: the name is code page 437,
            // as Python's zipfile reads it too.
            expected.insert(QStringLiteral("Gr├╝├ƒe.txt"),
                            expected.take(QStringLiteral("Grüße.txt")));
        } else if (tool == QLatin1String("python")) {
            // Streamed entries have a local size of 0; a link target is read
            // by that size, comes back empty, and the link is skipped.
            expected.remove(QStringLiteral("unter/hoch"));
            expected.insert(QStringLiteral("zip64.txt"),
                            {'f', 0, 0, QByteArray("ZIP64 extra field\n").repeated(100)});
        }
        const QString c = work.filePath(QStringLiteral("c"));
        QDir().mkpath(c);
        QVERIFY(
            openssl(false, zip, work.filePath(QStringLiteral("b.halvorn")), QStringLiteral("pw")));
        QCOMPARE(restore(work.filePath(QStringLiteral("b.halvorn")), c),
                 EncryptionResult::success());
        auto restored = snapshot(c + QStringLiteral("/Data"));
        for (auto* items : {&expected, &restored}) {
            for (Item& item : *items) {
                item.mtime = 0; // other tools keep their own times and modes
                item.mode = 0;
            }
        }
        QCOMPARE(restored, expected);
    }

    // A link entry claiming gigabytes is skipped as too long, never read.
    void absurdLinkSizeIsSkippedUnread() {
        QTemporaryDir work;
        const QString zip = work.filePath(QStringLiteral("plain.zip"));
        QVERIFY(runProgram(python(), {craftZip, QStringLiteral("entries"), zip,
                                      QStringLiteral("Data/a=1"), QStringLiteral("Data/l->a")}));
        QByteArray bytes = readAll(zip);
        const qsizetype header = bytes.indexOf(QByteArray("PK\x03\x04", 4), 1);
        bytes.replace(header + 18, 4, QByteArray("\xf0\xff\xff\xff", 4));
        const QString c = work.filePath(QStringLiteral("c"));
        QDir().mkpath(c);
        QCOMPARE(restore(backupOf(work.path(), {}, bytes), c), EncryptionResult::success());
        QCOMPARE(snapshot(c + QStringLiteral("/Data")).keys(), QStringList{QStringLiteral("a")});
        const VerificationReport report =
            EncryptionService::shared()
                .verifyEncryptedArchive(work.filePath(QStringLiteral("backup.halvorn")),
                                        QStringLiteral("pw"))
                .result();
        QCOMPARE(report.firstDamagedEntry, QStringLiteral("Data/l"));
    }
};

QTEST_GUILESS_MAIN(BackupRestorationReplacesDataFolder)
#include "BackupRestorationReplacesDataFolder.moc"
