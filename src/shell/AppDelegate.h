#pragma once

#include "session/InactivityMonitor.h"
#include "session/SessionState.h"
#include "shell/DraggableWindow.h"
#include "updates/SparkleUpdaterDelegate.h"
#include "updates/Updater.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class QQmlApplicationEngine;
class QQmlEngine;
class QJSEngine;
class QQuickWindow;

namespace corvina {

/// The application's shared session object: it owns the inactivity monitor
/// and the session switch `isAuthenticated` (every assignment syncs the
/// monitor), remembers whether the fingerprint prompt may still open by
/// itself (`isTouchIdOnAppear`), builds the one main window and switches the
/// window between its locked and unlocked looks.
///
/// Locked look: no title, transparent title bar, no lock item, dragged by any
/// free point. Unlocked look: title, plain title bar, the lock item
/// "customButton" in the header tool bar when a master password exists.
class AppDelegate : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated WRITE setIsAuthenticated NOTIFY
                   isAuthenticatedChanged)
    Q_PROPERTY(bool isTouchIdOnAppear READ isTouchIdOnAppear WRITE setIsTouchIdOnAppear NOTIFY
                   isTouchIdOnAppearChanged)
    Q_PROPERTY(corvina::DraggableWindow* mainWindow READ mainWindow NOTIFY mainWindowChanged)
    Q_PROPERTY(corvina::InactivityMonitor* inactivityMonitor READ inactivityMonitor CONSTANT)
    Q_PROPERTY(corvina::Updater* updater READ updater CONSTANT)
    Q_PROPERTY(corvina::SparkleUpdaterDelegate* sparkleDelegate READ sparkleDelegate CONSTANT)
    Q_PROPERTY(QString windowTitle READ windowTitleText CONSTANT)
    Q_PROPERTY(bool hasLockItem READ hasLockItem NOTIFY hasLockItemChanged)
    Q_PROPERTY(QString lockItemSymbol READ lockItemSymbol CONSTANT)
    Q_PROPERTY(QString lockItemLabel READ lockItemLabel CONSTANT)
    Q_PROPERTY(QString lockItemPaletteLabel READ lockItemPaletteLabel CONSTANT)
    Q_PROPERTY(QString lockItemToolTip READ lockItemToolTip CONSTANT)
    Q_PROPERTY(int lockedChromeDelay MEMBER m_lockedChromeDelay NOTIFY chromeDelaysChanged)
    Q_PROPERTY(int unlockedChromeDelay MEMBER m_unlockedChromeDelay NOTIFY chromeDelaysChanged)

public:
    static inline const QString windowTitle = QStringLiteral("Corvina-Backup-Manager");
    static inline const QString lockItemIdentifier = QStringLiteral("customButton");
    static constexpr int contentWidth = 900;
    static constexpr int contentHeight = 500;
    /// Duration of the chrome animations, in milliseconds.
    static constexpr int chromeAnimationMs = 500;
    /// The QML file of the main window.
    static inline const QUrl mainWindowUrl =
        QUrl(QStringLiteral("qrc:/qt/qml/Corvina/Shell/qml/Main.qml"));

    /// Not default-constructible, so that QML reaches it through `create`.
    explicit AppDelegate(QObject* parent);
    ~AppDelegate() override;

    /// The instance that QML sees as the `AppDelegate` singleton. The
    /// composition root sets it before loading QML; an engine that finds none
    /// (a test runner) gets a fresh one of its own.
    static void setInstance(AppDelegate* instance);
    static AppDelegate* create(QQmlEngine* qmlEngine, QJSEngine* jsEngine);

    [[nodiscard]] bool isAuthenticated() const { return m_session.isAuthenticated(); }
    /// Every assignment, also of the same value, runs the monitor sync.
    void setIsAuthenticated(bool value);
    [[nodiscard]] bool isTouchIdOnAppear() const { return m_isTouchIdOnAppear; }
    void setIsTouchIdOnAppear(bool value);
    [[nodiscard]] DraggableWindow* mainWindow() const { return m_mainWindow; }
    [[nodiscard]] InactivityMonitor* inactivityMonitor() { return &m_inactivityMonitor; }
    /// The program's updater, started at construction, with
    /// `sparkleDelegate` as its delegate.
    [[nodiscard]] Updater* updater() { return &m_updater; }
    [[nodiscard]] SparkleUpdaterDelegate* sparkleDelegate() { return &m_sparkleDelegate; }
    [[nodiscard]] bool hasLockItem() const { return m_hasLockItem; }
    [[nodiscard]] static QString windowTitleText() { return windowTitle; }
    /// "lock.fill" when the symbol can be drawn, otherwise empty.
    [[nodiscard]] QString lockItemSymbol() const { return m_lockItemSymbol; }
    [[nodiscard]] static QString lockItemLabel();
    [[nodiscard]] static QString lockItemPaletteLabel();
    [[nodiscard]] static QString lockItemToolTip();

    /// The launch sequence: installs the monitor's time-out, syncs the
    /// monitor, reads the master password (none, or a failed read: unlocked),
    /// loads the main window into the engine, centres and shows it. Returns
    /// false when the window could not be built.
    bool applicationDidFinishLaunching(QQmlApplicationEngine& engine);
    /// Stops the inactivity monitor; nothing else.
    void applicationWillTerminate();

    /// Makes a window built elsewhere (a test's) the main window.
    Q_INVOKABLE void attachWindow(QQuickWindow* window);

    /// The lock item's action: locks the session. The locked look follows
    /// from the window content's delayed `applyLockedChrome`.
    Q_INVOKABLE void customButtonAction();
    Q_INVOKABLE void applyLockedChrome();
    Q_INVOKABLE void applyUnlockedChrome();
    Q_INVOKABLE void showLockButton();
    Q_INVOKABLE void hideLockButton();
    /// The window content shows the gate: the locked look follows after
    /// `lockedChromeDelay` ms (500).
    Q_INVOKABLE void lockedContentAppeared();
    /// The window content shows the main screen: the unlocked look follows
    /// after `unlockedChromeDelay` ms (1000).
    Q_INVOKABLE void unlockedContentAppeared();
    /// Shakes the first draggable window of the application.
    Q_INVOKABLE void shakeWindow();
    /// Shows the settings window and brings it to the front.
    Q_INVOKABLE void openSettings();

Q_SIGNALS:
    void isAuthenticatedChanged();
    void isTouchIdOnAppearChanged();
    void mainWindowChanged();
    void hasLockItemChanged();
    void chromeDelaysChanged();
    /// The settings window is asked for (the settings tile, Ctrl+,).
    void settingsRequested();

private:
    void setMainWindow(DraggableWindow* window);
    void setHasLockItem(bool value);
    void handleInactivityTimeout();

    InactivityMonitor m_inactivityMonitor;
    SessionState m_session;
    SparkleUpdaterDelegate m_sparkleDelegate;
    Updater m_updater;
    QPointer<DraggableWindow> m_mainWindow;
    QString m_lockItemSymbol;
    bool m_isTouchIdOnAppear = true;
    bool m_hasLockItem = false;
    int m_lockedChromeDelay = 500;
    int m_unlockedChromeDelay = 1000;
};

} // namespace corvina
