// Scheduled backups: the timer and service the tool installs are sound unit
// files, the service's own command makes the backup with the keyring's
// password, keeps only the newest automatic backups once the new one passed
// its check, and every failure reaches the journal (stderr), the desktop (a
// notification on the session bus) and the schedule's status.
#include "../engine/TestTrees.h"
#include "../session/SecretTool.h"
#include "engine/DataFolderLock.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <optional>

using namespace corvina::testing;
using namespace Qt::StringLiterals;

namespace {

const QStringList zipPasswordItem{u"service"_s, u"de.Corvina-Backup-Manager.ZipPassword"_s,
                                  u"account"_s, u"zipPassword"_s};

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

/// One user: a home with the program's settings, the companion's data folder
/// and the storage folder "out".
struct Home {
    QTemporaryDir dir;
    Home() { QDir().mkpath(path(u"out"_s)); }
    [[nodiscard]] QString path(const QString& relative = {}) const {
        return relative.isEmpty() ? dir.path() : dir.filePath(relative);
    }
    [[nodiscard]] QString unitFolder() const { return path(u".config/systemd/user"_s); }
    /// Stores the storage folder as the window does; empty removes it.
    void setStorage(const QString& folder) const {
        QSettings settings(path(u".config/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf"_s),
                           QSettings::IniFormat);
        folder.isEmpty() ? settings.remove(u"savedPathKey"_s)
                         : settings.setValue(u"savedPathKey"_s, folder);
    }
    [[nodiscard]] QString dataFolder() const {
        return path(u"Library/Containers/de.halvorn/Data"_s);
    }
    /// Runs `program`; `extra` sets variables of the environment, as
    /// "NAME=value"; `meanwhile` is called once it has started.
    Run run(const QString& program, const QStringList& arguments, const QStringList& extra = {},
            const std::function<void()>& meanwhile = {}) const {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, path());
        environment.insert(u"XDG_CONFIG_HOME"_s, path(u".config"_s));
        environment.insert(u"XDG_STATE_HOME"_s, path(u".local/state"_s));
        for (const QString& variable : extra) {
            environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
        }
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        if (meanwhile && process.waitForStarted()) {
            meanwhile();
        }
        Run result;
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
            result.exitCode = process.exitCode();
        }
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }
    Run tool(const QStringList& arguments, const QStringList& extra = {}) const {
        return run(QStringLiteral(CORVINA_BACKUP_TOOL), arguments, extra);
    }
    /// The service's command line as systemd would run it, with `arguments`
    /// added and `extra` in its environment.
    Run service(const QStringList& arguments = {}, const QStringList& extra = {},
                const std::function<void()>& meanwhile = {}) const {
        const QStringList lines =
            QString::fromUtf8(readAll(unitFolder() + u"/corvina-backup.service"_s)).split(u'\n');
        const QString prefix = u"ExecStart="_s;
        QStringList command =
            QProcess::splitCommand(lines.filter(prefix).value(0).mid(prefix.size()));
        const QString program = command.takeFirst();
        return run(program, command + arguments, extra, meanwhile);
    }
    /// A home with the archive password, a data folder and `storage` stored.
    void prepare(const QString& storage) const {
        QVERIFY(secret_tool::store(zipPasswordItem, "Schlüssel"));
        QVERIFY(writeFile(path(u"Library/Containers/de.halvorn/Data/akte.txt"_s), "Akte"));
        setStorage(storage);
    }
};

/// A backup made in another second: renamed, with its "._" file, to the
/// name of `day` in January 2025, at `time`.
QString dated(const QString& backup, int day, const QString& time = u"03-00-00"_s) {
    const QString target =
        QFileInfo(backup).path() +
        u"/Backup_2025-01-%1_%2.halvorn"_s.arg(day, 2, 10, QLatin1Char('0')).arg(time);
    const auto companion = [](const QString& file) {
        return QFileInfo(file).path() + u"/._"_s + QFileInfo(file).fileName();
    };
    if (!QFile::rename(backup, target)) {
        return {};
    }
    QFile::rename(companion(backup), companion(target));
    return target;
}

/// The names of the backups and "._" files in a folder, sorted.
QStringList namesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

/// Debug builds print log lines ahead of the tool's own last line.
QString lastLine(const QString& text) {
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    return lines.isEmpty() ? QString() : lines.last();
}

} // namespace

class ScheduledBackupsReachTheUser : public QObject {
    Q_OBJECT

    QProcess m_notifications;
    QString m_notificationLog;
    QTemporaryDir m_scratch;

