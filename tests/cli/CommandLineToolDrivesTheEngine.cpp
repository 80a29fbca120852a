// corvina-backup as a real process: its output, its defaults, and its exit
// codes for success, engine failures and bad use.
#include "../engine/TestTrees.h"
#include "../session/SecretTool.h"
#include "engine/DataFolderLock.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace corvina::testing;

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
    /// Debug builds print log lines ahead of the tool's own last line.
    [[nodiscard]] QString lastLine() const {
        const QStringList lines = out.split(u'\n', Qt::SkipEmptyParts);
        return lines.isEmpty() ? QString() : lines.last();
    }
};

/// Runs the tool with HOME (and the settings) in `home`, `@` in arguments
/// standing for `home`; `prefix` runs it through another program.
Run runTool(QStringList arguments, const QString& home, const QByteArray& input = {},
            QStringList prefix = {},
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    process.setProcessEnvironment(environment);
    for (QString& argument : arguments) {
        argument.replace(QLatin1Char('@'), home);
    }
    prefix << QStringLiteral(CORVINA_BACKUP_TOOL);
    const QString program = prefix.takeFirst();
    process.start(program, prefix + arguments);
    process.write(input);
    process.closeWriteChannel();
    Run run;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

const QStringList zipPasswordItem{QStringLiteral("service"),
                                  QStringLiteral("de.Corvina-Backup-Manager.ZipPassword"),
                                  QStringLiteral("account"), QStringLiteral("zipPassword")};

void writeSettings(const QString& home, const QString& key, const QString& value) {
    QSettings(home +
                  QStringLiteral("/.config/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"),
              QSettings::IniFormat)
        .setValue(key, value);
}

} // namespace

