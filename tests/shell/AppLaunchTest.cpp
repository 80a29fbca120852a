// The launch sequence with the real main window: locked or unlocked by the
// keyring, the content's size, the title, and the lock by inactivity.

#include "engine/ApplicationIdentity.h"
#include "engine/DiagnosticLog.h"
#include "session/KeychainService.h"
#include "shell/AppDelegate.h"
#include "ui/CorvinaFont.h"

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
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
};

QTEST_MAIN(AppLaunchTest)
#include "AppLaunchTest.moc"
