// corvina-backup, run as a real process: what it prints, where its defaults
// come from, and its exit codes for success, engine failures and bad use.
#include "../engine/TestTrees.h"

#include <QProcessEnvironment>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace corvina;
using namespace corvina::testing;

namespace {

const QString tool = QStringLiteral(CORVINA_BACKUP_TOOL);

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
    /// The last line of stdout; debug builds print log lines ahead of it.
    [[nodiscard]] QString lastLine() const {
        const QStringList lines = out.split(u'\n', Qt::SkipEmptyParts);
        return lines.isEmpty() ? QString() : lines.last();
    }
};

Run runTool(const QStringList& arguments, const QString& home, const QByteArray& input = {},
            const QString& program = tool, const QStringList& prefix = {}) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    process.setProcessEnvironment(environment);
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

void storeSetting(const QString& home, const QString& value) {
    QSettings settings(home + QStringLiteral("/.config/de.Corvina-Backup-Manager/"
                                             "Corvina-Backup-Manager.conf"),
                       QSettings::IniFormat);
    settings.setValue(QStringLiteral("savedPathKey"), value);
}

QString passwordFile(const QString& folder, const QByteArray& content) {
    const QString path = folder + QStringLiteral("/password.txt");
    writeFile(path, content);
    return path;
}

} // namespace

class CommandLineToolDrivesTheEngine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void backupOfToolIsReadByIndependentTools() {
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/akte.txt"), QByteArray("Eintrag\n").repeated(1000));
        writeFile(data + QStringLiteral("/Unterordner/Grüße.txt"), "Umlaut");
        writeFile(data + QStringLiteral("/leer"), {});
        QFile::link(QStringLiteral("akte.txt"), data + QStringLiteral("/verweis"));
        const QString password = passwordFile(work.path(), "Geheimnis\r\nzweite Zeile\n");

        const Run created = runTool({QStringLiteral("create"), QStringLiteral("--source"), data,
                                     QStringLiteral("--dest"), work.filePath(QStringLiteral("out")),
                                     QStringLiteral("--comment"), QStringLiteral("Über Nacht"),
                                     QStringLiteral("--password-file"), password},
                                    work.path());
        QCOMPARE(created.exitCode, 0);
        const QString backup = created.lastLine();
        QVERIFY2(QFileInfo(backup).isFile(), qPrintable(created.out));

        const auto plain = opensslDecrypt(backup, QStringLiteral("Geheimnis"));
        QVERIFY(plain.has_value());
        const QString zip = work.filePath(QStringLiteral("plain.zip"));
        writeFile(zip, *plain);
        QVERIFY(runProgram(QStringLiteral("unzip"), {QStringLiteral("-tq"), zip}));
        QVERIFY(runProgram(QStringLiteral("bsdtar"), {QStringLiteral("-tf"), zip}));
        const auto names =
            runProgram(python(), {QStringLiteral("-c"),
                                  QStringLiteral("import sys, zipfile\n"
                                                 "z = zipfile.ZipFile(sys.argv[1])\n"
                                                 "for info in z.infolist():\n"
                                                 "    z.read(info)  # checks the CRC-32\n"
                                                 "print('\\n'.join(sorted(z.namelist())))"),
                                  zip});
        QVERIFY(names.has_value());
        QCOMPARE(QString::fromUtf8(*names).trimmed().split(u'\n'),
                 QStringList({QStringLiteral("Data/"), QStringLiteral("Data/Unterordner/"),
                              QStringLiteral("Data/Unterordner/Grüße.txt"),
                              QStringLiteral("Data/akte.txt"), QStringLiteral("Data/leer"),
                              QStringLiteral("Data/verweis")}));

        const Run comment =
            runTool({QStringLiteral("comment"), QStringLiteral("get"), backup}, work.path());
        QCOMPARE(comment.exitCode, 0);
        QCOMPARE(comment.out, QStringLiteral("Über Nacht\n"));

        const Run verified = runTool({QStringLiteral("verify"), QStringLiteral("--backup"), backup,
                                      QStringLiteral("--password-file"), QStringLiteral("-")},
                                     work.path(), "Geheimnis\n");
        QCOMPARE(verified.exitCode, 0);
        QVERIFY(verified.out.contains(QStringLiteral("entries: 6\n")));
        QVERIFY(verified.out.contains(QStringLiteral("bytes: %1\n").arg(8000 + 6 + 8)));

