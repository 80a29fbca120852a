#include "shell/AppDelegate.h"

#include "engine/DiagnosticLog.h"
#include "session/KeychainService.h"
#include "session/StoredPassword.h"
#include "ui/SymbolTable.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFutureWatcher>
#include <QJSEngine>
#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace corvina {

namespace {

AppDelegate* sharedInstance = nullptr;

// Whether the program has a master password: by the keyring, or by the
// settings' flag when the keyring can't say.
bool hasMasterPassword() {
    return masterPasswordExists(StoredPassword::read(masterPasswordService, masterPasswordKey));
}

} // namespace

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent)
    , m_session(m_inactivityMonitor)
    , m_updater(UpdaterConfiguration::fromBuild()) {
    m_updater.setDelegate(&m_sparkleDelegate);
    m_updater.setUrlOpener([](const QUrl& url) { QDesktopServices::openUrl(url); });
    // The new AppImage takes over: it starts, and this process ends.
    m_updater.setRestarter([](const QString& appImage) {
        if (QProcess::startDetached(appImage, {})) {
            QCoreApplication::quit();
        }
    });
    m_updater.startUpdater();
    connect(&m_session, &SessionState::isAuthenticatedChanged, this,
            &AppDelegate::isAuthenticatedChanged);
    if (!symbolResourcePath(QStringLiteral("lock.fill")).isEmpty()) {
        m_lockItemSymbol = QStringLiteral("lock.fill");
    } else {
        diagnosticLog(QStringLiteral("Error: Failed to load image"));
    }
}

AppDelegate::~AppDelegate() {
    if (sharedInstance == this) {
        sharedInstance = nullptr;
    }
}

void AppDelegate::setInstance(AppDelegate* instance) {
    sharedInstance = instance;
}

AppDelegate* AppDelegate::create(QQmlEngine* /*qmlEngine*/, QJSEngine* /*jsEngine*/) {
    if (sharedInstance) {
        QJSEngine::setObjectOwnership(sharedInstance, QJSEngine::CppOwnership);
        return sharedInstance;
    }
    // Owned by the engine that asked for it.
    return new AppDelegate(nullptr);
}

void AppDelegate::setIsAuthenticated(bool value) {
    m_session.setIsAuthenticated(value);
}

void AppDelegate::setIsTouchIdOnAppear(bool value) {
    if (m_isTouchIdOnAppear == value) {
        return;
    }
    m_isTouchIdOnAppear = value;
    Q_EMIT isTouchIdOnAppearChanged();
}

bool AppDelegate::applicationDidFinishLaunching(QQmlApplicationEngine& engine) {
    QPointer<AppDelegate> self(this);
    m_inactivityMonitor.onTimeout = [self] {
        if (self) {
            self->handleInactivityTimeout();
        }
    };
    // At launch the session is locked: the monitor learns so and stops.
    m_inactivityMonitor.setIsAuthenticated(m_session.isAuthenticated());
    m_inactivityMonitor.stopMonitoring();

    // Only a program without a master password opens unlocked. A keyring
    // that can't be read opens it only when the program never had one: with
    // the flag set it starts at the gate, which says why it stays shut.
    if (!hasMasterPassword()) {
        setIsAuthenticated(true);
    }
    engine.load(mainWindowUrl);
    const QList<QObject*> roots = engine.rootObjects();
    auto* window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
    if (!window) {
        return false;
    }
    attachWindow(window);
    m_mainWindow->centre();
    window->show();
    window->requestActivate();
    return true;
}

void AppDelegate::applicationWillTerminate() {
    m_inactivityMonitor.stopMonitoring();
}

void AppDelegate::attachWindow(QQuickWindow* window) {
    if (!window) {
        return;
    }
    auto* draggable = window->findChild<DraggableWindow*>(QString(), Qt::FindDirectChildrenOnly);
    setMainWindow(draggable ? draggable : new DraggableWindow(window, windowTitle));
}

void AppDelegate::setMainWindow(DraggableWindow* window) {
    if (m_mainWindow == window) {
        return;
    }
    m_mainWindow = window;
    Q_EMIT mainWindowChanged();
}

void AppDelegate::customButtonAction() {
    setIsAuthenticated(false);
}

void AppDelegate::handleInactivityTimeout() {
    diagnosticLog(QStringLiteral("Выполняется Logout."));
    setIsAuthenticated(false);
    applyLockedChrome();
}

void AppDelegate::applyUnlockedChrome() {
    if (!m_mainWindow) {
        return;
    }
    m_mainWindow->setTitlebarAppearsTransparent(false);
    QPointer<DraggableWindow> window = m_mainWindow;
    QTimer::singleShot(chromeAnimationMs, this, [window] {
        if (window) {
            window->setTitleVisible(true);
            diagnosticLog(QStringLiteral("Animation done"));
        }
    });
    m_mainWindow->setIsDraggable(false);
    setHasLockItem(true);
    // Without a master password the lock item has no use. The keyring is
    // asked off the GUI thread.
    auto* watcher = new QFutureWatcher<bool>(this);
    connect(watcher, &QFutureWatcher<bool>::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (!watcher->result()) {
            hideLockButton();
        }
    });
    watcher->setFuture(QtConcurrent::run(&hasMasterPassword));
}

void AppDelegate::applyLockedChrome() {
    if (!m_mainWindow) {
        return;
    }
    m_mainWindow->setTitlebarAppearsTransparent(true);
    m_mainWindow->setTitleVisible(false);
    m_mainWindow->setIsDraggable(true);
    setHasLockItem(false);
}

void AppDelegate::showLockButton() {
    if (!m_mainWindow) {
        return;
    }
    QMetaObject::invokeMethod(
        this, [this] { setHasLockItem(true); }, Qt::QueuedConnection);
}

void AppDelegate::hideLockButton() {
    if (!m_mainWindow) {
        return;
    }
    QMetaObject::invokeMethod(
        this, [this] { setHasLockItem(false); }, Qt::QueuedConnection);
}

void AppDelegate::openSettings() {
    Q_EMIT settingsRequested();
}

void AppDelegate::lockedContentAppeared() {
    QTimer::singleShot(m_lockedChromeDelay, this, [this] {
        QMetaObject::invokeMethod(this, &AppDelegate::applyLockedChrome, Qt::QueuedConnection);
    });
}

void AppDelegate::unlockedContentAppeared() {
    QTimer::singleShot(m_unlockedChromeDelay, this, [this] {
        QMetaObject::invokeMethod(this, &AppDelegate::applyUnlockedChrome, Qt::QueuedConnection);
    });
}

void AppDelegate::shakeWindow() {
    if (DraggableWindow* window = DraggableWindow::find()) {
        window->shake();
    }
}

void AppDelegate::setHasLockItem(bool value) {
    if (m_hasLockItem == value) {
        return;
    }
    m_hasLockItem = value;
    Q_EMIT hasLockItemChanged();
}

QString AppDelegate::lockItemLabel() {
    return QStringLiteral("Sperren");
}

QString AppDelegate::lockItemPaletteLabel() {
    return QStringLiteral("Anwendung sperren");
}

QString AppDelegate::lockItemToolTip() {
    return QStringLiteral("Das Programm wird gesperrt, wenn du diese Taste drückst.");
}

} // namespace corvina
