// createEncryptedArchive: a backup is one-shot AES-256-CBC over a ZIP of the
// data folder, and each failure leaves only what it should.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"
#include "engine/FinderComment.h"
#include "zip/Archive.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace corvina;
using namespace corvina::testing;
using namespace Qt::StringLiterals;
using Case = FinderCommentError::Case;
Q_DECLARE_METATYPE(Case)

namespace {

const QString backupPattern = u"Backup_\\d{4}(-\\d\\d){2}_\\d\\d(-\\d\\d){2}\\.halvorn"_s;

/// The names of a folder, sorted without regard to case, joined by spaces.
QString names(const QString& folder) {
    return QDir(folder)
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                   QDir::Name | QDir::IgnoreCase)
        .join(u' ');
}

bool namesMatch(const QString& folder, const QString& pattern) {
    const QRegularExpression expression(QRegularExpression::anchoredPattern(pattern));
    return expression.match(names(folder)).hasMatch() || (qWarning() << names(folder), false);
}

CreatedBackup create(const QString& source, const QString& destination,
                     const QString& comment = {}) {
    return EncryptionService::shared().createBackup(source, destination, u"pw"_s, comment).result();
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
        const QString data = work.filePath(u"Data"_s);
        writeFile(data + u"/.hidden"_s, "versteckt");
        writeFile(data + u"/db/large.sqlite"_s, QByteArray(3 * 1048576 + 7, 'q'));
        QFile::link(u"nowhere"_s, data + u"/dangling"_s);
        const auto before = snapshot(data);
        const QString destination = work.filePath(u"neu/Sicherungen"_s);

        const CreatedBackup created = create(data, destination, u"Vor dem Update"_s);
        QCOMPARE(created.result, EncryptionResult::success());
        QCOMPARE(snapshot(data), before);
        QVERIFY(namesMatch(destination, backupPattern));
        QCOMPARE(readFinderComment(created.backupFile), u"Vor dem Update"_s);

        const QString zip = work.filePath(u"plain.zip"_s);
        QVERIFY(openssl(true, created.backupFile, zip, u"pw"_s));
        // Whole: a stream that stopped early would still pad and decrypt. And
        // the very archive that packing to a file makes.
        QVERIFY(runProgram(u"unzip"_s, {u"-tq"_s, zip}));
        const QString packed = work.filePath(u"packed.zip"_s);
        zip::packItem(data.toStdString(), packed.toStdString(), true, zip::CompressionMethod::none);
        QVERIFY(readAll(zip) == readAll(packed));

        const QString stamp = QFileInfo(created.backupFile).completeBaseName().mid(7);
        const QStringList expected{
            u"Директория назначения успешно создана."_s,
            u"Архив успешно создан: %1/.Backup_%2.zip"_s.arg(destination, stamp),
            u"Шифрование завершено. Затраченное время: "_s,
            u"Зашифрованный архив сохранён: "_s + created.backupFile,
            u"Комментарий успешно добавлен к файлу."_s,
            u"Временный ZIP-файл удалён."_s};
        QCOMPARE(m_log.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            QVERIFY2(m_log[i].startsWith(expected[i]), qPrintable(m_log[i]));
        }
    }

    void commentRules_data() {
        QTest::addColumn<QString>("comment");
        QTest::addColumn<std::optional<QString>>("stored");
        QTest::newRow("spaces, tabs, no-break space") << u" \t\u00a0"_s << std::optional<QString>();
        QTest::newRow("line end only") << u"\n"_s << std::optional<QString>(u"\n"_s);
        QTest::newRow("stored untrimmed") << u" a "_s << std::optional<QString>(u" a "_s);
    }
    void commentRules() {
        QFETCH(QString, comment);
        QFETCH(std::optional<QString>, stored);
        QTemporaryDir work;
        writeFile(work.filePath(u"Data/a"_s), "a");
        const CreatedBackup created =
            create(work.filePath(u"Data"_s), work.filePath(u"out"_s), comment);
        QCOMPARE(created.result, EncryptionResult::success());
        QCOMPARE(readFinderComment(created.backupFile), stored);
    }

    // Leftovers: a pattern for the names in the destination, "<absent>" or
    // "<file>".
    void failureLeavesOnlyWhatItShould_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<Case>("expected");
        QTest::addColumn<QString>("leftovers");
        const Case failed = Case::archiveCreationFailed;
        QTest::newRow("missing source")
            << "missing source" << Case::directoryNotFound << "<absent>";
        QTest::newRow("destination is a file") << "file" << failed << "<file>";
        // An unreadable item is the tool test's case: it needs a process
        // that cannot override file modes, as root can.
        // The plaintext is never written on the way: a full disk is left as
        // it was, with nothing in the clear.
        QTest::newRow("full disk") << "tmpfs" << failed << "";
        // The comment is stored cut, and nothing is left in the clear.
        QTest::newRow("4001 characters of comment")
            << "long comment" << Case::commentTooLong << backupPattern;
    }
    void failureLeavesOnlyWhatItShould() {
        QFETCH(QString, kind);
        QFETCH(Case, expected);
        QFETCH(QString, leftovers);
        QTemporaryDir work;
        const QString data = work.filePath(u"Data"_s);
        const QString destination = work.filePath(u"out"_s);
        if (kind != "missing source") {
            writeFile(data + u"/big"_s, QByteArray(3 * 1048576, 'b'));
        }
        kind == "file" ? writeFile(destination, "keine Mappe") : QDir().mkpath(destination);
        std::optional<ScopedMount> disk;
        if (kind == "tmpfs") {
            // The tmpfs has no room for the backup.
            disk.emplace(destination, "tmpfs", "size=2m");
            if (!disk->isMounted()) {
                QSKIP("cannot mount a scratch file system here (needs CAP_SYS_ADMIN)");
            }
        }
        const auto before = snapshot(data);
        const QString comment = kind == "long comment" ? u"x"_s.repeated(4001) : u"Kommentar"_s;

        const CreatedBackup created = create(
            kind == "missing source" ? work.filePath(u"missing"_s) : data, destination, comment);
        QVERIFY(!created.result.isSuccess());
        QCOMPARE(created.result.error().errorCase(), expected);
        QCOMPARE(snapshot(data), before);
        if (leftovers == "<absent>") {
            QDir().rmdir(destination);
            QVERIFY(!QFileInfo::exists(destination));
        } else if (leftovers == "<file>") {
            QCOMPARE(readAll(destination), QByteArray("keine Mappe"));
        } else if (leftovers.isEmpty()) {
            QCOMPARE(names(destination), QString());
        } else {
            QVERIFY(namesMatch(destination, leftovers));
        }
        if (expected == Case::commentTooLong) {
            QCOMPARE(created.result, EncryptionResult::failure(
                                         FinderCommentError::commentTooLong(comment.left(4000))));
            QCOMPARE(readFinderComment(created.backupFile), comment.left(4000));
            QVERIFY(openssl(true, created.backupFile, work.filePath(u"plain.zip"_s), u"pw"_s));
            QCOMPARE(m_log.last(), u"Комментарий слишком длинный и был обрезан."_s);
        }
    }

    // A backup's name never points at data that is not yet on disk: the
    // file is synced before the call that gives it its name.
    void backupIsDurableBeforeItIsNamed() {
        if (!runProgram(u"strace"_s, {u"-o"_s, u"/dev/null"_s, u"true"_s})) {
            QSKIP("strace can't trace here (missing, or ptrace refused)");
        }
        QTemporaryDir work;
        writeFile(work.filePath(u"Data/a"_s), "a");
        writeFile(work.filePath(u"pw"_s), "pw");
        const QString trace = work.filePath(u"trace"_s);
        QVERIFY(runProgram(
            u"strace"_s,
            straceWithoutLeakCheck() +
                QStringList{u"-f"_s, u"-qq"_s, u"-y"_s, u"-o"_s, trace, u"-e"_s,
                            u"trace=fsync,fdatasync,linkat,rename,renameat,renameat2"_s,
                            QStringLiteral(CORVINA_BACKUP_TOOL), u"create"_s, u"--source"_s,
                            work.filePath(u"Data"_s), u"--dest"_s, work.filePath(u"out"_s),
                            u"--password-file"_s, work.filePath(u"pw"_s)}));
        // A sync names its file by descriptor and path; the publishing link
        // names it by /proc/self/fd/N, a rename by its hidden name.
        static const QRegularExpression sync(u"f(?:data)?sync\\((\\d+)<(?:[^>]*/)?([^>/]*)>"_s);
        static const QRegularExpression publish(
            u"(?:linkat|rename\\w*)\\([^\"]*\"(?:/proc/self/fd/)?(?:[^\"]*/)?([^\"/]*)\".*\"(?:[^\"]*/)?Backup_[^\"/]*\\.halvorn\""_s);
        QStringList synced;
        int published = 0;
        for (const QByteArray& bytes : readAll(trace).split('\n')) {
            const QString line = QString::fromUtf8(bytes);
            if (const auto match = sync.match(line); match.hasMatch()) {
                synced << match.captured(1) << match.captured(2);
            } else if (const auto named = publish.match(line); named.hasMatch()) {
                QVERIFY2(synced.contains(named.captured(1)), qPrintable(line));
                ++published;
            }
        }
        QCOMPARE(published, 1);
    }

    // A stick formatted exFAT has no attributes: the comment goes into the
    // AppleDouble file beside the backup.
    void backupOnExfatStickKeepsItsComment() {
        QTemporaryDir work;
        writeFile(work.filePath(u"Data/akte.txt"_s), "Pflegebericht");
        const QString stick = work.filePath(u"stick"_s);
        const ImageMount mount(stick, u"exfat"_s);
        if (!mount.failure().isEmpty()) {
            QSKIP(qPrintable(mount.failure()));
        }
        const QString destination = stick + u"/Sicherungen"_s;
        const CreatedBackup created =
            create(work.filePath(u"Data"_s), destination, u"Vor dem Update"_s);
        QCOMPARE(created.result, EncryptionResult::success());
        QVERIFY(namesMatch(destination, u"\\._"_s + backupPattern + u' ' + backupPattern));
        QCOMPARE(readFinderComment(created.backupFile), u"Vor dem Update"_s);
        const QString zip = work.filePath(u"plain.zip"_s);
        QVERIFY(openssl(true, created.backupFile, zip, u"pw"_s));
        QVERIFY(runProgram(u"unzip"_s, {u"-tq"_s, zip}));
    }

    // Two runs in one second share the name: the second replaces the first
    // whole, and keeps its comment when it brings none, as an overwrite would.
    void backupOfSameSecondReplacesTheOldOne() {
        QTemporaryDir work;
        writeFile(work.filePath(u"Data/a"_s), "neu");
        const QString destination = work.filePath(u"out"_s);
        const QDateTime now = QDateTime::currentDateTime();
        for (int second = 0; second < 6; ++second) {
            const QString name = u"%1/Backup_%2.halvorn"_s.arg(
                destination, now.addSecs(second).toString(u"yyyy-MM-dd_HH-mm-ss"_s));
            writeFile(name, "alt");
            QVERIFY(addFinderComment(u"alter Kommentar"_s, name).isSuccess());
        }
        const CreatedBackup created = create(work.filePath(u"Data"_s), destination);
        QCOMPARE(created.result, EncryptionResult::success());
        QCOMPARE(names(destination).count(u' '), 5);
        QVERIFY(readAll(created.backupFile) != "alt");
        QCOMPARE(readFinderComment(created.backupFile), u"alter Kommentar"_s);
    }
};

QTEST_GUILESS_MAIN(BackupCreationWritesStandardFiles)
#include "BackupCreationWritesStandardFiles.moc"
