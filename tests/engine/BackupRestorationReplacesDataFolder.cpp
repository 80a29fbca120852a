// restoreEncryptedArchive: a backup comes back exactly, and no failure,
// reported or a killed process, leaves a data folder that is neither its old
// nor its new tree.
#include "TestTrees.h"

#include "engine/DiagnosticLog.h"
#include "engine/EncryptionService.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <list>

using namespace corvina;
using namespace corvina::testing;
using namespace Qt::StringLiterals;
using Case = FinderCommentError::Case;

namespace {

const QString craftZip = QStringLiteral(CORVINA_TEST_SCRIPTS "/craft_zip.py");

EncryptionResult restore(const QString& backup, const QString& container,
                         const QString& password = u"pw"_s) {
    return EncryptionService::shared()
        .restoreEncryptedArchive(backup, container, password)
        .result();
}

/// A backup of a ZIP written by Python's zipfile with the given entries
/// ("path=content", "path->target", "path/"), or of `plain` as it stands.
QString backupOf(const QString& folder, const QStringList& entries, const QByteArray& plain = {}) {
    const QString zip = folder + u"/plain.zip"_s;
    const QString backup = folder + u"/backup.halvorn"_s;
    if (entries.isEmpty()) {
        writeFile(zip, plain);
    } else if (!runProgram(python(), QStringList{craftZip, u"entries"_s, zip} + entries)) {
        return {};
    }
    return openssl(false, zip, backup, u"pw"_s) ? backup : QString();
}

/// The data folder of the fault tests: hidden items and subfolders, so that
/// a failure can come part-way through.
QMap<QString, Item> writeOldTree(const QString& data) {
    for (const char* name : {"a.txt", ".versteckt", "b/c.txt", "d.txt", "e/f/g.txt"}) {
        writeFile(data + u'/' + QString::fromLatin1(name), QByteArray("alt ") + name);
    }
    return snapshot(data);
}

/// A backup of a 1 MiB tree, so that small disks fill, and the tree a
/// restore of it leaves (times aside).
std::pair<QString, QMap<QString, Item>> newBackup(const QTemporaryDir& work) {
    const QString source = work.filePath(u"src/Data"_s);
    writeFile(source + u"/gross.bin"_s, QByteArray(1 << 20, 'n'));
    writeFile(source + u"/.neu"_s, "neu");
    writeFile(source + u"/neu/x.txt"_s, "neu");
    const CreatedBackup created =
        EncryptionService::shared().createBackup(source, work.path(), u"pw"_s, {}).result();
    return {created.backupFile, withoutTimes(snapshot(source))};
}

/// The number, within its thread, of the `occurrence`th call of `call` in an
/// strace log whose arguments hold `argument`; 0 when there is none.
int callNumber(const QString& traceFile, const QString& call, const QString& argument,
               int occurrence) {
    static const QRegularExpression line(u"^(\\d+)\\s+(\\w+)\\("_s);
    QMap<QString, int> callsPerThread;
    for (const QByteArray& bytes : readAll(traceFile).split('\n')) {
        const QString text = QString::fromUtf8(bytes);
        const QRegularExpressionMatch match = line.match(text);
        if (!match.hasMatch() || match.captured(2) != call) {
            continue;
        }
        const int number = ++callsPerThread[match.captured(1)];
        if (text.contains(argument) && --occurrence == 0) {
            return number;
        }
    }
    return 0;
}

/// Bytes this process has handed to write() and its kin so far.
qint64 bytesWritten() {
    for (const QByteArray& line : readAll(u"/proc/self/io"_s).split('\n')) {
        if (line.startsWith("wchar: ")) {
            return line.mid(7).toLongLong();
        }
    }
    return -1;
}

/// Damages the plain ZIP of a backup made by backupOf and encrypts it anew:
/// one byte of the second file's data, of the second central record's CRC-32
/// field, or of the second local header's signature.
bool damage(const QString& folder, const QByteArray& what) {
    const QString zip = folder + u"/plain.zip"_s;
    QByteArray bytes = readAll(zip);
    qsizetype at = -1;
    if (what == "flip data") {
        at = bytes.indexOf("zwei");
    } else if (what == "flip record") {
        at = bytes.lastIndexOf("PK\x01\x02") + 16;
    } else if (what == "unreadable record") {
        at = bytes.lastIndexOf("PK\x03\x04") + 2;
    }
    if (at < 16) {
        return false;
    }
    bytes[at] = static_cast<char>(bytes[at] ^ 0x01);
    writeFile(zip, bytes);
    return openssl(false, zip, folder + u"/backup.halvorn"_s, u"pw"_s);
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
        const QString source = work.filePath(u"source/Data"_s);
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
        QDir().mkpath(source + u"/leer"_s);
        QFile::link(u"notes.txt"_s, source + u"/link"_s);
        QFile::link(u"nowhere"_s, source + u"/dangling"_s);
        QFile::link(u"../notes.txt"_s, source + u"/leer/hoch"_s);
        // A link whose path holds a space or an umlaut is made at the
        // percent-escaped path, in a folder that does not exist: skipped.
        QFile::link(u"x"_s, source + u"/Grüße – März/verweis"_s);
        auto expected = asRestored(snapshot(source));
        expected.remove(u"Grüße – März/verweis"_s);

        const QString container = work.filePath(u"container"_s);
        writeFile(container + u"/Data/.alt-versteckt"_s, "alt");
        writeFile(container + u"/Data/altordner/x"_s, "alt");
        const CreatedBackup created =
            EncryptionService::shared().createBackup(source, work.path(), u"pw"_s, {}).result();
        m_log.clear();
        QCOMPARE(restore(created.backupFile, container), EncryptionResult::success());
        QCOMPARE(asRestored(snapshot(container + u"/Data"_s)), expected);
        QCOMPARE(names(container), QStringList{u"Data"_s});
        QCOMPARE(m_log.filter(u"Ошибка создания символической ссылки: "_s).size(), 1);
        QVERIFY(m_log.contains(QStringLiteral(
            "Символическая ссылка Data/link восстановлена, указывает на notes.txt.")));
    }

