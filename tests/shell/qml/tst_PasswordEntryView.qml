import QtQuick
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The unlock gate with the master password, against the test session's keyring.
TestCase {
    id: testCase
    name: "PasswordEntryView"
    when: windowShown
    // Invisible items get no pointer events.
    visible: true
    width: 900
    height: 500

    readonly property string storedPassword: "Geheim-42"

    Component {
        id: messageComponent
        TransientMessage {
            duration: 1000
        }
    }
    Component {
        id: gateComponent
        PasswordEntryView {
            width: 900
            height: 500
            startDelay: 50
            colorResetDelay: 300
        }
    }
    SignalSpy {
        id: shakeSpy
        target: AppDelegate.mainWindow
        signalName: "isShakingChanged"
    }

    property TransientMessage message
    property PasswordEntryView gate

    function init() {
        TestKeyring.storeMasterPassword(storedPassword);
        TestKeyring.setUseTouchId(false);
        AppDelegate.attachWindow(testCase.Window.window);
        AppDelegate.isAuthenticated = false;
        // A shake of the previous test ends with a signal of its own.
        tryCompare(AppDelegate.mainWindow, "isShaking", false);
        shakeSpy.clear();
    }

    function createGate(properties) {
        message = createTemporaryObject(messageComponent, testCase);
        gate = createTemporaryObject(gateComponent, testCase, Object.assign({
            "warningText": message
        }, properties || {}));
        return gate;
    }

    // Waits until the gate has read the keyring and assigned the locked state.
    function createReadyGate() {
        createGate();
        const ready = createTemporaryObject(spyComponent, testCase, {
            "target": gate.viewModel
        });
        ready.wait(3000);
        return gate;
    }
    Component {
        id: spyComponent
        SignalSpy {
            signalName: "authenticationAssigned"
        }
    }

    function enter(text) {
        const input = findChild(gate, "passwordInput");
        input.forceActiveFocus();
        input.text = text;
        return input;
    }

    // Enter and the unlock button are pressed by the window tests; here the
    // password typed in another Unicode form than the stored one.
    function test_canonicallyEquivalentPasswordUnlocks() {
        TestKeyring.storeMasterPassword("Caf\u00e9");
        createReadyGate();
        enter("Cafe\u0301");
        keyClick(Qt.Key_Return);
        tryCompare(AppDelegate, "isAuthenticated", true);
        compare(message.text, undefined);
        compare(shakeSpy.count, 0);
    }

    function test_wrongPasswordTurnsRedShakesAndSelects() {
        createReadyGate();
        const input = enter("falsch");
        keyClick(Qt.Key_Return);
        tryCompare(gate.viewModel, "isWrongPassword", true);
        verify(Qt.colorEqual(gate.imgBgColor, Theme.withOpacity(Theme.red, 0.4)));
        verify(Qt.colorEqual(gate.txtBgColor, Theme.withOpacity(Theme.red, 0.4)));
        compare(message.text, "Du hast ein falsches Passwort eingegeben.");
        verify(shakeSpy.count > 0);
        tryCompare(input, "selectedText", "falsch");
        compare(AppDelegate.isAuthenticated, false);

        // The colours come back after the delay; the message goes later.
        tryCompare(gate.viewModel, "isWrongPassword", false, 1000);
        compare(message.text, "Du hast ein falsches Passwort eingegeben.");
        tryCompare(message, "text", undefined, 2000);
        compare(AppDelegate.isAuthenticated, false);
    }

    // An empty input never opens a program that has a master password: not
    // before the stored one has been read, and not after.
    function test_emptyInput_data() {
        return [{ tag: "before the read", ready: false, text: "Der Schlüsselbund wird noch gelesen. Bitte warte einen Moment." }, { tag: "after the read", ready: true, text: "Du hast ein falsches Passwort eingegeben." }];
    }
    function test_emptyInput(data) {
        if (data.ready)
            createReadyGate();
        else
            createGate({ startDelay: 60000 });
        mouseClick(findChild(gate, "unlockButton"));
        tryCompare(message, "text", data.text);
        wait(100);
        compare(AppDelegate.isAuthenticated, false);
    }

    function test_fingerprintButtonHiddenWithoutTheFlag() {
        createReadyGate();
        compare(gate.viewModel.isTouchID, false);
        compare(findChild(gate, "touchIdButton").visible, false);
        compare(findChild(gate, "unlockButton").visible, true);
    }
}
