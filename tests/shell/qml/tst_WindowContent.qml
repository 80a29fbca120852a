import QtQuick
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The window content between gate and main screen, and the window's looks.
TestCase {
    id: testCase
    name: "WindowContent"
    when: windowShown
    // Invisible items get no pointer events.
    visible: true
    width: 900
    height: 500

    Component {
        id: contentComponent
        WindowContent {
            width: 900
            height: 500
        }
    }
    SignalSpy {
        id: moveSpy
        target: AppDelegate.mainWindow
        signalName: "systemMoveRequested"
    }

    property WindowContent content
    readonly property DraggableWindow chrome: AppDelegate.mainWindow

    function init() {
        TestKeyring.storeMasterPassword("Geheim-42");
        TestKeyring.setUseTouchId(false);
        AppDelegate.attachWindow(testCase.Window.window);
        AppDelegate.lockedChromeDelay = 20;
        AppDelegate.unlockedChromeDelay = 20;
        AppDelegate.isAuthenticated = false;
        AppDelegate.applyLockedChrome();
        moveSpy.clear();
    }

    function createContent(authenticated) {
        AppDelegate.isAuthenticated = authenticated;
        content = createTemporaryObject(contentComponent, testCase);
        return content;
    }

    function verifyLockedLook() {
        tryCompare(chrome, "isDraggable", true);
        compare(chrome.titleVisible, false);
        compare(chrome.titlebarAppearsTransparent, true);
        compare(AppDelegate.hasLockItem, false);
        compare(testCase.Window.window.title.trim(), "");
    }

    function verifyUnlockedLook() {
        tryCompare(chrome, "isDraggable", false);
        compare(chrome.titlebarAppearsTransparent, false);
        tryCompare(chrome, "titleVisible", true);
        compare(testCase.Window.window.title, "Corvina-Backup-Manager");
    }

    function test_withoutMasterPasswordTheLockItemGoes() {
        TestKeyring.removeMasterPassword();
        createContent(true);
        compare(content.currentView.objectName, "mainPage");
        // The unlocked look puts the lock item up, then takes it away again
        // once the keyring has answered that no master password exists.
        tryCompare(chrome, "isDraggable", false);
        tryCompare(AppDelegate, "hasLockItem", false);
    }

    function test_lockItemLocksAndTheMainScreenIsBuiltAnew() {
        createContent(true);
        verifyUnlockedLook();
        content.currentView.viewModel.backupActionType = 1;
        content.currentView.viewModel.host.messageText = "Ergebnis";

        AppDelegate.customButtonAction();
        compare(AppDelegate.isAuthenticated, false);
        tryVerify(() => content.currentView.objectName === "gatePage");
        verifyLockedLook();

        AppDelegate.isAuthenticated = true;
        tryVerify(() => content.currentView.objectName === "mainPage");
        compare(content.currentView.viewModel.backupActionType, undefined);
        compare(content.currentView.viewModel.host.messageText, "");
    }

    // Locked: the gate, and a drag anywhere moves the window. Unlocked: the
    // main screen with the lock item, where a drag moves nothing.
    function test_dragMovesTheWindowOnlyInTheLockedLook() {
        createContent(false);
        compare(content.currentView.objectName, "gatePage");
        verifyLockedLook();
        mouseDrag(content, 20, 20, 60, 30);
        verify(moveSpy.count > 0);

        AppDelegate.isAuthenticated = true;
        tryVerify(() => content.currentView.objectName === "mainPage");
        verifyUnlockedLook();
        compare(AppDelegate.hasLockItem, true);
        moveSpy.clear();
        mouseDrag(content, 20, 20, 60, 30);
        compare(moveSpy.count, 0);
    }

    function test_shakeDuringAShakeStillEndsWhereItBegan() {
        createContent(false);
        const window = testCase.Window.window;
        const start = window.x;
        // A second shake starts at the first swing of the first.
        const shakeAgain = () => {
            window.xChanged.disconnect(shakeAgain);
            AppDelegate.shakeWindow();
        };
        window.xChanged.connect(shakeAgain);
        AppDelegate.shakeWindow();
        tryCompare(chrome, "isShaking", false);
        compare(window.x, start);
    }
}