    void failureLeavesDataFolderUntouched_data() {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<int>("expected");
        QTest::addColumn<bool>("unpacked");
        const int failed = static_cast<int>(Case::archiveCreationFailed);
        const int notZip = static_cast<int>(Case::missingEndOfCentralDirectoryRecord);
        const QStringList good{u"Data/a=1"_s};
        QTest::newRow("wrong password") << good << QByteArray("password") << failed << false;
        QTest::newRow("truncated backup") << good << QByteArray("truncate") << failed << false;
        QTest::newRow("backup short of whole blocks")
            << good << QByteArray("blocks") << failed << false;
        // A damaged backup never replaces the data folder: the restore ends
        // after unpacking, as any failed unpacking does.
        const QStringList two{u"Data/a=Pflegedaten eins"_s, u"Data/b=Pflegedaten zwei"_s};
        QTest::newRow("flipped byte in a file's data")
            << two << QByteArray("flip data") << failed << true;
        QTest::newRow("flipped byte in a central record's CRC-32")
            << two << QByteArray("flip record") << failed << true;
        QTest::newRow("unreadable local record")
            << two << QByteArray("unreadable record") << failed << true;
        QTest::newRow("empty backup") << QStringList() << QByteArray("empty")
                                      << static_cast<int>(Case::encryptedFileNotFound) << false;
        QTest::newRow("missing backup")
            << QStringList() << QByteArray("missing") << failed << false;
        QTest::newRow("plaintext is no ZIP")
            << QStringList() << QByteArray(100, 'z') << notZip << false;
        QTest::newRow("signature without end record")
            << QStringList() << QByteArray("PK\x03\x04garbage") << failed << true;
        QTest::newRow("dot-dot entry")
            << QStringList{u"Data/../../outside/evil=x"_s} << QByteArray() << failed << true;
        QTest::newRow("entry through a link")
            << QStringList{u"Data/l->@/outside"_s, u"Data/l/evil=x"_s} << QByteArray() << failed
            << true;
    }
    // An earlier run's plain ZIP survives a failure before the new one is
    // written; after it, the row's leftovers stay and the ZIP is 0600.
    void failureLeavesDataFolderUntouched() {
        QFETCH(QStringList, entries);
        QFETCH(QByteArray, plain);
        QFETCH(int, expected);
        QFETCH(bool, unpacked);
        QTemporaryDir work;
        const QString c = work.filePath(u"container"_s);
        writeFile(c + u"/Data/.wichtig"_s, "Daten");
        writeFile(c + u"/.decryptedArchive.zip"_s, "earlier run");
        QDir().mkpath(work.filePath(u"outside"_s));
        for (QString& entry : entries) {
            entry.replace(QLatin1Char('@'), work.path());
        }
        const auto dataBefore = snapshot(c + u"/Data"_s);
        QString backup = work.filePath(u"backup.halvorn"_s);
        QString password = u"pw"_s;
        if (plain == "empty") {
            writeFile(backup, {});
        } else if (plain != "missing") {
            backup = backupOf(work.path(), entries, plain);
            QVERIFY(!backup.isEmpty());
        }
        if (plain.startsWith("flip") || plain == "unreadable record") {
            QVERIFY(damage(work.path(), plain));
        } else if (plain == "password") {
            password = u"falsch"_s;
        } else if (plain == "truncate") {
            QFile::resize(backup, QFileInfo(backup).size() - 5);
        } else if (plain == "blocks") {
            QFile::resize(backup, QFileInfo(backup).size() - 32);
        }
        QCOMPARE(restore(backup, c, password),
                 EncryptionResult::failure(static_cast<Case>(expected)));
        QCOMPARE(snapshot(c + u"/Data"_s), dataBefore);
        QVERIFY(snapshot(work.filePath(u"outside"_s)).isEmpty());
        QCOMPARE(names(c), unpacked ? QStringList({".TempData", ".decryptedArchive.zip", "Data"})
                                    : QStringList({".decryptedArchive.zip", "Data"}));
        QCOMPARE(readAll(c + u"/.decryptedArchive.zip"_s) == "earlier run", !unpacked);
        if (unpacked) {
            QCOMPARE(readAll(c + u"/.decryptedArchive.zip"_s),
                     readAll(work.filePath(u"plain.zip"_s)));
            QCOMPARE(QFileInfo(c + u"/.decryptedArchive.zip"_s).permissions(),
                     QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        }
    }

    // Real kernel failures at each step: the data folder keeps its old tree
    // whole, and once the cause is gone the next run brings the new one with
    // nothing left over. An old item that can't be deleted once the new ones
    // are in fails nothing.
    void kernelFaultsKeepTheOldTree_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("replaced");
        QTest::newRow("disk full while unpacking") << u"size=512k"_s << false;
        QTest::newRow("no inode for the aside folder") << u"nr_inodes=%1"_s << false;
        QTest::newRow("immutable item in the data folder") << u"d.txt"_s << false;
        QTest::newRow("immutable item deep in the data folder") << u"e/f/g.txt"_s << true;
    }
    void kernelFaultsKeepTheOldTree() {
        QFETCH(QString, fault);
        QFETCH(bool, replaced);
        QTemporaryDir work;
        const auto [backup, newTree] = newBackup(work);
        const QString c = work.filePath(u"c"_s);
        QDir().mkpath(c);
        std::optional<ScopedMount> memory;
        std::optional<ImageMount> image;
        const bool immutable = !fault.contains(u'=');
        if (immutable) {
            image.emplace(c, u"ext4"_s);
            if (!image->failure().isEmpty()) {
                QSKIP(qPrintable(image->failure()));
            }
        } else {
            // Inodes for the root, the data folder and its tree, the
            // temporary folder and its tree: none for one more.
            const QString options = fault.arg(1 + 1 + 8 + 1 + newTree.size());
            if (!memory.emplace(c, "tmpfs", qPrintable(options)).isMounted()) {
                QSKIP("cannot mount a scratch file system here (needs CAP_SYS_ADMIN)");
            }
        }
        const auto oldTree = writeOldTree(c + u"/Data"_s);
        if (immutable && !runProgram(u"chattr"_s, {u"+i"_s, c + u"/Data/"_s + fault})) {
            QSKIP("chattr +i is refused here");
        }

        const EncryptionResult first = restore(backup, c);
        if (immutable) {
            QVERIFY(runProgram(u"chattr"_s, {u"-R"_s, u"-i"_s, c}));
        } else {
            QVERIFY(runProgram(u"mount"_s, {u"-o"_s, u"remount,size=64m,nr_inodes=1000"_s, c}));
        }
        QCOMPARE(first.isSuccess(), replaced);
        if (replaced) {
            QCOMPARE(withoutTimes(snapshot(c + u"/Data"_s)), newTree);
        } else {
            QCOMPARE(snapshot(c + u"/Data"_s), oldTree);
            QVERIFY(names(c).filter(u".OldData"_s).isEmpty());
            QVERIFY(!QFileInfo::exists(c + u"/.TempData"_s) ||
                    (QFileInfo(c + u"/.TempData"_s).permissions() & 0077) == 0);
        }
        QCOMPARE(restore(backup, c), EncryptionResult::success());
        QCOMPARE(withoutTimes(snapshot(c + u"/Data"_s)), newTree);
        QCOMPARE(names(c).filter(u"Data"_s), QStringList{u"Data"_s});
    }

