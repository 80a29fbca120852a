// Scheduled backups: the timer and service the tool installs are sound unit
// files, the service's own command makes the backup with the keyring's
// password, and every failure reaches the journal (stderr) and the desktop (a
// notification on the session bus).
#include "../engine/TestTrees.h"
#include "../session/SecretTool.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace corvina::testing;

namespace {

const QStringList zipPasswordItem{QStringLiteral("service"),
                                  QStringLiteral("de.Corvina-Backup-Manager.ZipPassword"),
                                  QStringLiteral("account"), QStringLiteral("zipPassword")};

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

/// One user: a home with the program's settings, the companion's data folder
/// and a storage folder.
struct Home {
    QTemporaryDir dir;
    [[nodiscard]] QString path(const QString& relative = {}) const {
        return relative.isEmpty() ? dir.path() : dir.filePath(relative);
    }
    [[nodiscard]] QString unitFolder() const {
        return path(QStringLiteral(".config/systemd/user"));
    }
    /// Sets a setting of the program; an empty value removes it.
    void setSetting(const QString& key, const QString& value) const {
        QSettings settings(
            path(QStringLiteral(".config/de.Corvina-Backup-Manager/Corvina-Backup-Manager.conf")),
            QSettings::IniFormat);
        if (value.isEmpty()) {
            settings.remove(key);
        } else {
            settings.setValue(key, value);
        }
    }
    Run run(const QString& program, const QStringList& arguments) const {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral(".config")));
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        Run result;
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
            result.exitCode = process.exitCode();
        }
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }
    Run tool(const QStringList& arguments) const {
        return run(QStringLiteral(CORVINA_BACKUP_TOOL), arguments);
    }
    /// The service's command line as systemd would run it.
    Run service() const {
        const QStringList lines =
            QString::fromUtf8(readAll(unitFolder() + QStringLiteral("/corvina-backup.service")))
                .split(u'\n');
        const QString prefix = QStringLiteral("ExecStart=");
        QStringList command =
            QProcess::splitCommand(lines.filter(prefix).value(0).mid(prefix.size()));
        const QString program = command.takeFirst();
        return run(program, command);
    }
};

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
        m_notificationLog = m_scratch.filePath(QStringLiteral("notifications.log"));
        m_notifications.start(python(), {"-m", "dbusmock", "--template", "notification_daemon",
                                         "-l", m_notificationLog});
        QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::sessionBus().interface()->isServiceRegistered(
                                     QStringLiteral("org.freedesktop.Notifications")),
                                 20000);
    }
    void cleanupTestCase() {
        m_notifications.terminate();
        m_notifications.waitForFinished();
    }

    void enabledScheduleIsSoundSystemdUnits() {
        Home home;
        home.setSetting(QStringLiteral("savedPathKey"), home.path(QStringLiteral("out")));
        const Run enabled = home.tool({"schedule", "enable", "--calendar", "Mon..Fri 18:00"});
        QCOMPARE(enabled.exitCode, 0);
        const QString units = home.unitFolder();
        QVERIFY(QFileInfo(units + QStringLiteral("/timers.target.wants/corvina-backup.timer"))
                    .canonicalFilePath()
                    .endsWith(QStringLiteral("/corvina-backup.timer")));
        QVERIFY(
            readAll(units + QStringLiteral("/corvina-backup.timer")).contains("Persistent=true"));
        const Run verified =
            home.run(QStringLiteral("systemd-analyze"),
                     {"verify", "--man=no", units + QStringLiteral("/corvina-backup.timer"),
                      units + QStringLiteral("/corvina-backup.service")});
        QVERIFY2(verified.exitCode == 0, qPrintable(verified.err));

        const QStringList status = home.tool({"schedule", "status"}).out.split(u'\n');
        QCOMPARE(status.value(0), QStringLiteral("Zeitplan: eingeschaltet (Mon..Fri 18:00)"));
        QCOMPARE(status.value(1), QStringLiteral("Letzte Sicherung: noch keine"));
        QVERIFY2(status.value(2).contains(QStringLiteral(" 18:00")), qPrintable(status.value(2)));

        QCOMPARE(home.tool({"schedule", "disable"}).exitCode, 0);
        QVERIFY(QDir(units).entryList(QDir::Files).isEmpty());
        QVERIFY(!QFileInfo::exists(units +
                                   QStringLiteral("/timers.target.wants/corvina-backup.timer")));
        QCOMPARE(home.tool({"schedule", "status"}).out.split(u'\n').value(0),
                 QStringLiteral("Zeitplan: ausgeschaltet"));
    }

    void badScheduleIsRefused_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("storageStored");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("two kinds") << QStringList{"--daily", "--weekly"} << true << 2;
        QTest::newRow("calendar systemd rejects")
            << QStringList{"--calendar", "jeden zweiten Dienstag"} << true << 2;
        QTest::newRow("no storage folder yet") << QStringList{"--daily"} << false << 1;
    }
    void badScheduleIsRefused() {
        QFETCH(QStringList, arguments);
        QFETCH(bool, storageStored);
        QFETCH(int, exitCode);
        Home home;
        if (storageStored) {
            home.setSetting(QStringLiteral("savedPathKey"), home.path());
        }
        QCOMPARE(home.tool(QStringList{"schedule", "enable"} + arguments).exitCode, exitCode);
        QVERIFY(!QFileInfo::exists(home.unitFolder() + QStringLiteral("/corvina-backup.timer")));
    }

    // The run the timer starts uses the keyring's password and the comment
    // given at enable time, and says where the backup went.
    void scheduledRunBacksUpWithKeyringPassword() {
        Home home;
        QVERIFY(secret_tool::store(zipPasswordItem, "Schlüssel"));
        writeFile(home.path(QStringLiteral("Library/Containers/de.halvorn/Data/akte.txt")), "Akte");
        QDir().mkpath(home.path(QStringLiteral("out")));
        home.setSetting(QStringLiteral("savedPathKey"), home.path(QStringLiteral("out")));
        QCOMPARE(home.tool({"schedule", "enable", "--comment", "Nächtlich"}).exitCode, 0);

        const Run run = home.service();
        secret_tool::clear(zipPasswordItem);
        QCOMPARE(run.exitCode, 0);
        const QString backup = lastLine(run.out);
        QVERIFY2(backup.startsWith(home.path(QStringLiteral("out/Backup_"))), qPrintable(run.out));
        QVERIFY(openssl(true, backup, home.path(QStringLiteral("plain.zip")),
                        QStringLiteral("Schlüssel")));
        QVERIFY(home.tool({"schedule", "status"})
                    .out.contains(QStringLiteral(", erfolgreich: ") + backup + u'\n'));

        const QJsonArray listed =
            QJsonDocument::fromJson(home.tool({"list", "--json"}).out.toUtf8()).array();
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed.at(0)[QStringLiteral("path")].toString(), backup);
        QCOMPARE(listed.at(0)[QStringLiteral("comment")].toString(), QStringLiteral("Nächtlich"));
        QVERIFY(QDateTime::fromString(listed.at(0)[QStringLiteral("date")].toString(), Qt::ISODate)
                    .isValid());
    }

    void failedRunReachesJournalAndDesktop_data() {
        QTest::addColumn<QString>("storage");
        QTest::addColumn<bool>("passwordAtEnable");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no storage folder")
            << QString() << false
            << QStringLiteral("Es ist kein Speicherordner für Sicherungen festgelegt.");
        QTest::newRow("storage folder gone")
            << QStringLiteral("weg") << false << QStringLiteral("/weg“ ist nicht erreichbar.");
        QTest::newRow("keyring password gone since enable")
            << QStringLiteral("out") << true
            << QStringLiteral("Das Archivpasswort ist nicht im Schlüsselbund");
    }
    void failedRunReachesJournalAndDesktop() {
        QFETCH(QString, storage);
        QFETCH(bool, passwordAtEnable);
        QFETCH(QString, reason);
        Home home;
        QDir().mkpath(home.path(QStringLiteral("out")));
        home.setSetting(QStringLiteral("savedPathKey"), home.path(QStringLiteral("out")));
        if (passwordAtEnable) {
            QVERIFY(secret_tool::store(zipPasswordItem, "Schlüssel"));
        }
        QCOMPARE(home.tool({"schedule", "enable"}).exitCode, 0);
        secret_tool::clear(zipPasswordItem);
        home.setSetting(QStringLiteral("savedPathKey"),
                        storage.isEmpty() ? QString() : home.path(storage));

        const Run run = home.service();
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(reason), qPrintable(run.err));
        QTRY_VERIFY2(notified(reason), qPrintable(readAll(m_notificationLog)));
        QVERIFY(
            home.tool({"schedule", "status"}).out.contains(QStringLiteral(", fehlgeschlagen: ")));
    }
};

QTEST_GUILESS_MAIN(ScheduledBackupsReachTheUser)
#include "ScheduledBackupsReachTheUser.moc"
