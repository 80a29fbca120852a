#include "workflows/CompanionApplication.h"
#include "workflows/ActionHost.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace corvina;

namespace {

const QString companionId = QStringLiteral("de.halvorn");

// A stand-in for the companion application: a process that carries the
// application's Flatpak ID in its environment, as Flatpak sets it.
std::unique_ptr<QProcess> startStandIn(const QString& flatpakId) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("FLATPAK_ID"), flatpakId);
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral("sleep"), {QStringLiteral("60")});
    process->waitForStarted();
    return process;
}

void writeFile(const QString& path, const QByteArray& content) {
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

} // namespace

class CompanionApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void applicationIdComesFromUnitName_data();
    void applicationIdComesFromUnitName();
    void unitCgroupIdentifiesApplication();
    void standInIsFoundAndKilled();
    void otherApplicationsAreNotTaken();
    void firstOfTwoCopiesIsTaken();
    void restoreWithoutCompanionStartsAtOnce_data();
    void restoreWithoutCompanionStartsAtOnce();
    void createNeverLooksForCompanion();
    void cancelledCloseAlertStartsNothing();
    void confirmedCloseAlertKillsAndStartsOneSecondLater();
    void closeViewResetsButtonAndKeepsTrigger();
};

void CompanionApplicationTest::initTestCase() {
    // The test itself must not look like the companion application.
    QVERIFY(qEnvironmentVariableIsEmpty("FLATPAK_ID"));
}

void CompanionApplicationTest::applicationIdComesFromUnitName_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("expected");
    QTest::newRow("launcher scope") << "app-gnome-de.halvorn-4711.scope" << companionId;
    QTest::newRow("flatpak scope") << "app-flatpak-de.halvorn-123456.scope" << companionId;
    QTest::newRow("scope without launcher") << "app-de.halvorn-1.scope" << companionId;
    QTest::newRow("service with instance") << "app-kde-de.halvorn@a1b2c3.service" << companionId;
    QTest::newRow("service without instance") << "app-gnome-de.halvorn.service" << companionId;
    QTest::newRow("escaped dash in id") << "app-gnome-org.example\\x2dtool-7.scope"
                                        << "org.example-tool";
    QTest::newRow("other application") << "app-gnome-de.halvornX-5.scope"
                                       << "de.halvornX";
    QTest::newRow("not an app unit") << "session-2.scope" << QString();
    QTest::newRow("slice") << "app.slice" << QString();
    QTest::newRow("scope without instance") << "app-.scope" << QString();
    QTest::newRow("plain service") << "dbus.service" << QString();
}

void CompanionApplicationTest::applicationIdComesFromUnitName() {
    QFETCH(QString, unit);
    QFETCH(QString, expected);
    QCOMPARE(applicationIdFromUnitName(unit).value_or(QString()), expected);
}

// A process tree laid out like /proc: the cgroup line names the unit, also
// when the process sits in a subgroup of it; a process outside any app unit is
// not an application.
void CompanionApplicationTest::unitCgroupIdentifiesApplication() {
    QTemporaryDir proc;
    const QString unitPath = QStringLiteral(
        "user.slice/user-1000.slice/user@1000.service/app.slice/app-gnome-de.halvorn-42.scope");
    writeFile(proc.filePath("300/cgroup"), "0::/" + unitPath.toUtf8() + "/sub\n");
    writeFile(proc.filePath("300/environ"), QByteArray("HOME=/x\0", 8));
    writeFile(proc.filePath("20/cgroup"), "0::/user.slice/user-1000.slice/session-2.scope\n");
    writeFile(proc.filePath("20/environ"), QByteArray("PATH=/bin\0", 10));
    writeFile(proc.filePath("self-not-a-pid/cgroup"), "0::/app-gnome-de.halvorn-1.scope\n");

    const QList<RunningApplication> applications = runningApplications(proc.path());
    QCOMPARE(applications.size(), 1);
    QCOMPARE(applications[0].pid, 300);
    QCOMPARE(applications[0].bundleIdentifier, companionId);
    QCOMPARE(applications[0].unitCgroup, unitPath);
}

void CompanionApplicationTest::standInIsFoundAndKilled() {
    std::unique_ptr<QProcess> standIn = startStandIn(companionId);
    const std::optional<RunningApplication> found = findRunningApplication(companionId);
    QVERIFY(found);
    QCOMPARE(found->pid, standIn->processId());

    forceTerminate(*found);
    QVERIFY(standIn->waitForFinished(5000));
    QCOMPARE(standIn->exitStatus(), QProcess::CrashExit);
    QVERIFY(!findRunningApplication(companionId));
}

