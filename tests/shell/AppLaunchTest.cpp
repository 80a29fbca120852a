// The launch sequence with the real main window: locked or unlocked by the
// keyring, the content's size, the title, the lock by inactivity, and one
// window program per session.

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "session/KeychainService.h"
#include "shell/AppDelegate.h"
#include "shell/SingleInstance.h"
#include "ui/CorvinaFont.h"

#include <QDBusConnectionInterface>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/QQmlExtensionPlugin>

#include <memory>

Q_IMPORT_QML_PLUGIN(Corvina_UiPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Corvina_ScreensPlugin)

using namespace corvina;

namespace {

void storeMasterPassword(bool stored) {
    const KeychainService service(masterPasswordService);
    if (stored) {
        service.keychain.writeString(QStringLiteral("Geheim-42"), masterPasswordKey);
    } else {
        service.keychain.removeItem(masterPasswordKey);
    }
}

// One launch of the program: the delegate and the engine that holds its window.
struct Launch {
    Launch() {
        AppDelegate::setInstance(&appDelegate);
        engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    }
    ~Launch() { appDelegate.applicationWillTerminate(); }

    [[nodiscard]] QQuickWindow* window() const {
        return appDelegate.mainWindow() ? appDelegate.mainWindow()->window() : nullptr;
    }

    AppDelegate appDelegate{nullptr};
    QQmlApplicationEngine engine;
};

/// A session bus of its own, so that no other test's window program owns
/// the program's name meanwhile.
struct PrivateBus {
    PrivateBus() {
        daemon.start(QStringLiteral("dbus-daemon"),
                     {QStringLiteral("--session"), QStringLiteral("--nofork"),
                      QStringLiteral("--print-address=1")});
        if (daemon.waitForReadyRead(10000)) {
            address = QString::fromUtf8(daemon.readLine().trimmed());
        }
    }
    ~PrivateBus() {
        QDBusConnection::disconnectFromBus(QStringLiteral("private"));
        daemon.kill();
        daemon.waitForFinished();
    }
    [[nodiscard]] QDBusConnection connection() const {
        return QDBusConnection::connectToBus(address, QStringLiteral("private"));
    }

    QProcess daemon;
    QString address;
};

/// Whether process `pid` holds an flock, from /proc/locks.
bool holdsFlock(qint64 pid) {
    QFile locks(QStringLiteral("/proc/locks"));
    if (!locks.open(QIODevice::ReadOnly)) {
        return false;
    }
    for (const QByteArray& line : locks.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 4 && fields.at(1) == "FLOCK" && fields.at(4).toLongLong() == pid) {
            return true;
        }
    }
    return false;
}

} // namespace

class AppLaunchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        applyApplicationIdentity();
        registerBundledFonts();
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
    }

    void init() {
        // The automatic logout starts off, whatever a run before stored.
        QSettings settings;
        settings.remove(QStringLiteral("isAutoLogoutEnabled"));
        settings.remove(QStringLiteral("LogoutTimeout"));
    }

    void cleanup() {
        setDiagnosticLogSink({});
        storeMasterPassword(false);
    }

    void opensLockedOnlyWithAMasterPassword_data() {
        QTest::addColumn<bool>("stored");
        QTest::newRow("master password stored") << true;
        QTest::newRow("no master password") << false;
    }
    void opensLockedOnlyWithAMasterPassword() {
        QFETCH(bool, stored);
        storeMasterPassword(stored);
        Launch launch;
        QVERIFY(launch.appDelegate.applicationDidFinishLaunching(launch.engine));

        QCOMPARE(launch.appDelegate.isAuthenticated(), !stored);
        QQuickWindow* window = launch.window();
        QVERIFY(window);
        QVERIFY(window->isVisible());
        auto* content = window->findChild<QQuickItem*>(QStringLiteral("content"));
        QVERIFY(content);
        QCOMPARE(content->size(), QSizeF(AppDelegate::contentWidth, AppDelegate::contentHeight));

        // Locked: the gate's look, without title and draggable. Unlocked:
        // the title comes with the unlocked look.
        DraggableWindow* chrome = launch.appDelegate.mainWindow();
        if (stored) {
            QVERIFY(chrome->isDraggable());
            QCOMPARE(window->title().trimmed(), QString());
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(window->title(), AppDelegate::windowTitle, 5000);
            QVERIFY(!chrome->isDraggable());
        }
    }

    void inactivityLocksWithALogLine() {
        storeMasterPassword(true);
        Launch launch;
        QStringList lines;
        setDiagnosticLogSink([&lines](const QString& line) { lines.append(line); });
        QVERIFY(launch.appDelegate.applicationDidFinishLaunching(launch.engine));
        launch.appDelegate.setIsAuthenticated(true);
        QTRY_VERIFY_WITH_TIMEOUT(!launch.appDelegate.mainWindow()->isDraggable(), 5000);

        InactivityMonitor* monitor = launch.appDelegate.inactivityMonitor();
        monitor->setTimeoutInterval(0.3);
        monitor->setIsAutoLogoutEnabled(true);
        QTRY_VERIFY_WITH_TIMEOUT(!launch.appDelegate.isAuthenticated(), 5000);
        QVERIFY(lines.contains(QStringLiteral("Выполняется Logout.")));
        // The locked look comes at once, not only after the gate appeared.
        QVERIFY(launch.appDelegate.mainWindow()->isDraggable());
        QVERIFY(!launch.appDelegate.hasLockItem());
    }

    // Two starts of the real program leave the first running and the second
    // gone at once: over the session bus, or by the lock file without one.
    void secondStartLeavesOneProgram_data() {
        QTest::addColumn<bool>("bus");
        QTest::newRow("session bus") << true;
        QTest::newRow("no session bus") << false;
    }
    void secondStartLeavesOneProgram() {
        QFETCH(bool, bus);
        PrivateBus privateBus;
        QVERIFY(!privateBus.address.isEmpty());
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("c")));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           bus ? privateBus.address
                               : QStringLiteral("unix:path=/nonexistent/corvina-session-bus"));
        QProcess first;
        QProcess second;
        first.setProcessEnvironment(environment);
        second.setProcessEnvironment(environment);
        first.start(QStringLiteral(CORVINA_WINDOW_PROGRAM), QStringList());
        QVERIFY(first.waitForStarted());
        const QDBusConnection connection = privateBus.connection();
        QTRY_VERIFY_WITH_TIMEOUT(
            bus ? connection.interface()->isServiceRegistered(desktopIdentifier).value()
                : holdsFlock(first.processId()),
            20000);

        second.start(QStringLiteral(CORVINA_WINDOW_PROGRAM), QStringList());
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);
        if (bus) {
            QCOMPARE(connection.interface()->servicePid(desktopIdentifier).value(),
                     uint(first.processId()));
        }
        first.terminate();
        QVERIFY(first.waitForFinished(10000));
    }

    // The first start's side: a later start of the real program calls the
    // desktop's Activate, and the hidden window comes back to the front.
    void secondStartRaisesTheFirstWindow() {
        PrivateBus privateBus;
        QVERIFY(!privateBus.address.isEmpty());
        QWindow window;
        window.resize(200, 100);
        SingleInstance instance;
        QCOMPARE(instance.claim(privateBus.connection()), SingleInstance::Role::primary);
        instance.setWindow(&window);
        QVERIFY(!window.isVisible());

        QTemporaryDir home;
        QProcess second;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), privateBus.address);
        second.setProcessEnvironment(environment);
        second.start(QStringLiteral(CORVINA_WINDOW_PROGRAM), QStringList());
        // Its call waits for this loop, which must keep running to answer.
        QTRY_VERIFY_WITH_TIMEOUT(second.state() == QProcess::NotRunning, 20000);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(window.isVisible());
        QTRY_COMPARE(QGuiApplication::focusWindow(), &window);
    }
};

QTEST_MAIN(AppLaunchTest)
#include "AppLaunchTest.moc"
