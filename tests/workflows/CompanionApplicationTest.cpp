#include "WorkflowTestSupport.h"

#include "workflows/ActionHost.h"
#include "workflows/CompanionApplication.h"
#include "workflows/DeleteDataViewModel.h"

#include <QElapsedTimer>
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

/// Finding and closing the companion application before a restore or a
/// deletion, and the deletion of its data.
class CompanionApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void processIsKnownByUnitOrFlatpakId_data();
    void processIsKnownByUnitOrFlatpakId();
    void actionStartFollowsCompanionState_data();
    void actionStartFollowsCompanionState();
    void deletionReportsOutcomeAndClosesAfterPause_data();
    void deletionReportsOutcomeAndClosesAfterPause();
    void screenClosedByLockWhileWorking();

private:
    QTemporaryDir m_home;
};

void CompanionApplicationTest::initTestCase() {
    QVERIFY(qEnvironmentVariableIsEmpty("FLATPAK_ID"));
    useScratchHome(m_home);
}

void CompanionApplicationTest::processIsKnownByUnitOrFlatpakId_data() {
    QTest::addColumn<QByteArray>("cgroup");
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QString>("unitCgroup");
    const QByteArray slice = "user.slice/user@1000.service/app.slice/";
    const QByteArray scope = slice + "app-gnome-de.halvorn-42.scope";
    QTest::newRow("subgroup of a launcher's scope")
        << scope + "/sub" << QByteArray() << companionId << QString(scope);
    QTest::newRow("service instance")
        << slice + "app-kde-de.halvorn@a1b2.service" << QByteArray() << companionId
        << QString(slice + "app-kde-de.halvorn@a1b2.service");
    QTest::newRow("escaped dash") << slice + "app-org.x\\x2dtool-7.scope" << QByteArray()
                                  << "org.x-tool" << QString(slice + "app-org.x\\x2dtool-7.scope");
    // Started from a terminal without a unit of its own: the terminal's unit
    // must never be killed in its place.
    QTest::newRow("flatpak in a terminal's unit")
        << slice + "app-gnome-org.gnome.Terminal-7.scope" << QByteArray("FLATPAK_ID=de.halvorn")
        << companionId << QString();
    QTest::newRow("no application")
        << QByteArray("user.slice/session-2.scope") << QByteArray() << QString() << QString();
}

// A tree laid out like /proc, with one process in it.
void CompanionApplicationTest::processIsKnownByUnitOrFlatpakId() {
    QFETCH(QByteArray, cgroup);
    QFETCH(QByteArray, environment);
    QFETCH(QString, identifier);
    QFETCH(QString, unitCgroup);
    QTemporaryDir proc;
    writeFile(proc.filePath("300/cgroup"), "1:name=x:/\n0::/" + cgroup + "\n");
    writeFile(proc.filePath("300/environ"), QByteArray("A=1") + '\0' + environment + '\0');
    writeFile(proc.filePath("not-a-pid/cgroup"), "0::/app-gnome-de.halvorn-1.scope\n");

    QStringList found;
    for (const RunningApplication& application : runningApplications(proc.path())) {
        found << QString::number(application.pid) << application.bundleIdentifier
              << application.unitCgroup;
    }
    QCOMPARE(found,
             (identifier.isEmpty() ? QStringList() : QStringList{"300", identifier, unitCgroup}));
}

void CompanionApplicationTest::actionStartFollowsCompanionState_data() {
    QTest::addColumn<ActionHost::Action>("action");
    QTest::addColumn<bool>("companionRuns");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<QString>("clause");
    using A = ActionHost::Action;
    QTest::newRow("create, companion running") << A::create << true << false << "";
    QTest::newRow("restore, not running") << A::restore << false << false << "";
    QTest::newRow("restore, OK") << A::restore << true << true
                                 << "um die Wiederherstellung des Backups fortzusetzen?";
    QTest::newRow("delete, Abbrechen")
        << A::delete_ << true << false << "um die Datenlöschung fortzusetzen?";
}

