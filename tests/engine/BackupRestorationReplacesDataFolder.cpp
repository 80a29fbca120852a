// restoreEncryptedArchive and verifyEncryptedArchive: a backup comes back
// exactly, foreign archives restore, and every failure before the data folder
// is emptied leaves it as it was, with only the leftovers its row allows.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "engine/LogText.h"

#include <QTemporaryDir>
#include <QTest>

using namespace corvina;
using namespace corvina::testing;
using Case = FinderCommentError::Case;

namespace {

const QString scripts = QStringLiteral(CORVINA_TEST_SCRIPTS);

/// Two fixed old times, one on an odd second: ZIP keeps two-second grain.
constexpr time_t oldEven = 981173106; // 2001-02-03 04:05:06 UTC
constexpr time_t oldOdd = 1262401385;

void makeTree(const QString& data) {
    const auto file = [&](const QString& name, const QByteArray& content, mode_t mode,
                          time_t mtime) {
        const QString path = data + QLatin1Char('/') + name;
        writeFile(path, content);
        chmod(QFile::encodeName(path).constData(), mode);
        setModificationTime(path, mtime);
    };
    const auto link = [&](const QString& name, const QString& target) {
        QDir().mkpath(QFileInfo(data + QLatin1Char('/') + name).path());
        symlink(QFile::encodeName(target).constData(),
                QFile::encodeName(data + QLatin1Char('/') + name).constData());
        setModificationTime(data + QLatin1Char('/') + name, oldEven);
    };
    file(QStringLiteral("notes.txt"), "Pflegeplan\n", 0640, oldEven);
    file(QStringLiteral("empty.bin"), {}, 0600, oldOdd);
    file(QStringLiteral(".hidden"), "versteckt", 0644, oldEven);
    file(QStringLiteral("Grüße – März.txt"), "Umlaute im Namen", 0644, oldEven);
    file(QStringLiteral("Ordner mit Leerzeichen/datei.txt"), "Leerzeichen", 0644, oldEven);
    file(QStringLiteral("setuid-tool"), "#!/bin/sh\n", 04755, oldEven);
    file(QStringLiteral("sticky"), "sticky", 01644, oldEven);
    file(QStringLiteral("tief/unten/ganz/datei"), QByteArray(100000, 'x'), 0644, oldOdd);
    QDir().mkpath(data + QStringLiteral("/leer"));
    link(QStringLiteral("link"), QStringLiteral("notes.txt"));
    link(QStringLiteral("dangling"), QStringLiteral("nowhere"));
    link(QStringLiteral("absolute"), QStringLiteral("/etc/hostname"));
    link(QStringLiteral("tief/hoch"), QStringLiteral("../notes.txt"));
}

/// What a restore must give for a snapshot of the source: file times at
/// two-second grain. Links are made by the restore itself, not extracted, so
/// they get no stored time; folders are created, not extracted, either.
QMap<QString, Item> atZipGrain(QMap<QString, Item> items) {
    for (Item& item : items) {
        item.mtime -= item.mtime % 2;
    }
    return items;
}

QMap<QString, Item> withoutLinkTimes(QMap<QString, Item> items) {
    for (Item& item : items) {
        if (item.type == 'l') {
            item.mtime = 0;
        }
    }
    return items;
}

EncryptionResult restore(const QString& backup, const QString& container,
                         const QString& password = QStringLiteral("pw")) {
    return EncryptionService::shared()
        .restoreEncryptedArchive(backup, container, password)
        .result();
}

QString makeBackup(const QString& data, const QString& folder,
                   const QString& password = QStringLiteral("pw")) {
    const CreatedBackup created =
        EncryptionService::shared().createBackup(data, folder, password, {}).result();
    return created.result.isSuccess() ? created.backupFile : QString();
}

/// An archive from craft_zip.py, encrypted as a backup.
QString craftedBackup(const QString& folder, const QStringList& specs) {
    const QString zip = folder + QStringLiteral("/crafted.zip");
    const QString backup = folder + QStringLiteral("/crafted.halvorn");
    if (!runProgram(python(), QStringList{scripts + QStringLiteral("/craft_zip.py"),
                                          QStringLiteral("entries"), zip} +
                                  specs) ||
        !opensslEncrypt(zip, backup, QStringLiteral("pw"))) {
        return {};
    }
    return backup;
}

QString encryptedBytes(const QString& folder, const QByteArray& plain) {
    const QString backup = folder + QStringLiteral("/bytes.halvorn");
    writeFile(backup,
              aesEncrypt(plain, deriveArchiveKey(QStringLiteral("pw")), QByteArray(archiveIv)));
    return backup;
}

QStringList visibleAndHidden(const QString& folder) {
    QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                               QDir::NoDotAndDotDot);
    names.sort(Qt::CaseSensitive);
    return names;
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
        makeTree(source);
        // A link whose path holds a space is made at the percent-escaped
        // path, a folder that does not exist: it is skipped, as before.
        QFile::link(QStringLiteral("datei.txt"),
                    source + QStringLiteral("/Ordner mit Leerzeichen/verweis"));
        auto expected = withoutLinkTimes(atZipGrain(snapshot(source)));
        expected.remove(QStringLiteral("Ordner mit Leerzeichen/verweis"));