    // A restore killed (SIGKILL, sent by strace at a chosen system call)
    // while replacing leaves every old item in the data folder or aside. The
    // next run, here the tool with a wrong password, first puts them back:
    // the data folder holds the old tree, or past the point of no return the
    // new one. A third run restores the new tree with nothing left over.
    // When the companion wrote into the data folder in between, what it wrote
    // stays there and no old item is lost: each is in the data folder or in
    // the folder kept beside it, which later runs leave alone. All of this
    // holds for a data folder that is a link into another file system (the
    // link stays) or a mount point, and with a top-level folder its owner
    // may not write.
    void killedRestoreIsPutBackByTheNextRun_data() {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("argument"); // in the arguments of the call killed
        QTest::addColumn<int>("occurrence");
        QTest::addColumn<bool>("replaced");
        QTest::addColumn<bool>("written"); // the companion writes before the next run
        QTest::addColumn<QString>("layout");
        const QString rename = u"renameat2"_s;
        for (const auto& [layout, written] : {std::pair{u"folder"_s, false},
                                              {u"folder"_s, true},
                                              {u"link"_s, false},
                                              {u"link"_s, true},
                                              {u"mount"_s, false},
                                              {u"mount"_s, true}}) {
            const auto row = [&](const char* name) {
                const QString tag = name + (written ? u", then written"_s : QString()) +
                                    (layout == u"folder"_s ? QString() : u", "_s + layout);
                return &QTest::newRow(qPrintable(tag));
            };
            *row("first old item moving aside")
                << rename << u"/.OldData/"_s << 1 << false << written << layout;
            *row("some old items aside")
                << rename << u"/.OldData/"_s << 3 << false << written << layout;
            *row("all old items aside")
                << rename << u"/.OldData-replaced\""_s << 1 << false << written << layout;
            *row("first new item moving in")
                << rename << u"/.TempData/"_s << 1 << false << written << layout;
            *row("some new items in")
                << rename << u"/.TempData/"_s << 2 << false << written << layout;
            // Only the removal of the old items unlinks their names.
            *row("old items being deleted")
                << u"unlinkat"_s << u"\"d.txt\""_s << 1 << true << written << layout;
        }
    }
    void killedRestoreIsPutBackByTheNextRun() {
        QFETCH(QString, call);
        QFETCH(QString, argument);
        QFETCH(int, occurrence);
        QFETCH(bool, replaced);
        QFETCH(bool, written);
        QFETCH(QString, layout);
        if (!runProgram(u"strace"_s, {u"-o"_s, u"/dev/null"_s, u"true"_s})) {
            QSKIP("strace can't trace here (missing, or ptrace refused)");
        }
        QTemporaryDir work;
        const auto [backup, newTree] = newBackup(work);
        writeFile(work.filePath(u"pw"_s), "pw");
        writeFile(work.filePath(u"falsch"_s), "falsch");
        const auto runTool = [&](const QString& container, const QString& password,
                                 QStringList strace = {}) {
            const QStringList arguments{u"restore"_s,           u"--backup"_s, backup,
                                        u"--container"_s,       container,     u"--password-file"_s,
                                        work.filePath(password)};
            const QString tool = QStringLiteral(CORVINA_BACKUP_TOOL);
            // Root too may not write a folder without write permission.
            const QStringList asUser{u"--bounding-set=-dac_override,-dac_read_search"_s};
            if (strace.isEmpty()) {
                return runProgram(u"setpriv"_s, asUser + QStringList{tool} + arguments).has_value();
            }
            strace.prepend(u"strace"_s);
            strace << straceWithoutLeakCheck() << u"-f"_s << u"-qq"_s << u"-e"_s
                   << u"trace="_s + call << tool;
            return runProgram(u"setpriv"_s, asUser + strace + arguments).has_value();
        };
        const QString probe = work.filePath(u"probe"_s);
        const QString c = work.filePath(u"c"_s);
        // Data as a folder, as a link into another file system, or as a mount
        // point; a top-level folder in it that its owner may not write. The
        // replacement's own folders are where `side` says.
        std::list<ScopedMount> mounts;
        const auto prepare = [&](const QString& container) {
            const QString data = container + u"/Data"_s;
            QString side = container;
            if (layout == u"link"_s) {
                side = container + u"-fs"_s;
                QDir().mkpath(side);
                if (!mounts.emplace_back(side, "tmpfs").isMounted()) {
                    return QString();
                }
                QDir().mkpath(side + u"/Daten"_s);
                QDir().mkpath(container);
                QFile::link(side + u"/Daten"_s, data);
            } else {
                QDir().mkpath(data);
                if (layout == u"mount"_s) {
                    side = data;
                    if (!mounts.emplace_back(data, "tmpfs").isMounted()) {
                        return QString();
                    }
                }
            }
            writeOldTree(data);
            chmod(QFile::encodeName(data + u"/b"_s).constData(), 0555);
            return side;
        };
        if (prepare(probe).isEmpty()) {
            QSKIP("cannot mount a scratch file system here (needs CAP_SYS_ADMIN)");
        }
        const QString side = prepare(c);
        const auto oldTree = snapshot(c + u"/Data"_s);
        // The data without the replacement's own folders where they are in it.
        const auto dataItems = [&] {
            QMap<QString, Item> items = snapshot(c + u"/Data"_s);
            items.removeIf([&](const auto& item) {
                const QString top = item.key().section(u'/', 0, 0);
                return layout == u"mount"_s &&
                       (top.contains(u" vor unterbrochener Wiederherstellung"_s) ||
                        top.startsWith(u".OldData"_s) || top == u".TempData"_s);
            });
            return items;
        };
        const QString trace = work.filePath(u"trace"_s);
        QVERIFY(runTool(probe, u"pw"_s, {u"-o"_s, trace}));
        const int number = callNumber(trace, call, argument, occurrence);
        QVERIFY2(number > 0, readAll(trace).constData());

        QVERIFY(!runTool(c, u"pw"_s,
                         {u"-o"_s, u"/dev/null"_s, u"-e"_s,
                          u"inject=%1:signal=KILL:when=%2"_s.arg(call).arg(number)}));
        const QMap<QString, QByteArray> companion{{u"d.txt"_s, "nach Abbruch"},
                                                  {u"nach Abbruch/neu.txt"_s, "neu"}};
        if (written) {
            QTest::qWait(20); // past the file system's clock tick
            for (auto it = companion.begin(); it != companion.end(); ++it) {
                QVERIFY(writeFile(c + u"/Data/"_s + it.key(), it.value()));
            }
        }
        QVERIFY(!runTool(c, u"falsch"_s));
        QVERIFY(names(side).filter(u".OldData"_s).isEmpty());
        const QStringList kept = names(side).filter(u" vor unterbrochener Wiederherstellung"_s);
        QMap<QString, Item> keptItems;
        for (const QString& folder : kept) {
            keptItems.insert(snapshot(side + u'/' + folder));
        }
        if (!written) {
            QVERIFY(kept.isEmpty());
            QCOMPARE(replaced ? withoutTimes(dataItems()) : dataItems(),
                     replaced ? newTree : oldTree);
        } else {
            const QMap<QString, Item> data = dataItems();
            for (auto it = companion.begin(); it != companion.end(); ++it) {
                QCOMPARE(data.value(it.key()).content, it.value());
            }
            if (!replaced) {
                for (auto it = oldTree.begin(); it != oldTree.end(); ++it) {
                    QVERIFY2(it.key() == u"d.txt"_s || data.value(it.key()) == it.value() ||
                                 keptItems.value(it.key()) == it.value(),
                             qPrintable(it.key()));
                }
            }
        }
        QVERIFY(runTool(c, u"pw"_s));
        QCOMPARE(withoutTimes(dataItems()), newTree);
        QCOMPARE(QFileInfo(c + u"/Data"_s).isSymLink(), layout == u"link"_s);
        // The tool's lock file stays beside the data folder.
        QCOMPARE(names(c), QStringList({u".Data.lock"_s, u"Data"_s}) +
                               (layout == u"folder"_s ? kept : QStringList()));
        QVERIFY(names(side).filter(u".OldData"_s).isEmpty() &&
                !names(side).contains(u".TempData"_s));
        QMap<QString, Item> keptAfter;
        for (const QString& folder : kept) {
            keptAfter.insert(snapshot(side + u'/' + folder));
        }
        QCOMPARE(keptAfter, keptItems);
    }