// Stand-ins for the companion application: two copies of it, and a helper
// whose ID only begins like it. Only the first copy found is closed.
void CompanionApplicationTest::actionStartFollowsCompanionState() {
    QFETCH(ActionHost::Action, action);
    QFETCH(bool, companionRuns);
    QFETCH(bool, confirm);
    QFETCH(QString, clause);
    const auto helper = startStandIn(QStringLiteral("de.halvorn.Helper"));
    std::unique_ptr<QProcess> first = companionRuns ? startStandIn() : nullptr;
    std::unique_ptr<QProcess> second = companionRuns ? startStandIn() : nullptr;
    if (companionRuns && second->processId() < first->processId()) {
        std::swap(first, second);
    }
    ActionHost host;
    QSignalSpy flips(&host, &ActionHost::performActionChanged);

    host.startAction(action);
    const bool asks = companionRuns && action != ActionHost::Action::create;
    QCOMPARE(flips.count(), asks ? 0 : 1);
    QCOMPARE(host.hasRunningApplication(), asks);
    if (asks) {
        QCOMPARE(host.closeAlertMessage(),
                 "Möchtest du, dass das Programm die Corvina schließt, " + clause);
        if (confirm) {
            host.closeCompanionApplication();
            QVERIFY(first->waitForFinished(5000));
            QCOMPARE(first->exitStatus(), QProcess::CrashExit);
            QCOMPARE(flips.count(), 0); // the action waits a second for it to go
            QTRY_COMPARE_WITH_TIMEOUT(flips.count(), 1, 3000);
        } else {
            host.dismissCloseAlert();
        }
        QVERIFY(!host.hasRunningApplication());
    }
    QCOMPARE(flips.count(), confirm || !asks ? 1 : 0);
    QCOMPARE(helper->state(), QProcess::Running);
    QVERIFY(!second || second->state() == QProcess::Running);
    QVERIFY(!first || confirm || first->state() == QProcess::Running);
}

void CompanionApplicationTest::deletionReportsOutcomeAndClosesAfterPause_data() {
    QTest::addColumn<bool>("dataPresent");
    QTest::addColumn<QString>("message");
    QTest::newRow("data deleted") << true << "Die Daten wurden erfolgreich gelöscht.";
    QTest::newRow("no data folder") << false << "Fehler beim Löschen der Daten.";
}

void CompanionApplicationTest::deletionReportsOutcomeAndClosesAfterPause() {
    QFETCH(bool, dataPresent);
    QFETCH(QString, message);
    const QString data = companionDataDirectory();
    QVERIFY(QDir(data).removeRecursively());
    // A link in the data leads to a folder outside, which must survive.
    const QString outside = m_home.filePath("outside");
    writeFile(outside + "/precious", "keep");
    if (dataPresent) {
        writeFile(data + "/.hidden/deep/database.sqlite", "x");
        QVERIFY(QFile::link(outside, data + "/link"));
    }
    writeFile(companionContainerDirectory() + "/beside", "stays");
    ActionHost host;
    auto model = std::make_unique<DeleteDataViewModel>();
    model->setHost(&host);
    connect(&host, &ActionHost::closeViewRequested, model.get(), [&model] { model.reset(); });
    // The tick box is the button flag turned round, and opens ticked.
    QVERIFY(model->isConfirmed());
    model->setIsConfirmed(false);
    QVERIFY(host.isSaveButtonDisabled());
    model->setIsConfirmed(true);

    QSignalSpy closed(&host, &ActionHost::closeViewRequested);
    QElapsedTimer clock;
    clock.start();
    host.flipPerformAction();
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QTRY_COMPARE(host.messageText(), message);
    // The caption stays for the pause, then the sheet closes either way.
    QCOMPARE(host.progressLoadText(), QStringLiteral("App wird gelöscht."));
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 5000);
    QVERIFY(clock.elapsed() >= 1000 && host.progressLoadText().isEmpty());
    QVERIFY(!QFileInfo::exists(data));
    QCOMPARE(readFile(companionContainerDirectory() + "/beside"), QByteArray("stays"));
    QCOMPARE(readFile(outside + "/precious"), QByteArray("keep"));
}

// A lock takes the screen away while the deletion runs: the deletion still
// completes, and its end reaches nothing that has gone.
void CompanionApplicationTest::screenClosedByLockWhileWorking() {
    writeFile(companionDataDirectory() + "/database.sqlite", "x");
    ActionHost host;
    auto model = std::make_unique<DeleteDataViewModel>();
    model->setHost(&host);
    const QFuture<EncryptionResult> run = model->runDeletion();
    model.reset();
    QCOMPARE(run.result(), EncryptionResult::success());
    QCoreApplication::processEvents();
    QVERIFY(host.messageText().isEmpty() && !QFileInfo::exists(companionDataDirectory()));
}

QTEST_GUILESS_MAIN(CompanionApplicationTest)
#include "CompanionApplicationTest.moc"