void CompanionApplicationTest::otherApplicationsAreNotTaken() {
    std::unique_ptr<QProcess> other = startStandIn(QStringLiteral("de.halvorn.Helper"));
    std::unique_ptr<QProcess> prefix = startStandIn(QStringLiteral("de.halvor"));
    QVERIFY(!findRunningApplication(companionId));
}

void CompanionApplicationTest::firstOfTwoCopiesIsTaken() {
    std::unique_ptr<QProcess> first = startStandIn(companionId);
    std::unique_ptr<QProcess> second = startStandIn(companionId);
    const qint64 lower = std::min(first->processId(), second->processId());

    const std::optional<RunningApplication> found = findRunningApplication(companionId);
    QVERIFY(found);
    QCOMPARE(found->pid, lower);
    forceTerminate(*found);
    QProcess* killed = first->processId() == lower ? first.get() : second.get();
    QProcess* spared = killed == first.get() ? second.get() : first.get();
    QVERIFY(killed->waitForFinished(5000));
    QCOMPARE(spared->state(), QProcess::Running);
}

void CompanionApplicationTest::restoreWithoutCompanionStartsAtOnce_data() {
    QTest::addColumn<ActionHost::Action>("action");
    QTest::newRow("restore") << ActionHost::Action::restore;
    QTest::newRow("delete") << ActionHost::Action::delete_;
}

void CompanionApplicationTest::restoreWithoutCompanionStartsAtOnce() {
    QFETCH(ActionHost::Action, action);
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);
    host.startAction(action);
    QCOMPARE(flips.count(), 1);
    QVERIFY(!host.hasRunningApplication());

    // Only the change counts: a second action flips back.
    host.startAction(action);
    QCOMPARE(flips.count(), 2);
    QCOMPARE(host.performAction(), false);
}

void CompanionApplicationTest::createNeverLooksForCompanion() {
    std::unique_ptr<QProcess> standIn = startStandIn(companionId);
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);
    host.startAction(ActionHost::Action::create);
    QCOMPARE(flips.count(), 1);
    QVERIFY(!host.hasRunningApplication());
    QCOMPARE(standIn->state(), QProcess::Running);
}

void CompanionApplicationTest::cancelledCloseAlertStartsNothing() {
    std::unique_ptr<QProcess> standIn = startStandIn(companionId);
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);
    host.startAction(ActionHost::Action::delete_);
    QVERIFY(host.hasRunningApplication());
    QCOMPARE(host.closeAlertTitle(), QStringLiteral("Corvina schließen"));
    QCOMPARE(host.closeAlertMessage(),
             QStringLiteral("Möchtest du, dass das Programm die Corvina schließt, um die "
                            "Datenlöschung fortzusetzen?"));

    host.dismissCloseAlert();
    QVERIFY(!host.hasRunningApplication());
    QTest::qWait(1200);
    QCOMPARE(flips.count(), 0);
    QCOMPARE(standIn->state(), QProcess::Running);
}

void CompanionApplicationTest::confirmedCloseAlertKillsAndStartsOneSecondLater() {
    std::unique_ptr<QProcess> standIn = startStandIn(companionId);
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);
    host.startAction(ActionHost::Action::restore);
    QVERIFY(host.hasRunningApplication());
    QCOMPARE(host.closeAlertMessage(),
             QStringLiteral("Möchtest du, dass das Programm die Corvina schließt, um die "
                            "Wiederherstellung des Backups fortzusetzen?"));
    QCOMPARE(flips.count(), 0);

    host.closeCompanionApplication();
    QVERIFY(standIn->waitForFinished(5000));
    QVERIFY(!host.hasRunningApplication());
    QCOMPARE(flips.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(flips.count(), 1, 3000);
    QCOMPARE(host.performAction(), true);
}

void CompanionApplicationTest::closeViewResetsButtonAndKeepsTrigger() {
    ActionHost host;
    host.flipPerformAction();
    host.setIsSaveButtonDisabled(true);
    host.setMessageText(QStringLiteral("x"));
    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    host.closeView();
    QCOMPARE(closed.count(), 1);
    QCOMPARE(host.isSaveButtonDisabled(), false);
    QCOMPARE(host.performAction(), true);
    QCOMPARE(host.messageText(), QStringLiteral("x"));
}

QTEST_GUILESS_MAIN(CompanionApplicationTest)
#include "CompanionApplicationTest.moc"
