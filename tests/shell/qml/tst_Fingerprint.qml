import QtQuick
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The fingerprint path of the unlock gate against a fake fprintd on a
// private system bus. The functions run in order: the first one uses the
// prompt that opens by itself, once per process.
TestCase {
    id: testCase
    name: "Fingerprint"
    when: windowShown
    // Invisible items get no pointer events.
    visible: true
    width: 900
    height: 500

    readonly property string fullCheck: "ListEnrolledFingers Claim VerifyStart VerifyStop Release"

    Component {
        id: messageComponent
        TransientMessage {}
    }
    Component {
        id: gateComponent
        PasswordEntryView {
            width: 900
            height: 500
            startDelay: 20
            touchIdPromptDelay: 0
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
        TestKeyring.storeMasterPassword("Geheim-42");
        TestKeyring.setUseTouchId(true);
        verify(FakeFprintd.configure("verify-match", true));
        FakeFprintd.clearDeviceCalls();
        AppDelegate.attachWindow(testCase.Window.window);
        AppDelegate.isAuthenticated = false;
        // A shake of the previous test ends with a signal of its own.
        tryCompare(AppDelegate.mainWindow, "isShaking", false);
        shakeSpy.clear();
    }

    function createGate() {
        message = createTemporaryObject(messageComponent, testCase);
        gate = createTemporaryObject(gateComponent, testCase, {
            "warningText": message
        });
        tryCompare(gate.viewModel, "isTouchID", true, 3000);
        const button = findChild(gate, "touchIdButton");
        verify(button.visible);
        // The row makes room for the button, left of the unlock button, at
        // its next polish; until then the two lie on top of each other.
        const unlockButton = findChild(gate, "unlockButton");
        tryVerify(() => button.width > 0 && button.x + button.width <= unlockButton.x);
    }

    // Waits until the device has been given back, then checks every call.
    function compareDeviceCallsWhenReleased(expected) {
        tryVerify(() => FakeFprintd.deviceCalls().endsWith("Release"), 3000);
        compare(FakeFprintd.deviceCalls(), expected);
    }

    function test_1_promptOpensByItselfOnceAndAMatchUnlocks() {
        compare(AppDelegate.isTouchIdOnAppear, true);
        createGate();
        tryCompare(AppDelegate, "isAuthenticated", true, 3000);
        compare(AppDelegate.isTouchIdOnAppear, false);
        compare(message.text, undefined);
        compareDeviceCallsWhenReleased(fullCheck);
    }

    function test_2_afterThatOnlyTheButtonOpensIt() {
        createGate();
        compare(AppDelegate.isAuthenticated, false);
        mouseClick(findChild(gate, "touchIdButton"));
        tryCompare(AppDelegate, "isAuthenticated", true, 3000);
        // A prompt of its own (due at once) would have made a second check.
        compareDeviceCallsWhenReleased(fullCheck);
    }

    function test_3_failureReports_data() {
        const failed = "Die biometrische Authentifizierung ist fehlgeschlagen";
        return [
            { tag: "finger does not match", result: "verify-no-match", enrolled: true, text: failed, calls: fullCheck },
            { tag: "prompt cancelled", result: "verify-disconnected", enrolled: true, text: failed, calls: fullCheck },
            { tag: "no finger enrolled", result: "verify-match", enrolled: false, text: "Touch ID ist auf diesem Gerät nicht verfügbar", calls: "ListEnrolledFingers" },
        ];
    }
    function test_3_failureReports(data) {
        verify(FakeFprintd.configure(data.result, data.enrolled));
        createGate();
        mouseClick(findChild(gate, "touchIdButton"));
        tryCompare(message, "text", data.text, 3000);
        verify(shakeSpy.count > 0);
        compare(AppDelegate.isAuthenticated, false);
        compare(gate.viewModel.isVerifyingFingerprint, false);
        if (data.enrolled)
            compareDeviceCallsWhenReleased(data.calls);
        else
            compare(FakeFprintd.deviceCalls(), data.calls);
    }
}
