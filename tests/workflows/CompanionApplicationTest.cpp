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
    void processIsKnownByUnitOrFlatpakId_data();
    void processIsKnownByUnitOrFlatpakId();
    void firstMatchingStandInIsFoundAndKilled();
    void actionStartFollowsCompanionState_data();
    void actionStartFollowsCompanionState();
};

void CompanionApplicationTest::applicationIdComesFromUnitName_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("expected");
    QTest::newRow("flatpak scope") << "app-flatpak-de.halvorn-123456.scope" << companionId;
    QTest::newRow("service instance") << "app-kde-de.halvorn@a1b2.service" << companionId;
    QTest::newRow("escaped dash") << "app-gnome-org.x\\x2dtool-7.scope"
                                  << "org.x-tool";
    QTest::newRow("session scope") << "session-2.scope" << QString();
}

void CompanionApplicationTest::applicationIdComesFromUnitName() {
    QFETCH(QString, unit);
    QFETCH(QString, expected);
    QCOMPARE(applicationIdFromUnitName(unit).value_or(QString()), expected);
}

void CompanionApplicationTest::processIsKnownByUnitOrFlatpakId_data() {
    QTest::addColumn<QByteArray>("cgroup");
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QString>("unitCgroup");
    const QByteArray unit = "user.slice/user@1000.service/app.slice/app-gnome-de.halvorn-42.scope";
    const QByteArray terminal = "user.slice/app-gnome-org.gnome.Terminal-7.scope";
    QTest::newRow("in a subgroup of its unit")
        << unit + "/sub" << QByteArray("LANG=C") << companionId << QString(unit);
    // Started from a terminal without a unit of its own: the terminal's unit
    // must never be killed in its place.
    QTest::newRow("flatpak in a terminal's unit")
        << terminal << QByteArray("FLATPAK_ID=de.halvorn") << companionId << QString();
    QTest::newRow("no application") << QByteArray("user.slice/session-2.scope")
                                    << QByteArray("HOME=/h") << QString() << QString();
}

// A tree laid out like /proc, with one process in it.
void CompanionApplicationTest::processIsKnownByUnitOrFlatpakId() {
    QFETCH(QByteArray, cgroup);
    QFETCH(QByteArray, environment);
    QFETCH(QString, identifier);
    QFETCH(QString, unitCgroup);
    QTemporaryDir proc;
    writeFile(proc.filePath("300/cgroup"), "0::/" + cgroup + "\n");
    writeFile(proc.filePath("300/environ"), QByteArray("A=1") + '\0' + environment + '\0');
    writeFile(proc.filePath("not-a-pid/cgroup"), "0::/app-gnome-de.halvorn-1.scope\n");

    const QList<RunningApplication> applications = runningApplications(proc.path());
    QCOMPARE(applications.size(), identifier.isEmpty() ? 0 : 1);
    if (!identifier.isEmpty()) {
        QCOMPARE(applications[0].pid, 300);
        QCOMPARE(applications[0].bundleIdentifier, identifier);
        QCOMPARE(applications[0].unitCgroup, unitCgroup);
    }
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
        QCOMPARE(flips.count(), 0);
        QCOMPARE(companion->state(), QProcess::Running);
    }
    QVERIFY(!host.hasRunningApplication());
}

QTEST_GUILESS_MAIN(CompanionApplicationTest)
#include "CompanionApplicationTest.moc"