    /// Whether the stand-in notification service was asked to show `text`.
    [[nodiscard]] bool notified(const QString& text) const {
        return QString::fromUtf8(readAll(m_notificationLog)).contains(text);
    }

private Q_SLOTS:
    void initTestCase() {
        m_notificationLog = m_scratch.filePath(u"notifications.log"_s);
        m_notifications.start(python(), {"-m", "dbusmock", "--template", "notification_daemon",
                                         "-l", m_notificationLog});
        QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::sessionBus().interface()->isServiceRegistered(
                                     u"org.freedesktop.Notifications"_s),
                                 20000);
    }
    void cleanupTestCase() {
        secret_tool::clear(zipPasswordItem);
        m_notifications.terminate();
        m_notifications.waitForFinished();
    }

    void enabledScheduleIsSoundSystemdUnits() {
        Home home;
        home.setStorage(home.path(u"out"_s));
        const Run enabled = home.tool({"schedule", "enable", "--calendar", "Mon..Fri 18:00"});
        QCOMPARE(enabled.exitCode, 0);
        const QString units = home.unitFolder();
        QVERIFY(QFileInfo(units + u"/timers.target.wants/corvina-backup.timer"_s)
                    .canonicalFilePath()
                    .endsWith(u"/corvina-backup.timer"_s));
        QVERIFY(readAll(units + u"/corvina-backup.timer"_s).contains("Persistent=true"));
        const Run verified = home.run(u"systemd-analyze"_s,
                                      {"verify", "--man=no", units + u"/corvina-backup.timer"_s,
                                       units + u"/corvina-backup.service"_s});
        QVERIFY2(verified.exitCode == 0, qPrintable(verified.err));

        const QStringList status = home.tool({"schedule", "status"}).out.split(u'\n');
        QCOMPARE(status.value(0), u"Zeitplan: eingeschaltet (Mon..Fri 18:00)"_s);
        QCOMPARE(status.value(1), u"Letzte Sicherung: noch keine"_s);
        QVERIFY2(status.value(2).contains(u" 18:00"_s), qPrintable(status.value(2)));
        QCOMPARE(status.value(3), u"Aufbewahrt werden: 14 automatische Backups"_s);

        QCOMPARE(home.tool({"schedule", "disable"}).exitCode, 0);
        QVERIFY(QDir(units).entryList(QDir::Files).isEmpty());
        QVERIFY(!QFileInfo::exists(units + u"/timers.target.wants/corvina-backup.timer"_s));
        QCOMPARE(home.tool({"schedule", "status"}).out.split(u'\n').value(0),
                 u"Zeitplan: ausgeschaltet"_s);
    }

    void badScheduleIsRefused_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("storageStored");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("environment");
        QTest::newRow("two kinds")
            << QStringList{"--daily", "--weekly"} << true << 2 << QStringList();
        QTest::newRow("calendar systemd rejects")
            << QStringList{"--calendar", "jeden zweiten Dienstag"} << true << 2 << QStringList();
        QTest::newRow("no storage folder yet")
            << QStringList{"--daily"} << false << 1 << QStringList();
        QTest::newRow("keep nothing") << QStringList{"--keep", "0"} << true << 2 << QStringList();
        QTest::newRow("keep more than a year")
            << QStringList{"--keep", "366"} << true << 2 << QStringList();
        QTest::newRow("no systemd on the machine")
            << QStringList{"--daily"} << true << 1 << QStringList{u"PATH=/nonexistent"_s};
    }
    void badScheduleIsRefused() {
        QFETCH(QStringList, arguments);
        QFETCH(bool, storageStored);
        QFETCH(int, exitCode);
        QFETCH(QStringList, environment);
        Home home;
        if (storageStored) {
            home.setStorage(home.path());
        }
        QCOMPARE(home.tool(QStringList{"schedule", "enable"} + arguments, environment).exitCode,
                 exitCode);
        // Nothing half-made stays behind.
        QVERIFY(QDir(home.unitFolder()).entryList(QDir::Files).isEmpty());
    }

    // The run the timer starts uses the keyring's password and the comment
    // given at enable time, and says where the backup went.
    void scheduledRunBacksUpWithKeyringPassword() {
        Home home;
        QVERIFY(secret_tool::store(zipPasswordItem, "Schlüssel"));
        writeFile(home.path(u"Library/Containers/de.halvorn/Data/akte.txt"_s), "Akte");
        home.setStorage(home.path(u"out"_s));
        QCOMPARE(home.tool({"schedule", "enable", "--comment", "Nächtlich"}).exitCode, 0);

        const Run run = home.service();
        secret_tool::clear(zipPasswordItem);
        QCOMPARE(run.exitCode, 0);
        const QString backup = lastLine(run.out);
        QVERIFY2(backup.startsWith(home.path(u"out/Backup_"_s)), qPrintable(run.out));
        QVERIFY(openssl(true, backup, home.path(u"plain.zip"_s), u"Schlüssel"_s));
        QVERIFY(
            home.tool({"schedule", "status"}).out.contains(u", erfolgreich: "_s + backup + u'\n'));

        const QJsonArray listed =
            QJsonDocument::fromJson(home.tool({"list", "--json"}).out.toUtf8()).array();
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed.at(0)[u"path"_s].toString(), backup);
        QCOMPARE(listed.at(0)[u"comment"_s].toString(), u"Nächtlich"_s);
        QVERIFY(QDateTime::fromString(listed.at(0)[u"date"_s].toString(), Qt::ISODate).isValid());
    }

    void failedRunReachesJournalAndDesktop_data() {
        QTest::addColumn<QString>("storage");
        QTest::addColumn<bool>("passwordAtEnable");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no storage folder")
            << QString() << false << u"Es ist kein Speicherordner für Sicherungen festgelegt."_s;
        QTest::newRow("storage folder gone")
            << u"weg"_s << false << u"/weg“ ist nicht erreichbar."_s;
        QTest::newRow("keyring password gone since enable")
            << u"out"_s << true << u"Das Archivpasswort ist nicht im Schlüsselbund"_s;
        // Held by a restore in the window, say, for longer than the run waits.
        QTest::newRow("another action on the data outlasts the wait")
            << u"out"_s << false << u"Eine andere Aktion mit den Daten läuft gerade."_s;
    }
    void failedRunReachesJournalAndDesktop() {
        QFETCH(QString, storage);
        QFETCH(bool, passwordAtEnable);
        QFETCH(QString, reason);
        Home home;
        home.setStorage(home.path(u"out"_s));
        if (passwordAtEnable) {
            QVERIFY(secret_tool::store(zipPasswordItem, "Schlüssel"));
        }
        QCOMPARE(home.tool({"schedule", "enable"}).exitCode, 0);
        secret_tool::clear(zipPasswordItem);
        home.setStorage(storage.isEmpty() ? QString() : home.path(storage));
        writeFile(home.dataFolder() + u"/akte.txt"_s, "Akte");
        std::optional<corvina::DataFolderLock> held;
        if (reason.startsWith(u"Eine andere Aktion"_s)) {
            held = corvina::DataFolderLock::tryAcquire(home.dataFolder());
            QVERIFY(held);
        }

        const Run run = home.service({u"--wait"_s, u"1"_s});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(reason), qPrintable(run.err));
        QTRY_VERIFY2(notified(reason), qPrintable(readAll(m_notificationLog)));
        QVERIFY(home.tool({"schedule", "status"}).out.contains(u", fehlgeschlagen: "_s));
        QVERIFY(QDir(home.path(u"out"_s)).isEmpty());
    }

    // A run that finds the data folder busy waits, and backs up once the
    // other action has ended.
    void scheduledRunWaitsForOtherAction() {
        Home home;
        writeFile(home.dataFolder() + u"/akte.txt"_s, "Akte");
        home.setStorage(home.path(u"out"_s));
        QCOMPARE(home.tool({"schedule", "enable"}).exitCode, 0);
        std::optional<corvina::DataFolderLock> held =
            corvina::DataFolderLock::tryAcquire(home.dataFolder());
        QVERIFY(held);
        QElapsedTimer clock;
        clock.start();
        const Run run = home.service({u"--wait"_s, u"30"_s}, {}, [&] {
            QTest::qWait(1500);
            held.reset();
        });
        QCOMPARE(run.exitCode, 0);
        QVERIFY(clock.elapsed() >= 1500);
        QVERIFY(lastLine(run.out).startsWith(home.path(u"out/Backup_"_s)));
    }

    // Twenty runs with 14 to keep, two backups made by hand among them by
    // date, and a comment edited on one: the 14 newest automatic ones and
    // both hand-made ones stay; then the whole folder moves to a disk of the
    // other kind and keeping by hand still knows which are automatic.
    void keepingSparesHandMadeBackups_data() {
        QTest::addColumn<bool>("storageOnStick");
        QTest::newRow("local folder, moved to an exFAT stick") << false;
        QTest::newRow("exFAT stick, moved to a local folder") << true;
    }
    void keepingSparesHandMadeBackups() {
        QFETCH(bool, storageOnStick);
        Home home;
        const QString storage = home.path(u"storage"_s);
        const QString moved = home.path(u"moved"_s);
        QDir().mkpath(storage);
        QDir().mkpath(moved);
        const ImageMount stick(storageOnStick ? storage : moved, u"exfat"_s);
        if (!stick.failure().isEmpty()) {
            QSKIP(qPrintable(stick.failure()));
        }
        home.prepare(storage);
        QCOMPARE(
            home.tool({"schedule", "enable", "--keep", "14", "--comment", "Nächtlich"}).exitCode,
            0);

        QStringList expected;
        for (const int day : {1, 10}) {
            const Run made = home.tool({"create", "--comment", "von Hand"});
            QCOMPARE(made.exitCode, 0);
            expected.append(QFileInfo(dated(lastLine(made.out), day, u"12-00-00"_s)).fileName());
        }
        for (int day = 1; day <= 19; ++day) {
            const Run run = home.service();
            QVERIFY2(run.exitCode == 0, qPrintable(run.err));
            const QString backup = dated(lastLine(run.out), day);
            QVERIFY(!backup.isEmpty());
            if (day >= 7) {
                expected.append(QFileInfo(backup).fileName());
            }
        }
        const QString edited = storage + u"/Backup_2025-01-19_03-00-00.halvorn"_s;
        QCOMPARE(home.tool({"comment", "set", edited, "Geprüft"}).exitCode, 0);
        const Run last = home.service();
        QVERIFY2(last.exitCode == 0, qPrintable(last.err));
        expected.append(QFileInfo(lastLine(last.out)).fileName());

        const QStringList left = namesIn(storage);
        QStringList backups = left.filter(QRegularExpression(u"^Backup_"_s));
        expected.sort();
        QCOMPARE(backups, expected);
        // Every "._" file left belongs to a backup that is left.
        for (const QString& companion : left.filter(QRegularExpression(u"^\\._"_s))) {
            QVERIFY2(backups.contains(companion.mid(2)), qPrintable(companion));
        }

        QVERIFY(runProgram(u"bash"_s, {u"-c"_s,
                                       u"mv \"$0\"/* \"$0\"/.??* \"$1\"/ 2>/dev/null; "
                                       u"test -z \"$(ls -A \"$0\")\""_s,
                                       storage, moved}));
        const Run pruned = home.tool({"prune", "--keep", "13", "--dir", moved});
        QCOMPARE(pruned.exitCode, 0);
        QCOMPARE(pruned.out.trimmed(), moved + u"/Backup_2025-01-07_03-00-00.halvorn"_s);
        backups.removeOne(u"Backup_2025-01-07_03-00-00.halvorn"_s);
        QCOMPARE(namesIn(moved).filter(QRegularExpression(u"^Backup_"_s)), backups);
    }

    // A backup damaged between writing and its check fails the run: nothing
    // is deleted, and the journal, the desktop and the status say so. The
    // next sound run keeps as told; the damaged backup counts as hand-made.
    void damagedBackupDeletesNothing() {
        Home home;
        home.prepare(home.path(u"out"_s));
        QCOMPARE(home.tool({"schedule", "enable", "--keep", "1"}).exitCode, 0);
        const Run first = home.service();
        QCOMPARE(first.exitCode, 0);
        const QString sound = dated(lastLine(first.out), 1);

        const Run damaged = home.service({}, {u"CORVINA_TEST_DAMAGE_BEFORE_CHECK=1"_s});
        QCOMPARE(damaged.exitCode, 1);
        const QString reason = u"hat die Prüfung nicht bestanden"_s;
        QVERIFY2(damaged.err.contains(reason), qPrintable(damaged.err));
        QTRY_VERIFY(notified(reason));
        QVERIFY(home.tool({"schedule", "status"}).out.contains(u", fehlgeschlagen: Die neue "_s));
        QStringList afterFailure =
            namesIn(home.path(u"out"_s)).filter(QRegularExpression(u"^Backup_"_s));
        QVERIFY(afterFailure.removeOne(QFileInfo(sound).fileName()));
        QCOMPARE(afterFailure.size(), 1);
        dated(home.path(u"out/"_s) + afterFailure.value(0), 2);

        const Run next = home.service();
        QCOMPARE(next.exitCode, 0);
        QCOMPARE(namesIn(home.path(u"out"_s)).filter(QRegularExpression(u"^Backup_"_s)),
                 (QStringList{u"Backup_2025-01-02_03-00-00.halvorn"_s,
                              QFileInfo(lastLine(next.out)).fileName()}));
        QVERIFY(home.tool({"schedule", "status"}).out.contains(u", erfolgreich: "_s));
    }
};

QTEST_GUILESS_MAIN(ScheduledBackupsReachTheUser)
#include "ScheduledBackupsReachTheUser.moc"