        const QString container = work.filePath(QStringLiteral("container"));
        writeFile(container + QStringLiteral("/Data/alt.txt"), "alt");
        writeFile(container + QStringLiteral("/Data/.alt-versteckt"), "alt");
        writeFile(container + QStringLiteral("/Data/altordner/x"), "alt");
        const QString backup = makeBackup(source, work.filePath(QStringLiteral("out")));
        QVERIFY(!backup.isEmpty());
        m_log.clear();

        QCOMPARE(restore(backup, container), EncryptionResult::success());
        QCOMPARE(withoutLinkTimes(snapshot(container + QStringLiteral("/Data"))), expected);
        QCOMPARE(visibleAndHidden(container), QStringList{QStringLiteral("Data")});
        QVERIFY(m_log.contains(
            QStringLiteral("Восстановление символической ссылки: Data/Ordner mit Leerzeichen/"
                           "verweis")));
        QCOMPARE(m_log.filter(QStringLiteral("Ошибка создания символической ссылки: ")).size(), 1);
        QVERIFY(m_log.contains(QStringLiteral("Символическая ссылка Data/link восстановлена, "
                                              "указывает на notes.txt.")));
    }

    void logLinesFollowTheSteps_data() {
        QTest::addColumn<bool>("dataExists");
        QTest::newRow("existing data folder") << true;
        QTest::newRow("missing data folder") << false;
    }
    void logLinesFollowTheSteps() {
        QFETCH(bool, dataExists);
        QTemporaryDir work;
        const QString backup = craftedBackup(
            work.path(), {QStringLiteral("Data/d/"), QStringLiteral("Data/d/a=inhalt")});
        QVERIFY(!backup.isEmpty());
        const QString container = work.filePath(QStringLiteral("c"));
        QDir().mkpath(dataExists ? container + QStringLiteral("/Data") : container);
        const auto plainSize = opensslDecrypt(backup, QStringLiteral("pw"))->size();

        QCOMPARE(restore(backup, container), EncryptionResult::success());
        QStringList expected{
            QStringLiteral("Размер зашифрованного архива: ") +
                shortestDoubleText(static_cast<double>(QFileInfo(backup).size()) *
                                   9.5367431640625e-7) +
                QStringLiteral(" МБ"),
            QStringLiteral("Начало расшифровки данных архива."),
            QStringLiteral("Расшифровка завершена. Размер расшифрованных данных: %1 байт")
                .arg(plainSize),
            QStringLiteral("Временный расшифрованный архив сохранен: ") + container +
                QStringLiteral("/.decryptedArchive.zip"),
            QStringLiteral("Архив успешно открыт для чтения. Начало распаковки."),
            QStringLiteral("Обрабатывается файл: Data/d/"),
            QStringLiteral("Тип записи: директория"),
            QStringLiteral("Обрабатывается файл: Data/d/a"),
            QStringLiteral("Тип записи: файл"),
            QStringLiteral("Файл успешно извлечен: ") + container +
                QStringLiteral("/.TempData/d/a"),
            QStringLiteral("Распаковка завершена."),
            QStringLiteral("Очистка директории: ") + container + QStringLiteral("/Data"),
            QStringLiteral("Данные успешно восстановлены в директорию: ") + container +
                QStringLiteral("/Data"),
            QStringLiteral("Временные файлы удалены."),
        };
        if (!dataExists) {
            expected.removeAt(11);
        }
        QCOMPARE(m_log, expected);
        QCOMPARE(readAll(container + QStringLiteral("/Data/d/a")), QByteArray("inhalt"));
    }

    // Each row of the failure table: the data folder stays as it was, and
    // only the leftovers of that row remain. An earlier run's plain ZIP is
    // not destroyed by a failure before the new one is written.
    void failureLeavesDataFolderUntouched_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("expected");
        QTest::addColumn<bool>("unpackingLeftovers");
        const int failed = static_cast<int>(Case::archiveCreationFailed);
        const int notZip = static_cast<int>(Case::missingEndOfCentralDirectoryRecord);
        QTest::newRow("wrong password") << "wrong password" << failed << false;
        QTest::newRow("truncated backup") << "truncated" << failed << false;
        QTest::newRow("empty backup")
            << "empty" << static_cast<int>(Case::encryptedFileNotFound) << false;
        QTest::newRow("missing backup") << "missing" << failed << false;
        QTest::newRow("backup is a folder") << "folder" << failed << false;
        QTest::newRow("plaintext is no ZIP") << "no zip" << notZip << false;
        QTest::newRow("plaintext shorter than a signature") << "short" << notZip << false;
        QTest::newRow("signature without end record") << "no end record" << failed << true;
        QTest::newRow("dot-dot entry") << "dot-dot" << failed << true;
        QTest::newRow("absolute entry") << "absolute" << failed << true;
        QTest::newRow("entry through a link") << "through link" << failed << true;
        QTest::newRow("link through a link") << "link through link" << failed << true;
    }
    void failureLeavesDataFolderUntouched() {
        QFETCH(QString, kind);
        QFETCH(int, expected);
        QFETCH(bool, unpackingLeftovers);
        QTemporaryDir work;
        const QString container = work.filePath(QStringLiteral("container"));
        const QString outside = work.filePath(QStringLiteral("outside"));
        QDir().mkpath(outside);
        writeFile(container + QStringLiteral("/Data/wichtig.txt"), "Daten");
        writeFile(container + QStringLiteral("/Data/.versteckt"), "Daten");
        writeFile(container + QStringLiteral("/.decryptedArchive.zip"), "earlier run");
        const auto dataBefore = snapshot(container + QStringLiteral("/Data"));
        const auto outsideBefore = snapshot(outside);

        QString backup;
        QString password = QStringLiteral("pw");
        if (kind == QLatin1String("wrong password") || kind == QLatin1String("truncated")) {
            writeFile(work.filePath(QStringLiteral("src/Data/a")), "a");
            backup = makeBackup(work.filePath(QStringLiteral("src/Data")), work.path());
            if (kind == QLatin1String("wrong password")) {
                password = QStringLiteral("falsch");
            } else {
                QVERIFY(QFile::resize(backup, QFileInfo(backup).size() - 5));
            }
        } else if (kind == QLatin1String("empty")) {
            backup = work.filePath(QStringLiteral("empty.halvorn"));
            writeFile(backup, {});
        } else if (kind == QLatin1String("missing")) {
            backup = work.filePath(QStringLiteral("missing.halvorn"));
        } else if (kind == QLatin1String("folder")) {
            backup = outside;
        } else if (kind == QLatin1String("no zip")) {
            backup = encryptedBytes(work.path(), QByteArray(1000, 'z'));
        } else if (kind == QLatin1String("short")) {
            backup = encryptedBytes(work.path(), "PK\x03");
        } else if (kind == QLatin1String("no end record")) {
            backup = encryptedBytes(work.path(), QByteArray("PK\x03\x04") + QByteArray(200, 'g'));
        } else if (kind == QLatin1String("dot-dot")) {
            backup = craftedBackup(work.path(), {QStringLiteral("Data/ok=1"),
                                                 QStringLiteral("Data/../../outside/evil=x")});
        } else if (kind == QLatin1String("absolute")) {
            backup = craftedBackup(work.path(), {outside + QStringLiteral("/evil=x")});
        } else if (kind == QLatin1String("through link")) {
            backup = craftedBackup(work.path(), {QStringLiteral("Data/l->") + outside,
                                                 QStringLiteral("Data/l/evil=x")});
        } else {
            backup = craftedBackup(work.path(), {QStringLiteral("Data/l->") + outside,
                                                 QStringLiteral("Data/l/evil->/etc")});
        }
        QVERIFY(!backup.isEmpty());

        const EncryptionResult result = restore(backup, container, password);
        QCOMPARE(result, EncryptionResult::failure(static_cast<Case>(expected)));
        QCOMPARE(snapshot(container + QStringLiteral("/Data")), dataBefore);
        QCOMPARE(snapshot(outside), outsideBefore);
        QStringList leftovers = visibleAndHidden(container);
        QCOMPARE(
            leftovers,
            unpackingLeftovers
                ? QStringList({QStringLiteral(".TempData"), QStringLiteral(".decryptedArchive.zip"),
                               QStringLiteral("Data")})
                : QStringList({QStringLiteral(".decryptedArchive.zip"), QStringLiteral("Data")}));
        const QByteArray temporaryZip =
            readAll(container + QStringLiteral("/.decryptedArchive.zip"));
        QCOMPARE(temporaryZip == "earlier run", !unpackingLeftovers);
        if (unpackingLeftovers) {
            QVERIFY(m_log.last().startsWith(QStringLiteral("Ошибка распаковки архива: ")));
            // The plaintext left behind is readable by its owner only.
            QCOMPARE(QFileInfo(container + QStringLiteral("/.decryptedArchive.zip")).permissions(),
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
        writeFile(source + QStringLiteral("/leer.bin"), {});
        writeFile(source + QStringLiteral("/unter/tief.txt"), "tief");
        QDir().mkpath(source + QStringLiteral("/leerer-ordner"));
        QFile::link(QStringLiteral("text.txt"), source + QStringLiteral("/link"));
        QFile::link(QStringLiteral("../text.txt"), source + QStringLiteral("/unter/hoch"));
        const QString zip = work.filePath(QStringLiteral("foreign.zip"));
        const QString parent = work.filePath(QStringLiteral("src"));
        if (tool == QLatin1String("zip")) {
            QVERIFY(runProgram(QStringLiteral("zip"),
                               {QStringLiteral("-q"), QStringLiteral("-r"), QStringLiteral("-y"),
                                zip, QStringLiteral("Data")},
                               {}, parent));
        } else if (tool == QLatin1String("python")) {
            QVERIFY(runProgram(python(), {scripts + QStringLiteral("/craft_zip.py"),
                                          QStringLiteral("tree"), zip, source}));
        } else {
            QVERIFY(runProgram(QStringLiteral("bsdtar"),
                               {QStringLiteral("--format"), QStringLiteral("zip"),
                                QStringLiteral("-cf"), zip, QStringLiteral("Data")},
                               {}, parent));
        }
        auto expected = snapshot(source);
        if (tool == QLatin1String("zip")) {
            // Info-ZIP leaves flag bit 11 clear, so the name is code page 437,
            // as Python's zipfile reads it too.
            expected.insert(QStringLiteral("Gr├╝├ƒe.txt"),
                            expected.take(QStringLiteral("Grüße.txt")));
        }
        if (tool == QLatin1String("python")) {
            // Written to a stream without seeking, each entry has a data
            // descriptor and a local header with size 0; a link's target is
            // read by that local size, so it comes back empty and the link
            // is skipped, as the original program did.
            expected.remove(QStringLiteral("link"));
            expected.remove(QStringLiteral("unter/hoch"));
            Item extra;
            extra.type = 'f';
            extra.content = QByteArray("ZIP64 extra field\n").repeated(100);
            expected.insert(QStringLiteral("zip64.txt"), extra);
        }
        const QString backup = work.filePath(QStringLiteral("foreign.halvorn"));
        QVERIFY(opensslEncrypt(zip, backup, QStringLiteral("pw")));

        const QString container = work.filePath(QStringLiteral("c"));
        QDir().mkpath(container);
        QCOMPARE(restore(backup, container), EncryptionResult::success());
        auto restored = snapshot(container + QStringLiteral("/Data"));
        // Other tools keep their own times and modes; content, type and link
        // targets must match.
        for (auto* items : {&expected, &restored}) {
            for (Item& item : *items) {
                item.mtime = 0;
                item.mode = 0;
            }
        }
        QCOMPARE(restored, expected);
    }

    // A link entry whose size field claims gigabytes is damage: the link is
    // skipped as one too long to make, without reading the claimed bytes.
    void absurdLinkSizeIsSkippedUnread() {
        QTemporaryDir work;
        const QString zip = work.filePath(QStringLiteral("crafted.zip"));
        QVERIFY(runProgram(python(),
                           {scripts + QStringLiteral("/craft_zip.py"), QStringLiteral("entries"),
                            zip, QStringLiteral("Data/a=1"), QStringLiteral("Data/l->a")}));
        QByteArray bytes = readAll(zip);
        const qsizetype header = bytes.indexOf(QByteArray("PK\x03\x04", 4), 1);
        QCOMPARE(bytes.mid(header + 30, 6), QByteArray("Data/l"));
        bytes.replace(header + 18, 4, QByteArray("\xf0\xff\xff\xff", 4));
        const QString backup = encryptedBytes(work.path(), bytes);
        const QString container = work.filePath(QStringLiteral("c"));
        QDir().mkpath(container);

        QCOMPARE(restore(backup, container), EncryptionResult::success());
        QCOMPARE(snapshot(container + QStringLiteral("/Data")).keys(),
                 QStringList{QStringLiteral("a")});
        QCOMPARE(m_log.filter(QStringLiteral("Ошибка создания символической ссылки: ")).size(), 1);
        const VerificationReport report = EncryptionService::shared()
                                              .verifyEncryptedArchive(backup, QStringLiteral("pw"))
                                              .result();
        QCOMPARE(report.firstDamagedEntry, std::optional<QString>(QStringLiteral("Data/l")));
    }

    void verifyWalksEveryEntry() {
        QTemporaryDir work;
        const QString source = work.filePath(QStringLiteral("src/Data"));
        writeFile(source + QStringLiteral("/a.txt"), "12345");
        writeFile(source + QStringLiteral("/marker.txt"),
                  QByteArray("MARKER-CONTENT-") + QByteArray(5000, 'm'));
        QFile::link(QStringLiteral("a.txt"), source + QStringLiteral("/link"));
        QDir().mkpath(source + QStringLiteral("/leer"));
        const QString backup = makeBackup(source, work.filePath(QStringLiteral("out")));
        QVERIFY(!backup.isEmpty());
        const auto sourceBefore = snapshot(work.path());

        VerificationReport report = EncryptionService::shared()
                                        .verifyEncryptedArchive(backup, QStringLiteral("pw"))
                                        .result();
        QVERIFY(report.isSound());
        QCOMPARE(report.entries, uint64_t{5}); // a.txt, marker.txt, link, leer/, Data/
        QCOMPARE(report.bytes, uint64_t{5 + 15 + 5000 + 5});
        QCOMPARE(snapshot(work.path()), sourceBefore);

        // One flipped byte inside an entry's data, re-encrypted.
        QByteArray plain = *opensslDecrypt(backup, QStringLiteral("pw"));
        const qsizetype at = plain.indexOf("MARKER-CONTENT-") + 20;
        plain[at] = static_cast<char>(plain[at] ^ 0x01);
        const QString damaged = encryptedBytes(work.path(), plain);
        report = EncryptionService::shared()
                     .verifyEncryptedArchive(damaged, QStringLiteral("pw"))
                     .result();
        QVERIFY(!report.isSound());
        QVERIFY(report.result.isSuccess());
        QCOMPARE(report.firstDamagedEntry,
                 std::optional<QString>(QStringLiteral("Data/marker.txt")));
        QCOMPARE(report.entries, uint64_t{5});

        report = EncryptionService::shared()
                     .verifyEncryptedArchive(backup, QStringLiteral("falsch"))
                     .result();
        QCOMPARE(report.result, EncryptionResult::failure(Case::archiveCreationFailed));
        QVERIFY(!report.isSound());
    }
};

QTEST_GUILESS_MAIN(BackupRestorationReplacesDataFolder)
#include "BackupRestorationReplacesDataFolder.moc"