    // The archive is unpacked from the backup as it is decrypted: a restore
    // writes the tree and never the plain archive, nor does a check.
    void plaintextIsWrittenOnlyAsTheTree() {
        QTemporaryDir work;
        const auto [backup, newTree] = newBackup(work);
        const QString c = work.filePath(u"c"_s);
        QDir().mkpath(c);
        const qint64 before = bytesWritten();
        QCOMPARE(restore(backup, c), EncryptionResult::success());
        QVERIFY(
            EncryptionService::shared().verifyEncryptedArchive(backup, u"pw"_s).result().isSound());
        const qint64 written = bytesWritten() - before;
        QVERIFY2(before >= 0 && written >= (1 << 20) && written < (1 << 20) + (64 << 10),
                 qPrintable(QString::number(written)));
        QCOMPARE(withoutTimes(snapshot(c + u"/Data"_s)), newTree);
    }

    // A link entry claiming gigabytes is skipped as too long, never read.
    void absurdLinkSizeIsSkippedUnread() {
        QTemporaryDir work;
        const QString zip = work.filePath(u"plain.zip"_s);
        QVERIFY(runProgram(python(), {craftZip, u"entries"_s, zip, u"Data/a=1"_s, u"Data/l->a"_s}));
        QByteArray bytes = readAll(zip);
        const qsizetype header = bytes.indexOf(QByteArray("PK\x03\x04", 4), 1);
        bytes.replace(header + 18, 4, QByteArray("\xf0\xff\xff\xff", 4));
        const QString c = work.filePath(u"c"_s);
        QDir().mkpath(c);
        QCOMPARE(restore(backupOf(work.path(), {}, bytes), c), EncryptionResult::success());
        QCOMPARE(snapshot(c + u"/Data"_s).keys(), QStringList{u"a"_s});
        const VerificationReport report =
            EncryptionService::shared()
                .verifyEncryptedArchive(work.filePath(u"backup.halvorn"_s), u"pw"_s)
                .result();
        QCOMPARE(report.firstDamagedEntry, u"Data/l"_s);
    }
};

QTEST_GUILESS_MAIN(BackupRestorationReplacesDataFolder)
#include "BackupRestorationReplacesDataFolder.moc"
