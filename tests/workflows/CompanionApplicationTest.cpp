#include "WorkflowTestSupport.h"

#include "workflows/ActionHost.h"
#include "workflows/CompanionApplication.h"

#include <QProcess>
#include <QSignalSpy>

#include <memory>

using namespace corvina;
using namespace corvina::testing;

namespace {

const QString companionId = QStringLiteral("de.halvorn");

// A stand-in for the companion application: a process with the application's
// Flatpak ID in its environment, as Flatpak sets it.
std::unique_ptr<QProcess> startStandIn(const QString& flatpakId = companionId) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("FLATPAK_ID"), flatpakId);
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral("sleep"), {QStringLiteral("60")});
    process->waitForStarted();
    return process;
}

} // namespace

class CompanionApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(qEnvironmentVariableIsEmpty("FLATPAK_ID")); }
    void applicationIdComesFromUnitName_data();
    void applicationIdComesFromUnitName();
    void unitCgroupIdentifiesApplication();
    void firstMatchingStandInIsFoundAndKilled();
    void actionStartFollowsCompanionState_data();
    void actionStartFollowsCompanionState();
};

void CompanionApplicationTest::applicationIdComesFromUnitName_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("expected");
    QTest::newRow("launcher scope") << "app-gnome-de.halvorn-4711.scope" << companionId;
    QTest::newRow("flatpak scope") << "app-flatpak-de.halvorn-123456.scope" << companionId;
    QTest::newRow("service instance") << "app-kde-de.halvorn@a1b2.service" << companionId;
    QTest::newRow("escaped dash") << "app-gnome-org.x\\x2dtool-7.scope"
                                  << "org.x-tool";
    QTest::newRow("longer id") << "app-gnome-de.halvornX-5.scope"
                               << "de.halvornX";
    QTest::newRow("session scope") << "session-2.scope" << QString();
}

void CompanionApplicationTest::applicationIdComesFromUnitName() {
    QFETCH(QString, unit);
    QFETCH(QString, expected);
    QCOMPARE(applicationIdFromUnitName(unit).value_or(QString()), expected);
}

// A tree laid out like /proc: the cgroup line names the unit, also for a
// process in a subgroup of it; a process outside any app unit is none.
void CompanionApplicationTest::unitCgroupIdentifiesApplication() {
    QTemporaryDir proc;
    const QByteArray unit =
        "user.slice/user-1000.slice/user@1000.service/app.slice/app-gnome-de.halvorn-42.scope";
    writeFile(proc.filePath("300/cgroup"), "0::/" + unit + "/sub\n");
    writeFile(proc.filePath("20/cgroup"), "0::/user.slice/user-1000.slice/session-2.scope\n");
    writeFile(proc.filePath("not-a-pid/cgroup"), "0::/app-gnome-de.halvorn-1.scope\n");

    const QList<RunningApplication> applications = runningApplications(proc.path());
    QCOMPARE(applications.size(), 1);
    QCOMPARE(applications[0].pid, 300);
    QCOMPARE(applications[0].bundleIdentifier, companionId);
    QCOMPARE(applications[0].unitCgroup, QString::fromUtf8(unit));
}

void CompanionApplicationTest::firstMatchingStandInIsFoundAndKilled() {
    auto other = startStandIn(QStringLiteral("de.halvorn.Helper"));
    auto first = startStandIn();
    auto second = startStandIn();
    if (second->processId() < first->processId()) {
        std::swap(first, second);
    }
    const std::optional<RunningApplication> found = findRunningApplication(companionId);
    QVERIFY(found);
    QCOMPARE(found->pid, first->processId());

    forceTerminate(*found);
    QVERIFY(first->waitForFinished(5000));
    QCOMPARE(first->exitStatus(), QProcess::CrashExit);
    QCOMPARE(second->state(), QProcess::Running);
    QCOMPARE(other->state(), QProcess::Running);
}

void CompanionApplicationTest::actionStartFollowsCompanionState_data() {
    QTest::addColumn<ActionHost::Action>("action");
    QTest::addColumn<bool>("companionRuns");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<QString>("clause");
    QTest::addColumn<int>("flipsAtOnce");
    const QString restoreClause = "um die Wiederherstellung des Backups fortzusetzen?";
    const QString deleteClause = "um die Datenlöschung fortzusetzen?";
    using A = ActionHost::Action;
    QTest::newRow("create, companion running") << A::create << true << false << "" << 1;
    QTest::newRow("restore, not running") << A::restore << false << false << "" << 1;
    QTest::newRow("restore, OK") << A::restore << true << true << restoreClause << 0;
    QTest::newRow("delete, OK") << A::delete_ << true << true << deleteClause << 0;
    QTest::newRow("delete, Abbrechen") << A::delete_ << true << false << deleteClause << 0;
}

void CompanionApplicationTest::actionStartFollowsCompanionState() {
    QFETCH(ActionHost::Action, action);
    QFETCH(bool, companionRuns);
    QFETCH(bool, confirm);
    QFETCH(QString, clause);
    QFETCH(int, flipsAtOnce);
    std::unique_ptr<QProcess> companion = companionRuns ? startStandIn() : nullptr;
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);

    host.startAction(action);
    QCOMPARE(flips.count(), flipsAtOnce);
    QCOMPARE(host.hasRunningApplication(), flipsAtOnce == 0);
    if (flipsAtOnce == 1) {
        QVERIFY(!companion || companion->state() == QProcess::Running);
        return;
    }
    QCOMPARE(host.closeAlertMessage(),
             "Möchtest du, dass das Programm die Corvina schließt, " + clause);
    if (confirm) {
        host.closeCompanionApplication();
        QVERIFY(companion->waitForFinished(5000));
        QCOMPARE(flips.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(flips.count(), 1, 3000);
    } else {
        host.dismissCloseAlert();
        QTest::qWait(1200);
        QCOMPARE(flips.count(), 0);
        QCOMPARE(companion->state(), QProcess::Running);
    }
    QVERIFY(!host.hasRunningApplication());
}

QTEST_GUILESS_MAIN(CompanionApplicationTest)
#include "CompanionApplicationTest.moc"