        const QString container = work.filePath(QStringLiteral("container"));
        writeFile(container + QStringLiteral("/Data/alt"), "alt");
        const Run restored = runTool({QStringLiteral("restore"), QStringLiteral("--backup"), backup,
                                      QStringLiteral("--container"), container,
                                      QStringLiteral("--password-file"), password},
                                     work.path());
        QCOMPARE(restored.exitCode, 0);
        QCOMPARE(snapshot(container + QStringLiteral("/Data")).keys(), snapshot(data).keys());
        QCOMPARE(readAll(container + QStringLiteral("/Data/Unterordner/Grüße.txt")),
                 QByteArray("Umlaut"));
    }

    // Without --source, --dest and --container the tool uses the companion's
    // folders below HOME and the stored storage folder, a path or a file URL.
    void defaultsComeFromHomeAndSettings_data() {
        QTest::addColumn<bool>("asUrl");
        QTest::newRow("stored path") << false;
        QTest::newRow("stored file URL") << true;
    }
    void defaultsComeFromHomeAndSettings() {
        QFETCH(bool, asUrl);
        QTemporaryDir home;
        const QString container = home.filePath(QStringLiteral("Library/Containers/de.halvorn"));
        writeFile(container + QStringLiteral("/Data/daten.txt"), "Daten");
        const QString storage = home.filePath(QStringLiteral("Sicherungen mit Leerzeichen"));
        storeSetting(home.path(), asUrl ? QUrl::fromLocalFile(storage).toString() : storage);

        const Run created = runTool({QStringLiteral("create")}, home.path());
        QCOMPARE(created.exitCode, 0);
        QVERIFY(created.err.contains(QStringLiteral("empty archive password")));
        const QString backup = created.lastLine();
        QCOMPARE(QFileInfo(backup).absolutePath(), storage);
        QVERIFY(opensslDecrypt(backup, QString()).has_value());

        writeFile(container + QStringLiteral("/Data/daten.txt"), "geändert");
        const Run restored =
            runTool({QStringLiteral("restore"), QStringLiteral("--backup"), backup}, home.path());
        QCOMPARE(restored.exitCode, 0);
        QCOMPARE(readAll(container + QStringLiteral("/Data/daten.txt")), QByteArray("Daten"));
    }

    void exitCodes_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("stderrText");

        const QString failed =
            QStringLiteral("Fehler beim Erstellen oder Wiederherstellen des Archivs.");
        QTest::newRow("no command") << QString() << QStringList() << 2 << QStringLiteral("Usage:");
        QTest::newRow("unknown command") << QString() << QStringList{QStringLiteral("backup")} << 2
                                         << QStringLiteral("unknown command");
        QTest::newRow("unknown option")
            << QString() << QStringList{QStringLiteral("create"), QStringLiteral("--force")} << 2
            << QStringLiteral("Unknown option");
        QTest::newRow("stray argument")
            << QString() << QStringList{QStringLiteral("verify"), QStringLiteral("x")} << 2
            << QStringLiteral("unexpected argument");
        QTest::newRow("restore without backup")
            << QString() << QStringList{QStringLiteral("restore")} << 2
            << QStringLiteral("--backup is required");
        QTest::newRow("create without any destination")
            << QString() << QStringList{QStringLiteral("create")} << 2
            << QStringLiteral("no storage folder stored");
        QTest::newRow("unreadable password file")
            << QString()
            << QStringList{QStringLiteral("verify"), QStringLiteral("--backup"),
                           QStringLiteral("b"), QStringLiteral("--password-file"),
                           QStringLiteral("/nonexistent/pw")}
            << 2 << QStringLiteral("cannot read the password file");
        QTest::newRow("comment without file")
            << QString() << QStringList{QStringLiteral("comment"), QStringLiteral("get")} << 2
            << QStringLiteral("expected \"get FILE\"");
        QTest::newRow("missing source")
            << QString()
            << QStringList{QStringLiteral("create"), QStringLiteral("--source"),
                           QStringLiteral("@/missing"), QStringLiteral("--dest"),
                           QStringLiteral("@/out")}
            << 1 << QStringLiteral("Das Zielverzeichnis wurde nicht gefunden.");
        QTest::newRow("comment too long")
            << QString()
            << QStringList{QStringLiteral("create"),          QStringLiteral("--source"),
                           QStringLiteral("@/Data"),          QStringLiteral("--dest"),
                           QStringLiteral("@/out"),           QStringLiteral("--comment"),
                           QStringLiteral("x").repeated(4001)}
            << 1
            << QStringLiteral("Der Kommentar ist zu lang und wurde auf 4000 Zeichen verkürzt.");
        QTest::newRow("restore with wrong password")
            << QStringLiteral("backup") << QStringList{QStringLiteral("restore"),
                                                       QStringLiteral("--backup"),
                                                       QStringLiteral("@/backup.halvorn"),
                                                       QStringLiteral("--container"),
                                                       QStringLiteral("@"),
                                                       QStringLiteral("--password-file"),
                                                       QStringLiteral("@/falsch")}
            << 1 << failed;
        QTest::newRow("restore of an empty file")
            << QStringLiteral("empty")
            << QStringList{QStringLiteral("restore"), QStringLiteral("--backup"),
                           QStringLiteral("@/empty.halvorn"), QStringLiteral("--container"),
                           QStringLiteral("@")}
            << 1
            << QStringLiteral(
                   "Die verschlüsselte Datei wurde nicht gefunden oder nicht bereitgestellt.");
        QTest::newRow("verify with wrong password")
            << QStringLiteral("backup")
            << QStringList{QStringLiteral("verify"), QStringLiteral("--backup"),
                           QStringLiteral("@/backup.halvorn"), QStringLiteral("--password-file"),
                           QStringLiteral("@/falsch")}
            << 1 << failed;
        QTest::newRow("verify of a damaged entry")
            << QStringLiteral("damaged")
            << QStringList{QStringLiteral("verify"), QStringLiteral("--backup"),
                           QStringLiteral("@/backup.halvorn")}
            << 1 << QStringLiteral("the backup is damaged");
        QTest::newRow("help of a command")
            << QString() << QStringList{QStringLiteral("restore"), QStringLiteral("--help")} << 0
            << QString();
    }
    void exitCodes() {
        QFETCH(QString, setup);
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, stderrText);
        QTemporaryDir work;
        writeFile(work.filePath(QStringLiteral("Data/akte.txt")), "MARKER-CONTENT-xxxxxxxx");
        writeFile(work.filePath(QStringLiteral("falsch")), "falsch\n");
        if (setup == QLatin1String("empty")) {
            writeFile(work.filePath(QStringLiteral("empty.halvorn")), {});
        } else if (!setup.isEmpty()) {
            const QString zip = work.filePath(QStringLiteral("backup.zip"));
            QVERIFY(runProgram(QStringLiteral("zip"),
                               {QStringLiteral("-q0r"), zip, QStringLiteral("Data")}, {},
                               work.path()));
            if (setup == QLatin1String("damaged")) {
                QByteArray bytes = readAll(zip);
                const qsizetype at = bytes.indexOf("MARKER-CONTENT-") + 18;
                bytes[at] = 'y';
                writeFile(zip, bytes);
            }
            QVERIFY(
                opensslEncrypt(zip, work.filePath(QStringLiteral("backup.halvorn")), QString()));
        }
        for (QString& argument : arguments) {
            if (argument.startsWith(u'@')) {
                argument.replace(0, 1, work.path());
            }
        }
        const auto dataBefore = snapshot(work.filePath(QStringLiteral("Data")));

        const Run run = runTool(arguments, work.path());
        QCOMPARE(run.exitCode, exitCode);
        if (exitCode == 0) {
            QVERIFY(run.out.startsWith(QStringLiteral("Usage: corvina-backup restore [options]")));
        } else {
            QVERIFY2(run.err.contains(stderrText), qPrintable(run.err));
        }
        QCOMPARE(snapshot(work.filePath(QStringLiteral("Data"))), dataBefore);
    }

    // Root reads every file; without the capabilities that let it override
    // file modes, a file of mode 000 is unreadable as for any user.
    void unreadableFileFailsTheBackupAndLeavesOnlyTheTemporaryZip() {
        if (!QFileInfo::exists(QStringLiteral("/usr/bin/setpriv"))) {
            QSKIP("setpriv is not installed");
        }
        QTemporaryDir work;
        const QString data = work.filePath(QStringLiteral("Data"));
        writeFile(data + QStringLiteral("/lesbar.txt"), "lesbar");
        writeFile(data + QStringLiteral("/gesperrt.txt"), "gesperrt");
        QFile::setPermissions(data + QStringLiteral("/gesperrt.txt"), {});
        const auto before = snapshot(data);
        const QString destination = work.filePath(QStringLiteral("out"));

        const Run run = runTool({QStringLiteral("create"), QStringLiteral("--source"), data,
                                 QStringLiteral("--dest"), destination},
                                work.path(), {}, QStringLiteral("/usr/bin/setpriv"),
                                {QStringLiteral("--bounding-set"),
                                 QStringLiteral("-dac_override,-dac_read_search"), tool});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QStringLiteral("Fehler beim Erstellen oder Wiederherstellen des "
                                                 "Archivs.")),
                 qPrintable(run.err));
        QCOMPARE(snapshot(data), before);
        const QStringList left =
            QDir(destination).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QCOMPARE(left.size(), 1);
        QVERIFY2(left.first().startsWith(QStringLiteral(".Backup_")) &&
                     left.first().endsWith(QStringLiteral(".zip")),
                 qPrintable(left.first()));
    }
};

QTEST_GUILESS_MAIN(CommandLineToolDrivesTheEngine)
#include "CommandLineToolDrivesTheEngine.moc"