class CommandLineToolDrivesTheEngine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void backupOfToolIsReadByIndependentTools() {
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/akte.txt")),
                  QByteArray("Eintrag\n").repeated(1000));
        writeFile(home.filePath(QStringLiteral("Data/Ordner/Grüße.txt")), "Umlaut");
        QFile::link(QStringLiteral("akte.txt"), home.filePath(QStringLiteral("Data/verweis")));
        writeFile(home.filePath(QStringLiteral("pw")), "Geheimnis\r\nzweite Zeile\n");

        const Run created = runTool({"create", "--source", "@/Data", "--dest", "@/out", "--comment",
                                     "Über Nacht", "--password-file", "@/pw"},
                                    home.path());
        QCOMPARE(created.exitCode, 0);
        const QString backup = created.lastLine();
        const QString zip = home.filePath(QStringLiteral("plain.zip"));
        QVERIFY(openssl(true, backup, zip, QStringLiteral("Geheimnis")));
        QVERIFY(runProgram(QStringLiteral("unzip"), {QStringLiteral("-tq"), zip}));

        QCOMPARE(runTool({"comment", "get", backup}, home.path()).out,
                 QStringLiteral("Über Nacht\n"));
        const Run verified = runTool({"verify", "--backup", backup, "--password-file", "-"},
                                     home.path(), "Geheimnis\n");
        QCOMPARE(verified.exitCode, 0);
        QVERIFY(verified.out.endsWith(QStringLiteral("entries: 5\nbytes: 8014\n")));
        writeFile(home.filePath(QStringLiteral("c/Data/alt")), "alt");
        QCOMPARE(runTool({"restore", "--backup", backup, "--container", "@/c", "--password-file",
                          "@/pw"},
                         home.path())
                     .exitCode,
                 0);
        QCOMPARE(withoutTimes(snapshot(home.filePath(QStringLiteral("c/Data")))),
                 withoutTimes(snapshot(home.filePath(QStringLiteral("Data")))));
    }

    // Files the companion writes while they are backed up: a 64 MiB file
    // rewritten in place over and over, and a SQLite database that sqlite3
    // writes to in a loop. The backup succeeds, every reader accepts it, and
    // each file comes back as one version that was written whole.
    void filesInUseComeBackAsOneVersion() {
        QTemporaryDir home;
        const QString big = home.filePath(QStringLiteral("Data/gross.bin"));
        const QString db = home.filePath(QStringLiteral("Data/akten.sqlite"));
        writeFile(big, QByteArray(64 << 20, '\1'));
        writeFile(home.filePath(QStringLiteral("pw")), "pw");
        QVERIFY(runProgram(QStringLiteral("sqlite3"),
                           {db, "CREATE TABLE t(id INTEGER PRIMARY KEY, b BLOB);"}));
        QProcess rewriter;
        rewriter.start(python(), {"-c",
                                  "import os, sys, time\n"
                                  "fd = os.open(sys.argv[1], os.O_WRONLY)\n"
                                  "k = 1\n"
                                  "while True:\n"
                                  "    k = k % 250 + 1\n"
                                  "    os.pwrite(fd, bytes([k]) * (64 << 20), 0)\n"
                                  "    time.sleep(0.4)\n",
                                  big});
        QProcess sqlite;
        sqlite.start(QStringLiteral("sqlite3"), {db});
        QByteArray script = "PRAGMA journal_mode=MEMORY;\n";
        // A transaction every few milliseconds, as a program in use writes.
        for (int i = 0; i < 5000; ++i) {
            script += "INSERT INTO t(b) VALUES (randomblob(1000));\n.shell sleep 0.01\n";
        }
        sqlite.write(script);
        QVERIFY(rewriter.waitForStarted() && sqlite.waitForStarted());
        QTest::qWait(500);

        const Run created =
            runTool({"create", "--source", "@/Data", "--dest", "@/out", "--password-file", "@/pw"},
                    home.path());
        rewriter.kill();
        sqlite.kill();
        rewriter.waitForFinished();
        sqlite.waitForFinished();
        QCOMPARE(created.exitCode, 0);
        const QString backup = created.lastLine();
        QCOMPARE(runTool({"verify", "--backup", backup, "--password-file", "@/pw"}, home.path())
                     .exitCode,
                 0);
        const QString zip = home.filePath(QStringLiteral("plain.zip"));
        QVERIFY(openssl(true, backup, zip, QStringLiteral("pw")));
        for (const QStringList& check :
             {QStringList{"unzip", "-tq", zip}, QStringList{"bsdtar", "-xOf", zip},
              QStringList{"7z", "t", zip}, QStringList{python(), "-m", "zipfile", "-t", zip}}) {
            QVERIFY2(runProgram(check.first(), check.mid(1)), qPrintable(check.join(u' ')));
        }

        QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("c"))));
        QCOMPARE(runTool({"restore", "--backup", backup, "--container", "@/c", "--password-file",
                          "@/pw"},
                         home.path())
                     .exitCode,
                 0);
        const QByteArray restored = readAll(home.filePath(QStringLiteral("c/Data/gross.bin")));
        QCOMPARE(restored.size(), 64 << 20);
        QVERIFY(restored == QByteArray(restored.size(), restored.front()));
        QCOMPARE(runProgram(QStringLiteral("sqlite3"),
                            {home.filePath(QStringLiteral("c/Data/akten.sqlite")),
                             "PRAGMA integrity_check; SELECT count(*) > 0 AND count(*) = max(id) "
                             "FROM t;"})
                     .value_or("sqlite3 failed"),
                 "ok\n1\n");
    }

    // Without --source, --dest, --container and --password-file the tool
    // uses the companion's folders below HOME, the stored storage folder and
    // the keyring's archive password; without an item, the empty password.
    void defaultsComeFromHomeSettingsAndKeyring_data() {
        QTest::addColumn<QByteArray>("storedPassword");
        QTest::newRow("password in the keyring") << QByteArray("Schlüssel aus dem Schlüsselbund");
        QTest::newRow("no keyring item") << QByteArray();
    }
    void defaultsComeFromHomeSettingsAndKeyring() {
        QFETCH(QByteArray, storedPassword);
        secret_tool::clear(zipPasswordItem);
        if (!storedPassword.isEmpty()) {
            QVERIFY(secret_tool::store(zipPasswordItem, storedPassword));
        }
        QTemporaryDir home;
        const QString data =
            home.filePath(QStringLiteral("Library/Containers/de.halvorn/Data/daten.txt"));
        writeFile(data, "Daten");
        const QString storage = home.filePath(QStringLiteral("Sicherungen mit Leerzeichen"));
        writeSettings(home.path(), QStringLiteral("savedPathKey"), storage);

        const Run created = runTool({"create"}, home.path());
        secret_tool::clear(zipPasswordItem);
        QCOMPARE(created.exitCode, 0);
        QCOMPARE(created.err.contains(QStringLiteral("Kein Archivpasswort im Schlüsselbund")),
                 storedPassword.isEmpty());
        QCOMPARE(QFileInfo(created.lastLine()).absolutePath(), storage);
        QVERIFY(openssl(true, created.lastLine(), home.filePath(QStringLiteral("plain.zip")),
                        QString::fromUtf8(storedPassword)));
        writeFile(data, "geändert");
        QCOMPARE(runTool({"restore", "--backup", created.lastLine(), "--password-file", "-"},
                         home.path(), storedPassword + '\n')
                     .exitCode,
                 0);
        QCOMPARE(readAll(data), QByteArray("Daten"));
    }

    // A keyring that cannot be reached stops the backup: no backup under
    // the empty password, a code of its own, and stdout left to results.
    void unreachableKeyringRefusesAndKeepsStdoutForResults() {
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/akte.txt")), "Akte");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=") + home.filePath(QStringLiteral("no-bus")));
        const Run created = runTool({"create", "--source", "@/Data", "--dest", "@/out"},
                                    home.path(), {}, {}, environment);
        QCOMPARE(created.exitCode, 4);
        QVERIFY(created.err.contains(QStringLiteral(
            "Das Archivpasswort konnte nicht aus dem Schlüsselbund gelesen werden")));
        QVERIFY(created.err.contains(QStringLiteral("OSStatus error:[")));
        QVERIFY(!created.out.contains(QStringLiteral("OSStatus")));
        QVERIFY(!QFileInfo::exists(home.filePath(QStringLiteral("out"))));
    }

    // The restore list's rule: only backup names, hidden files left out,
    // newest first, each comment indented below its backup.
    void listShowsBackupsNewestFirstWithComments() {
        QTemporaryDir home;
        const QString storage = home.filePath(QStringLiteral("Sicherungen"));
        const QStringList names{"Backup_2024-03-01_08-05-09.halvorn",
                                "Backup_2025-12-31_23-59-59.halvorn",
                                ".Backup_2026-01-01_00-00-00.halvorn", "Backup_kaputt.halvorn",
                                "Backup_2026-01-01_00-00-00.zip"};
        for (const QString& name : names) {
            writeFile(storage + u'/' + name, "x");
        }
        QCOMPARE(
            runTool({"comment", "set", storage + u'/' + names.at(1), "Jahresende\nzweite Zeile"},
                    home.path())
                .exitCode,
            0);
        writeSettings(home.path(), QStringLiteral("savedPathKey"), storage);

        const Run listed = runTool({"list"}, home.path());
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.out, QStringLiteral("31.12.2025 23:59:59  %1/%2\n"
                                            "    Jahresende\n"
                                            "    zweite Zeile\n"
                                            "01.03.2024 08:05:09  %1/%3\n")
                                 .arg(storage, names.at(1), names.at(0)));
        QCOMPARE(runTool({"list", "--dir", "@/leer"}, home.path()).exitCode, 2);
    }

    void exitCodes_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("stderrText");
        const QString failed =
            QStringLiteral("Fehler beim Erstellen oder Wiederherstellen des Archivs.");
        QTest::newRow("no command") << QStringList() << 2 << "Usage:";
        QTest::newRow("unknown command") << QStringList{"backup"} << 2 << "unbekannter Befehl";
        QTest::newRow("unknown option")
            << QStringList{"create", "--force"} << 2 << "unbekannte Option „force“";
        QTest::newRow("stray argument")
            << QStringList{"verify", "x"} << 2 << "unerwartetes Argument";
        QTest::newRow("no backup") << QStringList{"restore"} << 2 << "--backup fehlt";
        QTest::newRow("no destination")
            << QStringList{"create"} << 2 << "kein Speicherordner festgelegt";
        QTest::newRow("unreadable password file")
            << QStringList{"verify", "--backup", "@/b.halvorn", "--password-file", "@/missing"} << 2
            << "kann nicht gelesen werden";
        QTest::newRow("comment without file") << QStringList{"comment", "get"} << 2 << "erwartet";
        QTest::newRow("missing source")
            << QStringList{"create", "--source", "@/missing", "--dest", "@/out"} << 1
            << "Das Zielverzeichnis wurde nicht gefunden.";
        QTest::newRow("comment too long")
            << QStringList{"create", "--source",  "@/Data",           "--dest",
                           "@/out",  "--comment", QString(4001, u'x')}
            << 1 << "Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt.";
        QTest::newRow("wrong password")
            << QStringList{"restore", "--backup",        "@/b.halvorn",    "--container",
                           "@",       "--password-file", "@/Data/akte.txt"}
            << 1 << failed;
        QTest::newRow("empty backup")
            << QStringList{"verify", "--backup", "@/Data/leer"} << 1
            << "Die verschlüsselte Datei wurde nicht gefunden oder nicht bereitgestellt.";
        QTest::newRow("damaged entry") << QStringList{"verify", "--backup", "@/damaged.halvorn"}
                                       << 1 << "die Sicherung ist beschädigt";
        QTest::newRow("damaged backup never replaces the data")
            << QStringList{"restore", "--backup", "@/damaged.halvorn", "--container", "@"} << 1
            << failed;
        // "!" holds the data folder's lock, as another action would.
        const QString busy = QStringLiteral("Eine andere Aktion mit den Daten läuft gerade.");
        QTest::newRow("data folder busy, create")
            << QStringList{"!", "create", "--source", "@/Data", "--dest", "@/out"} << 3 << busy;
        QTest::newRow("data folder busy, restore")
            << QStringList{"!", "restore", "--backup", "@/b.halvorn", "--container", "@"} << 3
            << busy;
        QTest::newRow("help") << QStringList{"restore", "--help"} << 0 << QString();
    }
    void exitCodes() {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, stderrText);
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/akte.txt")), "MARKER-CONTENT-xxxxxxxx");
        writeFile(home.filePath(QStringLiteral("Data/leer")), {});
        const QString zip = home.filePath(QStringLiteral("b.zip"));
        QVERIFY(runProgram(QStringLiteral("zip"), {"-q0r", zip, "Data"}, home.path()));
        // Neither the wrong password nor the empty one opens it.
        QVERIFY(openssl(false, zip, home.filePath(QStringLiteral("b.halvorn")),
                        QStringLiteral("richtig")));
        QByteArray bytes = readAll(zip);
        bytes[bytes.indexOf("MARKER-CONTENT-") + 18] = 'y';
        writeFile(zip, bytes);
        QVERIFY(openssl(false, zip, home.filePath(QStringLiteral("damaged.halvorn")), QString()));
        const auto before = snapshot(home.filePath(QStringLiteral("Data")));
        std::optional<corvina::DataFolderLock> held;
        if (arguments.value(0) == QLatin1String("!")) {
            arguments.removeFirst();
            held = corvina::DataFolderLock::tryAcquire(home.filePath(QStringLiteral("Data")));
            QVERIFY(held);
        }

        const Run run = runTool(arguments, home.path());
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(exitCode == 0
                     ? run.out.startsWith(QStringLiteral("Usage: corvina-backup restore [options]"))
                     : run.err.contains(stderrText),
                 qPrintable(run.err));
        QCOMPARE(snapshot(home.filePath(QStringLiteral("Data"))), before);
        // A refused action made nothing.
        QVERIFY(!held || !QFileInfo::exists(home.filePath(QStringLiteral("out"))));
    }

    // The last resort: a damaged backup restored all the same, its damaged
    // entry named.
    void acceptDamagedRestoresAndNamesEntries() {
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/akte.txt")), "MARKER-CONTENT-xxxxxxxx");
        writeFile(home.filePath(QStringLiteral("Data/gesund.txt")), "gesund");
        const QString zip = home.filePath(QStringLiteral("b.zip"));
        QVERIFY(runProgram(QStringLiteral("zip"), {"-q0r", zip, "Data"}, home.path()));
        QByteArray bytes = readAll(zip);
        bytes[bytes.indexOf("MARKER-CONTENT-") + 18] = 'y';
        writeFile(zip, bytes);
        QVERIFY(openssl(false, zip, home.filePath(QStringLiteral("damaged.halvorn")), QString()));
        QVERIFY(QDir(home.filePath(QStringLiteral("Data"))).removeRecursively());

        const Run run = runTool(
            {"restore", "--backup", "@/damaged.halvorn", "--container", "@", "--accept-damaged"},
            home.path());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out.split(u'\n').filter(QStringLiteral("damaged entry: ")),
                 QStringList{QStringLiteral("damaged entry: Data/akte.txt")});
        QCOMPARE(readAll(home.filePath(QStringLiteral("Data/akte.txt"))),
                 QByteArray("MARKER-CONTENT-xxxyxxxx"));
        QCOMPARE(readAll(home.filePath(QStringLiteral("Data/gesund.txt"))), QByteArray("gesund"));
    }

    // Root reads every file; without the capabilities that override file
    // modes, a file of mode 000 is unreadable for it as for anyone. Neither
    // a backup nor any plaintext is left.
    void unreadableFileFailsAndLeavesNothing() {
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/lesbar")), "lesbar");
        writeFile(home.filePath(QStringLiteral("Data/gesperrt")), "gesperrt");
        QFile::setPermissions(home.filePath(QStringLiteral("Data/gesperrt")), {});
        const auto before = snapshot(home.filePath(QStringLiteral("Data")));
        const Run run =
            runTool({"create", "--source", "@/Data", "--dest", "@/out"}, home.path(), {},
                    {"setpriv", "--bounding-set", "-dac_override,-dac_read_search"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY(run.err.contains(
            QStringLiteral("Fehler beim Erstellen oder Wiederherstellen des Archivs.")));
        QCOMPARE(snapshot(home.filePath(QStringLiteral("Data"))), before);
        const QStringList left =
            QDir(home.filePath(QStringLiteral("out"))).entryList(QDir::Files | QDir::Hidden);
        QCOMPARE(left, QStringList());
    }

    void progressLineOnlyOnATerminal() {
        QTemporaryDir home;
        writeFile(home.filePath(QStringLiteral("Data/akte.bin")), QByteArray(1 << 20, 'a'));
        writeFile(home.filePath(QStringLiteral("pw")), "pw\n");
        const QStringList create{"create", "--source",        "@/Data", "--dest",
                                 "@/out",  "--password-file", "@/pw"};
        const Run piped = runTool(create, home.path());
        QCOMPARE(piped.exitCode, 0);
        QVERIFY(!piped.err.contains(u'\r') && !piped.out.contains(u'\r'));

        // script gives the tool a terminal for both outputs: the line ends
        // full and is wiped before the backup's path is printed.
        QProcess terminal;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        terminal.setProcessEnvironment(environment);
        QStringList command{QStringLiteral(CORVINA_BACKUP_TOOL)};
        for (const QString& argument : create) {
            command << QString(argument).replace(u'@', home.path());
        }
        terminal.start(QStringLiteral("script"),
                       {QStringLiteral("-qefc"), command.join(u' '), QStringLiteral("/dev/null")});
        QVERIFY(terminal.waitForFinished(60000) && terminal.exitCode() == 0);
        const QString shown = QString::fromUtf8(terminal.readAllStandardOutput());
        QVERIFY2(shown.contains(QStringLiteral("100 %\r\x1b[K") + home.path() +
                                QStringLiteral("/out/Backup_")),
                 qPrintable(shown));
    }
};

QTEST_GUILESS_MAIN(CommandLineToolDrivesTheEngine)
#include "CommandLineToolDrivesTheEngine.moc"
