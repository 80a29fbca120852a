import QtQuick
import QtTest
import Corvina.Ui
import Corvina.Shell
import Corvina.TestHelpers

// The fingerprint path without a fingerprint daemon: on a system bus
// without the service, or with no system bus at all.
TestCase {
    id: testCase
    name: "FingerprintAbsent"
    when: windowShown
    // Invisible items get no pointer events.
    visible: true
    width: 900
    height: 500

    TransientMessage {
        id: message
    }
    Component {
        id: gateComponent
        PasswordEntryView {
            width: 900
            height: 500
            warningText: message
            startDelay: 20
            touchIdPromptDelay: 20
        }
    }

    function test_promptReportsThatNoReaderIsThere() {
        TestKeyring.storeMasterPassword("Geheim-42");
        TestKeyring.setUseTouchId(true);
        const gate = createTemporaryObject(gateComponent, testCase);
        tryCompare(message, "text", "Touch ID ist auf diesem Gerät nicht verfügbar", 5000);
        compare(AppDelegate.isAuthenticated, false);
        // The password still works.
        const input = findChild(gate, "passwordInput");
        input.text = "Geheim-42";
        mouseClick(findChild(gate, "unlockButton"));
        tryCompare(AppDelegate, "isAuthenticated", true);
    }
}
